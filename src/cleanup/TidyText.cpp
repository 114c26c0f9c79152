#include "cleanup/TidyText.h"

#include "cleanup/WordLists.h"
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

namespace {

// Every spelled number below a hundred holds one of these: the words to twelve, "teen", the tens.
const std::vector<std::u16string> kSpelledNumberStems = [] {
  std::vector<std::u16string> stems;
  auto add = [&stems](std::string_view word) { stems.emplace_back(word.begin(), word.end()); };
  for (auto word : kUnitWords) add(word);
  add(kTenWord);
  add(kTeenWords[0]);
  add(kTeenWords[1]);
  add("teen");
  for (auto word : kTensWords) add(word);
  return stems;
}();

}  // namespace

const std::vector<std::u16string_view> kDigitOrSpelledNumber = [] {
  std::vector<std::u16string_view> literals(kDigits.begin(), kDigits.end());
  literals.insert(literals.end(), kSpelledNumberStems.begin(), kSpelledNumberStems.end());
  return literals;
}();

}  // namespace murvelo::cleanup
