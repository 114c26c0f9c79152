#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cleanup/FormatEdit.h"

namespace murvelo::cleanup {

// The light cleanup, in the stages both the Tidy and the Format level run, in this order:
// tidyCore, tidy, applyExplicitCorrections, restoreUnfinishedEnding. Each stage appends its edits
// to `edits`, takes UTF-8 and returns UTF-8; none fails outward.

// Stage 0: hesitations, the pronoun I, spoken punctuation, sentence capitals, spacing, the closing
// full stop. The Tidy level passes true for both options.
std::string tidyCore(std::string_view text, bool sentenceStart, bool optionA, bool optionB,
                     std::vector<FormatEdit>& edits);

// Stage 1: "like" and "you know" fillers, recorded as one "spokenFiller" edit.
std::string tidy(std::string_view text, bool sentenceStart, std::vector<FormatEdit>& edits);

// Stage 2: clear spoken self-corrections ("Monday, no wait, Tuesday").
std::string applyExplicitCorrections(std::string_view text, bool sentenceStart,
                                     std::vector<FormatEdit>& edits);

// Stage 3: drops a closing full stop that the speaker never reached ("... and because").
std::string restoreUnfinishedEnding(std::string_view cleaned, std::string_view input,
                                    std::vector<FormatEdit>& edits);

// The reported-speech guard: true when the text before a match talks about words or reports
// speech, so a rewrite of the match must not be made.
bool reportedSpeechBefore(std::string_view textBeforeMatch);

}  // namespace murvelo::cleanup
