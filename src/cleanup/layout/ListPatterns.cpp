#include "cleanup/layout/ListPatterns.h"

#include <unicode/uchar.h>

#include "cleanup/WordLists.h"

namespace murvelo::cleanup::layout::lists {
namespace {

const std::string kTrailingConnective = R"((?i)[ ,]+(and then|and)$)";

}  // namespace

bool mayAnnounce(const icu::UnicodeString& sentence) {
  icu::UnicodeString asSentence = sentence;
  // A colon ends an announcement as a full stop ends a sentence.
  if (asSentence.endsWith(u":")) asSentence.replace(asSentence.length() - 1, 1, u'.');
  return !containsMatch(kReportsSaying, asSentence) && !containsMatch(kReportsListing, asSentence) &&
         !containsMatch(kCitesAuthority, asSentence);
}

std::optional<int> countValue(const icu::UnicodeString& word) {
  icu::UnicodeString lower = word;
  lower.toLower();
  std::string utf8;
  lower.toUTF8String(utf8);
  for (std::size_t i = 0; i < kUnitWords.size(); ++i) {
    if (utf8 == kUnitWords[i]) return static_cast<int>(i) + 1;
  }
  if (lower.length() == 1 && lower.charAt(0) >= u'1' && lower.charAt(0) <= u'9')
    return lower.charAt(0) - u'0';
  // Ordinals "1st" ... "9th".
  if (lower.length() == 3 && lower.charAt(0) >= u'1' && lower.charAt(0) <= u'9')
    return lower.charAt(0) - u'0';
  return std::nullopt;
}

void breakAfterList(LayoutText& text, std::int32_t lastItemStart, const std::string& summaryRule,
                    const std::string& otherRule) {
  const auto sentences = sentencesOf(text.text(), lastItemStart);
  for (std::size_t i = 1; i < sentences.size(); ++i) {
    const icu::UnicodeString sentence(text.text(), sentences[i].location, sentences[i].length);
    if (containsMatch(kSummaryOpening, sentence)) {
      text.breakBefore(sentences[i].location, BreakKind::paragraph, summaryRule);
      return;
    }
    if (containsMatch(kContinuationOpening, sentence) || containsMatch(kPronounOpening, sentence)) continue;
    if (!otherRule.empty()) text.breakBefore(sentences[i].location, BreakKind::paragraph, otherRule);
    return;
  }
}

std::optional<std::int32_t> trailingConnectiveStart(const icu::UnicodeString& text, TextRange item) {
  std::int32_t end = item.end();
  while (end > item.location && u_isUWhiteSpace(text.charAt(end - 1))) --end;
  const icu::UnicodeString itemText(text, item.location, end - item.location);
  auto matches = findAll(kTrailingConnective, itemText);
  if (!matches || matches->empty()) return std::nullopt;
  return item.location + matches->back().groups[1].location;
}

}  // namespace murvelo::cleanup::layout::lists
