#pragma once

#include <string_view>

namespace murvelo::cleanup::layout {

// The preceding-text check of the finishing phrase rules: true when the text before a match talks
// about words, reports speech or asks to keep a wording, so that a filler there is quoted rather
// than spoken and must stay.
bool precedingTextVetoes(std::string_view textBeforeMatch);

}  // namespace murvelo::cleanup::layout
