#include "cleanup/layout/BreakRule.h"

namespace murvelo::cleanup::layout {

std::int32_t breakAnchor(const BreakRule& rule, const Match& match) {
  if (rule.anchorGroup == 0 || !match.has(rule.anchorGroup)) return match.range().end();
  return match.groups[rule.anchorGroup].location;
}

int applyBreakRule(LayoutText& text, const BreakRule& rule, const BreakGuard& guard, std::int32_t from) {
  const icu::UnicodeString current = text.text();
  auto matches = findAll(rule.pattern, current);
  if (!matches) return 0;
  int made = 0;
  for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
    if (it->range().location < from) break;
    if (intersectsAny(it->range(), text.protectedRanges())) continue;
    if (guard && !guard(current, *it)) continue;
    if (text.breakBefore(breakAnchor(rule, *it), rule.kind, rule.id)) ++made;
  }
  return made;
}

}  // namespace murvelo::cleanup::layout
