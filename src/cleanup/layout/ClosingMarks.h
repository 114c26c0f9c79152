#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// Stage 9: a text that ends in a sentence mark and closing quotes or brackets ends in a quotation
// or an aside; no break recorded inside that closing part survives, so a quotation is never
// split across lines by layout. Skipped when `skipClosingMarks` is set (the text ends in a
// signature).
void keepClosingPartWhole(LayoutText& text);

}  // namespace murvelo::cleanup::layout
