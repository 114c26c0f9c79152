#include "cleanup/layout/EmailGreetingLayout.h"

#include <unicode/uchar.h>

#include "cleanup/layout/EmailPatterns.h"

namespace murvelo::cleanup::layout {
namespace {

using namespace email;

// Group 1 the greeting word, 2 the addressee (optional), 3 the dictated punctuation; then either
// white space and the body, or the end of the text, or directly a word that opens a body. The
// addressee may not be followed by "and", "or" or "&" (two people: both names or neither).
const std::string kGreetingLine =
    "^(" + kGreeting + ")(?:(?:[ \\t]*,)?[ \\t]+(" + kAddressee +
    "))?(?![ \\t]+(?:and\\b|or\\b|&))(?:[ \\t]*([,.!])(?:\\s+|$)|[ \\t]+(?=(?i:" + kBodyOpeners + ")\\b))";

const std::string kTime =
    "(?i:monday|tuesday|wednesday|thursday|friday|saturday|sunday|today|tomorrow|tonight|noon|midnight|"
    "(?:the[ \\t]+)?end[ \\t]+of[ \\t]+(?:the[ \\t]+)?(?:day|week)|\\d{1,2}(?::\\d{2})?(?:[ "
    "\\t]*(?:am|pm|a\\.m\\.|p\\.m\\.))?)";
// Group 1 the lead-in and condition, group 2 the imperative.
const std::string kConditionComma =
    "(?:^|(?<=[.!?])[ \\t]+|(?<=\\n))((?i:if)\\b[^.!?,\\n]{1,100}?\\b(?i:by|before|after|until)[ \\t]+" +
    kTime + ")[ \\t]+((?:(?i:please)[ \\t]+)?(?i:" + kConditionImperatives + ")\\b)";

icu::UnicodeString capitalisedWord(const icu::UnicodeString& word) {
  const UChar32 first = word.char32At(0);
  if (!u_islower(first)) return word;
  icu::UnicodeString out;
  out.append(u_toupper(first));
  return out.append(word, U16_LENGTH(first), word.length() - U16_LENGTH(first));
}

// "mr smith" or "Mr Smith": the title with its full stop, then the name, both capitalised.
icu::UnicodeString titled(const icu::UnicodeString& addressee) {
  std::int32_t end = 0;
  while (end < addressee.length() && u_isalpha(addressee.char32At(end))) end = addressee.moveIndex32(end, 1);
  icu::UnicodeString out = capitalisedWord(icu::UnicodeString(addressee, 0, end));
  out.append(u'.');
  std::int32_t at = end;
  while (at < addressee.length() &&
         (addressee[at] == u'.' || addressee[at] == u' ' || addressee[at] == u'\t'))
    ++at;
  out.append(u' ').append(capitalisedWord(icu::UnicodeString(addressee, at)));
  return out;
}

}  // namespace

std::optional<std::int32_t> layoutGreeting(LayoutText& text) {
  const std::int32_t start = text.messageStart;
  const icu::UnicodeString message(text.text(), start);
  auto matches = findAll(kGreetingLine, message);
  if (!matches || matches->empty()) return std::nullopt;
  const Match& match = matches->front();
  const TextRange range{start + match.range().location, match.range().length};
  if (intersectsAny(range, text.protectedRanges())) return std::nullopt;

  icu::UnicodeString line = match.text(message, 1);
  if (match.has(2)) {
    icu::UnicodeString addressee = match.text(message, 2);
    if (matchesWhole(kTitledName + ".*", addressee + u",")) {
      addressee = titled(addressee);
    } else if (u_islower(addressee.char32At(0)) && matchesWhole(kLowerCaseName + ".*", addressee + u",")) {
      // A name written in lower case is capitalised; group and family words stay as spoken.
      addressee = capitalisedWord(addressee);
    }
    line.append(u' ').append(addressee);
  }
  line.append(u',');
  const bool hasBody = range.end() < text.text().length();
  if (hasBody) line.append(u"\n\n");
  text.replace(range, line, hasBody ? "email-greeting" : "email-greeting-only");
  return start + line.length();
}

void layoutConditionComma(LayoutText& text, std::int32_t bodyStart) {
  auto matches = findAll(kConditionComma, text.text());
  if (!matches) return;
  for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
    if (it->range().location < bodyStart) break;
    if (intersectsAny(it->range(), text.protectedRanges())) continue;
    const std::int32_t end = it->groups[1].end();
    text.replace({end, it->groups[2].location - end}, u", ", "email-introductory-condition-comma");
  }
}

}  // namespace murvelo::cleanup::layout
