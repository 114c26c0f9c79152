#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// Stage 8: "The first thing is ... The second one will ..." puts every such sentence on a line of
// its own ("ordinal-topic-list") and starts a new paragraph after the last item
// ("paragraph-after-list").
void layoutOrdinalTopics(LayoutText& text);

}  // namespace murvelo::cleanup::layout
