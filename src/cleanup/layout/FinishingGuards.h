#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cleanup/FormatEdit.h"

namespace murvelo::cleanup::layout {

// The Tidy finishing guards that open layout, in order: "tidy-changed-protected-literal",
// "ambiguous-tidy-conditional-join", "tidy-dropped-question-mark". The identifier of the first that
// trips, or nothing.
std::optional<std::string> finishingGuardViolation(std::string_view tidied, std::string_view raw);

// The unfinished-ending restore: a text whose speaker trailed off ("... and") loses the full stop
// that cleanup gave it ("restore-unfinished-ending").
std::string restoreEnding(std::string_view tidied, std::string_view raw, std::vector<FormatEdit>& edits);

}  // namespace murvelo::cleanup::layout
