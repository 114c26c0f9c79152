#include "cleanup/layout/CountedListLayout.h"

#include "cleanup/layout/ListPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace lists;

// Group 1 the count, 2 what stands between the list noun and the closing mark, 3 the mark.
const std::string kAnnouncement =
    R"((?i)\b(\d+|two|three|four|five|six)[ \t]+(?:items|things|tasks|steps|points|parts|questions|changes)\b([^.!?:\n]*)([.:]))";
// What may stand between the list noun and the colon: "for the trip", "that includes ...".
const std::string kAnnouncementTail =
    R"((?i)^[ \t]*(?:(?:for|with)\b[^,\n]*|that[ \t]+(?:includes?|contains?)\b[^,\n]*)?$)";
// Group 1 the separator, 2 an optional "and", 3 the letter. Letters after F are not items: a
// sentence with "G, ..." is far more often a name or a grade than a seventh item.
const std::string kLetteredItem = R"(((?<=[.!?:])[ \t]+|,[ \t]+)((?i:and)[ \t]+)?([A-F]),[ \t]+)";
// A comma series ("three things: milk, eggs and bread") stays on one line: short items read
// better inline, and nothing marks where a multi-word item ends.

struct Announcement {
  TextRange range;
  int count;
};

std::optional<Announcement> findAnnouncement(const LayoutText& text) {
  const icu::UnicodeString& current = text.text();
  auto matches = findAll(kAnnouncement, current);
  if (!matches || matches->empty()) return std::nullopt;
  const auto sentences = sentencesOf(current, text.messageStart);
  for (const auto& match : *matches) {
    if (match.range().location < text.messageStart || intersectsAny(match.range(), text.protectedRanges()))
      continue;
    if (!containsMatch(kAnnouncementTail, match.text(current, 2))) continue;
    const auto count = countValue(match.text(current, 1));
    if (!count || *count < 2) continue;
    // The whole announcing sentence decides whether it reports someone else's list.
    std::int32_t sentenceStart = 0;
    for (const TextRange sentence : sentences) {
      if (sentence.location <= match.range().location) sentenceStart = sentence.location;
    }
    const icu::UnicodeString sentence(current, sentenceStart, match.range().end() - sentenceStart);
    if (!mayAnnounce(sentence)) continue;
    return Announcement{match.range(), *count};
  }
  return std::nullopt;
}

bool layoutLetteredItems(LayoutText& text, const Announcement& announcement) {
  const icu::UnicodeString current = text.text();
  auto matches = findAll(kLetteredItem, current);
  if (!matches) return false;
  std::vector<Match> items;
  for (const auto& match : *matches) {
    if (match.range().location < announcement.range.end() - 1) continue;
    if (intersectsAny(match.range(), text.protectedRanges())) continue;
    const char16_t letter = current.charAt(match.groups[3].location);
    if (letter != u'A' + static_cast<char16_t>(items.size())) break;
    items.push_back(match);
  }
  if (items.size() < 2) return false;
  for (const auto& item : items) {
    // A joining "and" opens the item's line rather than ending the previous one.
    const std::int32_t cut = item.has(2) ? item.groups[2].location : item.groups[3].location;
    text.breakBefore(cut, BreakKind::line, "list-summary-break");
  }
  breakAfterList(text, items.back().groups[3].location, "list-summary-break", "paragraph-after-list");
  return true;
}

void layoutSentenceItems(LayoutText& text, const Announcement& announcement) {
  const auto sentences = sentencesOf(text.text(), announcement.range.end());
  if (sentences.size() < static_cast<std::size_t>(announcement.count)) return;
  for (int i = 0; i < announcement.count; ++i) {
    text.breakBefore(sentences[i].location, BreakKind::line, "list-summary-break");
  }
  breakAfterList(text, sentences[announcement.count - 1].location, "list-summary-break",
                 "paragraph-after-list");
}

}  // namespace

void layoutCountedList(LayoutText& text) {
  const auto announcement = findAnnouncement(text);
  if (!announcement) return;
  if (!layoutLetteredItems(text, *announcement)) layoutSentenceItems(text, *announcement);
}

}  // namespace murvelo::cleanup::layout
