#include "cleanup/layout/TopicLayout.h"

#include <algorithm>

#include "cleanup/layout/BreakRule.h"
#include "cleanup/layout/ListPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace lists;

const BreakRule kExplicitTopicBreak{
    "explicit-topic-break",
    R"((?<=[.!?])\s+((?i:Separately|On another topic|On a separate topic|On a different note|Turning to|As for|Regarding))[ ,])",
    1, BreakKind::paragraph};
const BreakRule kFinalTopicBreak{"final-topic-break", R"((?<=[.!?])\s+(?=(?i:Finally|Lastly),))", 0,
                                 BreakKind::paragraph};
// Shorter texts read fine as one paragraph.
constexpr int kFinalTopicBreakMinWords = 60;

const std::string kAnnouncementAtStart =
    R"((?i)^(?:make|create|give me|here are|I need|I want you to do)\b[ \t]+(?:(?:a|an)[ \t]+)?(one|two|three|four|five|six|\d+)(?:-item)?(?:[ \t]+[\p{L}\p{M}'’-]+){0,3}[ \t]+(?:checklist|list|things|items|tasks|steps)\b)";
const std::string kAnnouncementAnywhere =
    R"((?i)\b(one|two|three|four|five|six|\d+)(?:-item)?(?:[ \t]+(?!(?:one|two|three|four|five|six|\d+|checklist|list|things|items|tasks|steps)\b)[\p{L}\p{M}'’-]+){0,3}[ \t]+(?:checklist|list|things|items|tasks|steps)\b)";
// A text that enumerates with "first, ... second, ..." is a list even without an announcement.
const std::string kFirstSecondEnumeration =
    R"((?:^|(?<=[.!?])\s+)(?i:first),[ \t]+[^.!?]*[.!?]\s+(?i:second),)";
// Where such an enumeration opens ("First", "So first", "Firstly").
const std::string kListOpener = R"((?:^|[.!?]\s+)((?:(?i:so)[ \t]+)?(?i:first|firstly))\b)";

// Lead words of the items of an announced list. The first list may follow "and"
// ("And finally, ..."); the second holds phrases that only open an item at a sentence start.
// "Then" and "Also" are left out: they carry an item on more often than they open one.
const std::string kLeadWords =
    "firstly|first|secondly|second|thirdly|third|fourthly|fourth|fifthly|fifth|sixth|next|after that|"
    "finally|lastly|last";
const std::string kCompanionLeads = "another|one more|the next|the last|the other";
const std::string kItemLead = "(?:^|(?<=[.!?])\\s+|(?<=\\n))((?i:and)[ \\t]+)?((?i:" + kLeadWords + "))\\b";
const std::string kCompanionItemLead = "(?<=[.!?])\\s+()((?i:" + kCompanionLeads + "))\\b";

// Where the items of an announced list may start: after the announcing sentence, or at the
// opener of a first/second enumeration.
std::optional<std::int32_t> listStart(const LayoutText& text) {
  const icu::UnicodeString& current = text.text();
  const auto sentences = sentencesOf(current, text.messageStart);
  const auto sentenceText = [&](TextRange range) {
    return icu::UnicodeString(current, range.location, range.length);
  };
  if (!sentences.empty() && containsMatch(kAnnouncementAtStart, sentenceText(sentences.front())) &&
      mayAnnounce(sentenceText(sentences.front()))) {
    return sentences.front().end();
  }
  // One scan of the whole text, then the sentence that holds each announcement.
  if (auto announcements = findAll(kAnnouncementAnywhere, current)) {
    std::size_t next = 0;
    for (const auto& announcement : *announcements) {
      while (next < sentences.size() && sentences[next].end() <= announcement.range().location) ++next;
      if (next == sentences.size()) break;
      if (sentences[next].location > announcement.range().location) continue;  // before the message
      if (mayAnnounce(sentenceText(sentences[next]))) return sentences[next].end();
    }
  }
  if (containsMatch(kFirstSecondEnumeration, current)) {
    auto openers = findAll(kListOpener, current);
    if (openers && !openers->empty()) return openers->front().groups[1].location;
  }
  return std::nullopt;
}

void layoutAnnouncedList(LayoutText& text) {
  const auto start = listStart(text);
  if (!start) return;
  const icu::UnicodeString current = text.text();
  std::vector<std::int32_t> items;
  for (const std::string& pattern : {kItemLead, kCompanionItemLead}) {
    auto matches = findAll(pattern, current);
    if (!matches) continue;
    for (const auto& match : *matches) {
      const std::int32_t at =
          match.has(1) && match.groups[1].length > 0 ? match.groups[1].location : match.groups[2].location;
      if (at < *start || intersectsAny(match.range(), text.protectedRanges())) continue;
      items.push_back(at);
    }
  }
  // "So first, ..." opens the list although "so" is no lead word.
  if (auto openers = findAll(kListOpener, current)) {
    for (const auto& opener : *openers) {
      if (opener.groups[1].location >= *start) items.push_back(opener.groups[1].location);
    }
  }
  std::sort(items.begin(), items.end());
  items.erase(std::unique(items.begin(), items.end()), items.end());
  if (items.size() < 2) return;
  for (const std::int32_t item : items) text.breakBefore(item, BreakKind::line, "paragraph-after-list");
  breakAfterList(text, items.back(), "paragraph-after-list", "");
}

}  // namespace

void layoutTopics(LayoutText& text) {
  applyBreakRule(text, kExplicitTopicBreak);
  layoutAnnouncedList(text);
  if (text.hasParagraphBreak() && wordCount(text.text()) >= kFinalTopicBreakMinWords) {
    // A "Finally," that already opens a list item keeps its line.
    applyBreakRule(text, kFinalTopicBreak, [&](const icu::UnicodeString&, const Match& match) {
      return !text.hasBreakBefore(match.range().end());
    });
  }
}

}  // namespace murvelo::cleanup::layout
