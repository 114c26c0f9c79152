#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// Stage 2: a count and a list noun followed by the spoken word "colon" announces a list
// ("spoken-number-list"); items separated by the spoken word "semicolon" go on lines of their own
// ("explicit-spoken-semicolon-list").
void layoutSpokenColonAndSemicolonLists(LayoutText& text);

// Stage 3: spoken markers "number one" ... "number nine" or "1st" ... "9th", counted up from one,
// put each item on its own line ("spoken-number-list").
void layoutSpokenNumberList(LayoutText& text);

}  // namespace murvelo::cleanup::layout
