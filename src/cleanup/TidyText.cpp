#include "cleanup/TidyText.h"

#include "cleanup/Regex.h"

namespace murvelo::cleanup {
namespace {

bool isEdgeMark(UChar32 c) {
  switch (c) {
    case u'.':
    case u',':
    case u'!':
    case u'?':
    case u';':
    case u':':
    case u'\u2026':
    case u'"':
    case u'\'':
    case u'\u201C':
    case u'\u201D':
    case u'\u2018':
    case u'\u2019':
    case u'(':
    case u')':
    case u'[':
    case u']': return true;
    default: return false;
  }
}

}  // namespace

std::string lowerUtf8(const icu::UnicodeString& text) {
  icu::UnicodeString lower(text);
  lower.toLower();
  return toUtf8(lower);
}

std::string wordCore(const icu::UnicodeString& token) {
  std::int32_t start = 0;
  std::int32_t end = token.length();
  while (start < end && isEdgeMark(token.charAt(start))) ++start;
  while (end > start && isEdgeMark(token.charAt(end - 1))) --end;
  return lowerUtf8(icu::UnicodeString(token, start, end - start));
}

bool Prefilter::admits(const icu::UnicodeString& lowerText) const {
  for (const auto& anyOf : allOf) {
    bool found = false;
    for (const auto literal : anyOf) {
      if (lowerText.indexOf(literal.data(), static_cast<std::int32_t>(literal.size()), 0) >= 0) {
        found = true;
        break;
      }
    }
    if (!found) return false;
  }
  return true;
}

const std::vector<std::u16string_view> kDigits = {u"0", u"1", u"2", u"3", u"4", u"5", u"6", u"7", u"8", u"9"};

const std::vector<std::u16string_view> kDigitOrSpelledNumber = {
    u"0",      u"1",     u"2",     u"3",     u"4",       u"5",      u"6",     u"7",
    u"8",      u"9",     u"one",   u"two",   u"three",   u"four",   u"five",  u"six",
    u"seven",  u"eight", u"nine",  u"ten",   u"eleven",  u"twelve", u"teen",  u"twenty",
    u"thirty", u"forty", u"fifty", u"sixty", u"seventy", u"eighty", u"ninety"};

}  // namespace murvelo::cleanup
