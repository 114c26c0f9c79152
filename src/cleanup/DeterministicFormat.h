#pragma once

#include <string_view>

#include "cleanup/FormatEngine.h"

namespace murvelo::cleanup {

// The Format level: Tidy's cleanup, then layout (paragraphs, topic breaks, numbered lists, e-mail
// greetings and sign-offs on their own lines), then the text-safety invariants. Deterministic and
// stateless; a failed gate or invariant is returned as a value with the safe text.
class DeterministicFormat final : public FormatEngine {
 public:
  FormatResult format(std::string_view raw, bool optionA, bool optionB) const override;
};

}  // namespace murvelo::cleanup
