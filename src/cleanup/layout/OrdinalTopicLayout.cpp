#include "cleanup/layout/OrdinalTopicLayout.h"

#include "cleanup/layout/BreakRule.h"
#include "cleanup/layout/ListPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

const BreakRule kOrdinalTopic{
    "ordinal-topic-list",
    R"((?:(?<=[.!?])[ \t]+|(?<=\n)|^)(?=(?:(?i:and then|and|then)[ \t]+)?(?i:the)[ \t]+((?i:first|second|third|fourth|fifth|1st|2nd|3rd|4th|5th))(?:[ \t]+(?i:thing|one|item|step|part|point|option|idea|question|issue|reason))?[ \t]+(?i:is|was|would|will)\b))",
    0, BreakKind::line};

}  // namespace

void layoutOrdinalTopics(LayoutText& text) {
  const icu::UnicodeString current = text.text();
  auto matches = findAll(kOrdinalTopic.pattern, current);
  if (!matches) return;
  std::vector<Match> items;
  for (const auto& match : *matches) {
    if (match.range().location < text.messageStart ||
        intersectsAny(match.groups[1], text.protectedRanges())) {
      continue;
    }
    items.push_back(match);
  }
  // One ordinal sentence is a sentence, not a list.
  if (items.size() < 2) return;
  for (const auto& item : items)
    text.breakBefore(breakAnchor(kOrdinalTopic, item), kOrdinalTopic.kind, kOrdinalTopic.id);
  lists::breakAfterList(text, breakAnchor(kOrdinalTopic, items.back()), "paragraph-after-list",
                        "paragraph-after-list");
}

}  // namespace murvelo::cleanup::layout
