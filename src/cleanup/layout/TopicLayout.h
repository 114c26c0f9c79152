#pragma once

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// Stage 7: a new topic ("Separately, ...") starts a new paragraph ("explicit-topic-break"); a list
// announced in a sentence puts each item that opens with a lead word ("First, ...", "Next, ...")
// on a line of its own and a summary after it in a new paragraph ("paragraph-after-list"); in a
// long text that already has paragraphs, "Finally," / "Lastly," starts one too
// ("final-topic-break").
void layoutTopics(LayoutText& text);

}  // namespace murvelo::cleanup::layout
