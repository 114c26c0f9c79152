#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cleanup/FormatEdit.h"

namespace murvelo::cleanup {

// What the Format level returns. A rejection names the gate or invariant that stopped layout; the
// text is then the safe text that check chose.
struct FormatResult {
  std::string text;
  std::vector<FormatEdit> edits;
  std::optional<std::string> rejection;
};

// The layout engine behind the Format level, behind an interface so that the cleanup step and the
// controller can be tested without it.
class FormatEngine {
 public:
  virtual ~FormatEngine() = default;
  // `raw` is the transcript as it reaches cleanup; layout runs only when both options are true.
  virtual FormatResult format(std::string_view raw, bool optionA, bool optionB) const = 0;
};

}  // namespace murvelo::cleanup
