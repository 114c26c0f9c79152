#include "cleanup/layout/PrecedingText.h"

#include <array>
#include <string>

#include "cleanup/Regex.h"

namespace murvelo::cleanup::layout {
namespace {

// Each pattern is anchored at the end of the text before the match and looks back within the
// current sentence only.
const std::array<std::string, 3> kVetoPatterns = {
    // The sentence talks about words ("the message is, you know, ...").
    R"((?i)\b(?:word|phrase|expression|reaction|label|command|option|value|choice|name|button|term|message|text|title|heading|caption|description|notice|prompt|tooltip|field|menu|setting|transcript|audit trail|API response|witness report)s?\b[^.!?\n]{0,80}\b(?:is|are|includes?|contains?|lists?|listed|was|were|means?)\b[^.!?\n]*$)",
    // It reports speech ("he said, you know, ...").
    R"((?i)\b(?:say|says|said|saying|telling|asking|read|reads|state|states|stated|show|shows|showed|display|displays|displayed|write|writes|wrote|report|reports|reported|record|records|recorded|recording|recall|recalls|recalled|recalling|testify|testifies|testified|testifying|log|logs|logged|logging|return|returns|returned|returning|tells|told|asks|asked|quotes|quoted|quoting)\b[^.!?\n]*$)",
    // It asks to keep a wording ("use the phrase, I mean, ...").
    R"((?i)\b(?:use|keep|preserve|write|type|enter|set)\b[^.!?\n]{0,40}\b(?:the[ \t]+)?(?:word|phrase|expression|reaction|label|command|option|value|choice|name|button|term|message|text|title|heading|caption|description|notice|prompt|tooltip|field|menu|setting|transcript|audit trail|API response|witness report)s?\b[^.!?\n]*$)",
};

}  // namespace

bool precedingTextVetoes(std::string_view textBeforeMatch) {
  // Every pattern stays inside the last sentence, so only that part is scanned.
  const std::size_t sentenceEnd = textBeforeMatch.find_last_of(".!?\n");
  if (sentenceEnd != std::string_view::npos) textBeforeMatch.remove_prefix(sentenceEnd + 1);
  const icu::UnicodeString before = fromUtf8(textBeforeMatch);
  for (const auto& pattern : kVetoPatterns) {
    if (containsMatch(pattern, before)) return true;
  }
  return false;
}

}  // namespace murvelo::cleanup::layout
