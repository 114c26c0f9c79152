#pragma once

#include <string_view>

#include "cleanup/FormatEngine.h"

namespace murvelo::cleanup::layout {

// The second half of the Format level, on a tidied text: the finishing guards and phrase rules,
// then (when `layoutEnabled`) the layout stages, the renderer and the final invariants.
//
// Results: a guard or a protected-literal invariant that fails returns `raw` with no edits; a
// layout that breaks the renderer's or the word/number/question invariants returns the text that
// entered the layout stages with its edits, and the reason prefixed "layout-" (so a reader of a
// fallback can tell layout from the Tidy guards).
FormatResult layout(std::string_view tidied, std::string_view raw, bool layoutEnabled);

// The same once the caller has made the three guard checks on this very pair (reconciliation makes
// them): on long texts the literal scans are a good part of the time.
FormatResult layoutAfterGuards(std::string_view tidied, std::string_view raw, bool layoutEnabled);

}  // namespace murvelo::cleanup::layout
