#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// "send it to Anna not Ben" gains a comma before "not" so that the corrected destination stands
// out ("destination-contrast-comma").
void layoutDestinationContrast(LayoutText& text);

}  // namespace murvelo::cleanup::layout
