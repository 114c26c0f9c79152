#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// Stage 4: a count and a list noun announce a list ("three things:"); lettered items ("A, ...",
// "B, ...") or, failing them, as many sentences as announced each go on a line of their own, and
// a summary after the list starts a new paragraph ("list-summary-break").
void layoutCountedList(LayoutText& text);

}  // namespace murvelo::cleanup::layout
