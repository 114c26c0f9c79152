#include "cleanup/layout/SpokenListLayout.h"

#include "cleanup/layout/ListPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace lists;

// Items keep their spoken markers: a layout may not change words, so "Number two, call Sam." stays
// as spoken and only moves to a line of its own. Each item line begins with its marker; a
// connective that joined two items ("..., and number three") opens the next line instead of
// dangling at the end of the previous one.

const std::string kMarker =
    R"(((?:^|[,;:.!?][ \t]+)(?:(?i:and then|and|then)[ \t]+)?)(?:(?i:number)[ \t]+((?i:one|two|three|four|five|six|seven|eight|nine))|((?i:1st|2nd|3rd|4th|5th|6th|7th|8th|9th)))([,:.?])(?=[ \t]+\S))";
// A marker asked as a question ("Was it number one? Is it ...") is no list marker.
const std::string kQuestionOpening =
    R"((?i)^(?:what|how|why|when|where|who|which|whose|is|are|am|was|were|can|could|would|should|will|do|does|did|have|has|had|may|might)\b(?![ \t]+to\b))";

const std::string kSpokenColon =
    R"(^(((?i:one|two|three|four|five|six|\d+))[ \t]+(?i:things|tasks|items|steps)\b[^.!?\n]{0,80})[ \t]+(?i:colon)[ \t]+)";
// The same once cleanup has written the dictated word as a mark.
const std::string kDictatedColon =
    R"(^(((?i:one|two|three|four|five|six|\d+))[ \t]+(?i:things|tasks|items|steps)\b[^.!?\n:]{0,80}):[ \t]+)";
const std::string kSpokenSemicolon = R"((?i)\bsemicolon\b)";
const std::string kDictatedSemicolon = R"((?i)\bsemicolon\b|;)";
// "the word semicolon" names the word; it separates nothing.
const std::string kSemicolonAsWord =
    R"((?i)\b(?:word|term|phrase|token|label|text)[ \t]+semicolon\b|\bsemicolon[ \t]+semicolon\b)";
// The same once cleanup has written the named word as a mark ("the word; is ...").
const std::string kDictatedSemicolonAsWord =
    R"((?i)\b(?:word|term|phrase|token|label|text)[ \t]*;|;[ \t]*;|\bsemicolon[ \t]*;|;[ \t]*semicolon\b)";
const std::string kColonBefore = R"((?i)(?::|\bcolon\b)[ \t]+(?=\S))";

struct Marker {
  std::int32_t word;  // where the marker word starts
  std::int32_t end;   // after its punctuation
  int value;
};

std::vector<Marker> markersOf(const LayoutText& text) {
  std::vector<Marker> markers;
  const icu::UnicodeString& current = text.text();
  auto matches = findAll(kMarker, current);
  if (!matches) return markers;
  for (const auto& match : *matches) {
    if (match.range().location < text.messageStart) continue;
    if (intersectsAny(match.range(), text.protectedRanges())) continue;
    if (match.text(current, 4) == u"?" &&
        containsMatch(kQuestionOpening, icu::UnicodeString(current, match.range().end()).trim())) {
      continue;
    }
    const auto value = countValue(match.text(current, match.has(2) ? 2 : 3));
    if (!value) continue;
    markers.push_back({match.range().location + match.groups[1].length, match.range().end(), *value});
  }
  return markers;
}

// The first run of markers counted up from one, at least two long.
std::vector<Marker> countedRun(const std::vector<Marker>& markers) {
  for (std::size_t i = 0; i < markers.size(); ++i) {
    if (markers[i].value != 1) continue;
    std::vector<Marker> run{markers[i]};
    for (std::size_t j = i + 1; j < markers.size() && markers[j].value == run.back().value + 1; ++j) {
      run.push_back(markers[j]);
    }
    if (run.size() >= 2) return run;
  }
  return {};
}

void breakSentenceItems(LayoutText& text, std::int32_t from, std::optional<int> count,
                        const std::string& rule) {
  const auto sentences = sentencesOf(text.text(), from);
  if (sentences.size() < 2) return;
  std::size_t items = sentences.size();
  if (count && *count >= 2 && static_cast<std::size_t>(*count) <= sentences.size()) items = *count;
  for (std::size_t i = 1; i < items; ++i) text.breakBefore(sentences[i].location, BreakKind::line, rule);
  breakAfterList(text, sentences[items - 1].location, "list-summary-break", "paragraph-after-list");
}

void layoutSpokenColon(LayoutText& text) {
  const icu::UnicodeString message(text.text(), text.messageStart);
  auto matches = findAll(kSpokenColon, message);
  if (text.dictatedColon && (!matches || matches->empty())) matches = findAll(kDictatedColon, message);
  if (!matches || matches->empty()) return;
  const Match& match = matches->front();
  const TextRange range{text.messageStart + match.range().location, match.range().length};
  if (intersectsAny(range, text.protectedRanges()) || !mayAnnounce(match.text(message, 1) + u".")) return;
  const std::int32_t itemsStart = range.end();
  text.breakBefore(itemsStart, BreakKind::line, "spoken-number-list");
  // Items that are sentences of their own each take a line; a comma series stays on one line.
  if (!containsMatch(kMarker, icu::UnicodeString(text.text(), itemsStart))) {
    breakSentenceItems(text, itemsStart, countValue(match.text(message, 2)), "spoken-number-list");
  }
}

void layoutSpokenSemicolons(LayoutText& text) {
  const icu::UnicodeString current = text.text();
  for (const TextRange sentence : sentencesOf(current, text.messageStart)) {
    const icu::UnicodeString body(current, sentence.location, sentence.length);
    if (containsMatch(kSemicolonAsWord, body)) continue;
    if (text.dictatedSemicolon && containsMatch(kDictatedSemicolonAsWord, body)) continue;
    auto separators = findAll(text.dictatedSemicolon ? kDictatedSemicolon : kSpokenSemicolon, body);
    if (!separators || separators->empty()) continue;
    bool listed = false;
    for (const auto& separator : *separators) {
      const TextRange at{sentence.location + separator.range().location, separator.range().length};
      if (intersectsAny(at, text.protectedRanges())) continue;
      // The next item starts at the token after the separator.
      listed |= text.breakBefore(at.end(), BreakKind::line, "explicit-spoken-semicolon-list");
    }
    if (!listed) continue;
    // An announcement before the first item ("Three things: ...") keeps its own line.
    auto colons = findAll(kColonBefore, body);
    if (colons && !colons->empty() &&
        colons->front().range().location < separators->front().range().location) {
      text.breakBefore(sentence.location + colons->front().range().end(), BreakKind::line,
                       "explicit-spoken-semicolon-list");
    }
  }
}

}  // namespace

void layoutSpokenColonAndSemicolonLists(LayoutText& text) {
  layoutSpokenColon(text);
  layoutSpokenSemicolons(text);
}

void layoutSpokenNumberList(LayoutText& text) {
  const auto run = countedRun(markersOf(text));
  if (run.empty()) return;
  const icu::UnicodeString current = text.text();
  for (std::size_t i = 0; i < run.size(); ++i) {
    std::int32_t cut = run[i].word;
    if (i > 0) {
      if (auto connective =
              trailingConnectiveStart(current, {run[i - 1].end, run[i].word - run[i - 1].end})) {
        cut = *connective;
      }
    }
    if (cut > text.messageStart) text.breakBefore(cut, BreakKind::line, "spoken-number-list");
  }
  breakAfterList(text, run.back().word, "list-summary-break", "paragraph-after-list");
}

}  // namespace murvelo::cleanup::layout
