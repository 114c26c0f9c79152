#pragma once

#include <functional>
#include <string>

#include "cleanup/layout/LayoutText.h"

namespace murvelo::cleanup::layout {

// A layout rule that only breaks lines: each match of `pattern` outside the protected ranges gets
// a break of `kind` before the token where capture group `anchorGroup` starts (the match's end
// when `anchorGroup` is 0).
struct BreakRule {
  std::string id;
  std::string pattern;
  int anchorGroup;
  BreakKind kind;
};

// A further test on one match; false leaves the match alone.
using BreakGuard = std::function<bool(const icu::UnicodeString& text, const Match& match)>;

// Applies `rule` from the last match to the first, starting at `from`. Returns the breaks made.
int applyBreakRule(LayoutText& text, const BreakRule& rule, const BreakGuard& guard = {},
                   std::int32_t from = 0);

// The offset at which `rule` places its break for `match`.
std::int32_t breakAnchor(const BreakRule& rule, const Match& match);

}  // namespace murvelo::cleanup::layout
