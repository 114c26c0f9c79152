#pragma once

#include <string>

namespace murvelo {

// One change a cleanup engine made, for diagnostics: which rule, and the text before and after.
struct FormatEdit {
  std::string rule;
  std::string before;
  std::string after;

  bool operator==(const FormatEdit&) const = default;
};

}  // namespace murvelo
