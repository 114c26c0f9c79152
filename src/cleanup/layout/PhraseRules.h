#pragma once

#include <vector>

#include "cleanup/FormatEdit.h"
#include "cleanup/Regex.h"

namespace murvelo::cleanup::layout {

// The two phrase rules that finish Tidy's work before layout, in order:
// "atomic-determiner-filler-restart" ("the, you know, the plan" gives "the plan") and
// "parenthetical-filler" (a comma-enclosed "you know" or "I mean" that only interrupts).
// Protected ranges are those of `text` as it enters.
void applyPhraseRules(icu::UnicodeString& text, std::vector<FormatEdit>& edits);

}  // namespace murvelo::cleanup::layout
