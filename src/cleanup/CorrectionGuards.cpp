// The context tests that keep a spoken word such as "no" or "actually" from being taken for a
// self-correction. Each test names the reason a candidate is left alone.
#include <unicode/uchar.h>

#include "cleanup/CorrectionRules.h"
#include "cleanup/WordLists.h"
#include "cleanup/TidyEngine.h"

namespace murvelo::cleanup {
namespace {

const std::string kWordsTalk =
    R"((?i)\b(?:word|phrase|expression|reaction|label|command|option|value|choice|name|button|term|message|text|title|heading|caption|description|notice|prompt|tooltip|field|menu|setting|transcript|audit trail|API response|witness report)s?\b[^.!?\n]{0,80}\b(?:is|are|includes?|contains?|lists?|listed|was|were|means?)\b[^.!?\n]*$)";
const std::string kReportsSpeech =
    R"((?i)\b(?:say|says|said|saying|telling|asking|read|reads|state|states|stated|show|shows|showed|display|displays|displayed|write|writes|wrote|report|reports|reported|record|records|recorded|recording|recall|recalls|recalled|recalling|testify|testifies|testified|testifying|log|logs|logged|logging|return|returns|returned|returning|tells|told|asks|asked|quotes|quoted|quoting)\b[^.!?\n]*$)";
const std::string kLastInstruction =
    R"((?i)(?:^|[.!?]\s+)(?:then\s+|please\s+)?(?:tell|ask|write|type|enter|draft|translate|rewrite|summarize|reply|respond|answer|explain|describe|make|create|generate|give me|show me)\b)";
const std::string kExactPhrase =
    R"((?i)\b(?:repeat|say|state)\b[^.!?\n]{0,50}\b(?:phrase|word|exact|verbatim)\b[^.!?\n]*$)";
const std::string kKeepWording =
    R"((?i)\b(?:use|keep|preserve|write|type|enter|set)\b[^.!?\n]{0,40}\b(?:the[ \t]+)?(?:word|phrase|expression|reaction|label|command|option|value|choice|name|button|term|message|text|title|heading|caption|description|notice|prompt|tooltip|field|menu|setting|transcript|audit trail|API response|witness report)s?\b[^.!?\n]*$)";

const std::string kDeliberation =
    R"((?i)(?:^|[.!?]\s+)[^.!?]{0,120}\b(?:maybe|perhaps|possibly|not sure|uncertain|deciding between)\b[^.!?]*$)";
const std::string kChoosing =
    R"((?i)(?:^|[.!?]\s+)[^.!?]{0,120}\b(?:whether|either|choose|decide|between)\b[^.!?]*$)";
const std::string kHedgedReplacement =
    R"((?i)^(?:or|maybe|perhaps|possibly|how about|what about|depending|if|unless|subject to)\b)";

const std::string kNumberWord =
    "(?:" + alternatives({kUnitWords, tenWord(), kTeenWords, kTensWords, kScaleWords}) + ")";
const std::string kSpelledRun =
    "(?:" + kNumberWord + "(?:(?:-|[ \\t]+(?:and[ \\t]+)?)" + kNumberWord + "){0,6})";
const std::string kFraction = R"((?i)(?<![\p{L}\p{N}])(?:\d+(?:\.\d+)?|)" + kSpelledRun +
                              R"()[ \t]+(?:out of|of|over)(?:[ \t]+(?:\d+(?:\.\d+)?|)" + kSpelledRun +
                              R"())?[ \t]*$)";

const std::string kNegation =
    R"((?i)\b(?:not|never|no|cannot|can['’]t|won['’]t|don['’]t|doesn['’]t|didn['’]t|isn['’]t|aren['’]t|couldn['’]t)\b)";
const std::string kScheduleNegation =
    R"((?i)\b(?:not|never|no|cannot|can['’]t|won['’]t|don['’]t|doesn['’]t|didn['’]t|isn['’]t|aren['’]t|wasn['’]t|weren['’]t|couldn['’]t|wouldn['’]t|shouldn['’]t|only|or|either|between|busy|away|off|closed|unavailable|booked|full)\b)";
const std::string kRangeBefore = R"((?i)\b(?:to|through|thru)[ \t]+$)";
const std::string kScheduleRangeBefore = R"((?i)\b(?:at|to|until|till|from|by|around|after|before)[ \t]+$)";
const std::string kListInSpan =
    R"((?i),|&|\b(?:and|plus|both|also|instead|rather|from|than|except|versus|vs|who|whom|whose|which|that|when|whenever|where|while|once|until|till|since|because|if|unless|after|before|as)\b)";
const std::string kQuestion =
    R"X((?i)(?:^|[,;:\n])[ \t"“'‘(]*(?:(?:so|and|but|hey|okay|ok|also|then|well)[ ,]+)*(?:can|could|would|will|shall|should|is|are|am|was|were|do|does|did|have|has|had|may|might|what|when|where|who|whom|whose|why|how|which|isn['’]t|aren['’]t|don['’]t|doesn['’]t|didn['’]t|won['’]t|can['’]t|couldn['’]t|wouldn['’]t|shouldn['’]t)\b)X";
const std::string kGreeting =
    R"(^(?i:hi|hello|hey|dear|good morning|good afternoon|good evening|morning)(?:[ \t]+(?:\p{Lu}[\p{L}\p{M}'’\-]*\.?|(?i:team|all|everyone|everybody|folks|guys|there|mum|mom|dad))){0,3},$)";
const std::string kPlan =
    R"((?i)^(?:(?:hi|hey|hello|dear)[ \t]+[\p{L}'’\-]+[ \t]*,[ \t]*|(?!(?:apparently|reportedly|allegedly|supposedly|evidently|seemingly|purportedly|ostensibly|rumou?redly)\b)[\p{L}'’\-]+[ \t]*,[ \t]*)?(?:(?:so|then|and)[ \t]+)?(?:let['’]s|let us|(?:I|we)(?:['’]ll|[ \t]+(?:will|can|could|should|shall)))[ \t]+(?!(?:be|have|need|work|only|not|never)\b))";
const std::string kActionStart =
    R"(^[ \t]*(?:(?i:meet|do|go|come|call|ring|book|schedule|plan|leave(?![ \t]+(?:out|behind)\b)|arrive|start|begin|finish|pay|order|bring|send|take|try|fly|drive|ship|deliver|visit|pick|set|make|aim|say|use|buy|charge|offer|see|head|launch|open|stay|land|eat|hold|run|play|ask|tell|text|email|join|host)(?:[ \t]+[\p{L}'’]+){0,2})?[ \t]*$)";
const std::string kNameClause =
    R"((?i)(?:^|[.!?][ \t]*|\b(?:and|but|so|because|when|while)[ \t]+)(?:my|your|our|her|his|their|its|the|a|an)[ \t]+(?:first[ \t]+|last[ \t]+|full[ \t]+|middle[ \t]+|real[ \t]+)?names?[ \t]+(?:is|was)[ \t]+$)";

const std::string kEndAlternatives =
    R"((?:[.!?;,](?:\s|$)|$|(?i:period|semicolon|comma|colon|new line|new paragraph|question mark|exclamation (?:point|mark))\b|(?i:and|but|so|then|because|since|which|while|before|after|until|when)\b))";
const std::string kEndAtStart = "^[ \\t]*" + kEndAlternatives;
const std::string kTimeThenEnd =
    R"(^[ \t]+(?i:today|tomorrow|tonight|yesterday|monday|tuesday|wednesday|thursday|friday|saturday|sunday|morning|afternoon|evening|night|next week|this week)\b[ \t]*)" +
    kEndAlternatives;
const std::string kVerbAfter =
    R"((?i)^[ \t]*,?[ \t]*(?:is|are|was|were|am|be|been|being|will|would|can|could|shall|should|must|may|might|has|have|had|does|do|did|isn['’]t|aren['’]t|wasn['’]t|weren['’]t|won['’]t|doesn['’]t|didn['’]t|hasn['’]t|haven['’]t|hadn['’]t|can['’]t|couldn['’]t|wouldn['’]t|shouldn['’]t)\b)";
const std::string kPrepositionAfter =
    R"((?i)^[ \t]*,?[ \t]*(?:for|about|on|in|at|by|with|before|after|regarding|from|via|of|out of|including|excluding|plus|per|each)[ \t]+(?:(?:the|a|an|my|your|our|their|his|her|its|this|that)[ \t]+)?[\p{L}\p{N}'’\-]+)";
const std::string kNextWord = R"(^[ \t]+\p{L}[\p{L}\p{M}'’\-]*)";

icu::UnicodeString before(const icu::UnicodeString& text, std::int32_t at) {
  return icu::UnicodeString(text, 0, at);
}

// The start of the clause or sentence that holds `at`: after the last of `stops`.
std::int32_t clauseStart(const icu::UnicodeString& text, std::int32_t at, const char16_t* stops) {
  for (std::int32_t i = at - 1; i >= 0; --i) {
    if (std::u16string_view(stops).find(text.charAt(i)) != std::u16string_view::npos) return i + 1;
  }
  return 0;
}

bool closesThought(const icu::UnicodeString& after, int nounTail) {
  icu::UnicodeString rest = after;
  for (int skipped = 0;; ++skipped) {
    if (containsMatch(kEndAtStart, rest) || containsMatch(kTimeThenEnd, rest) ||
        containsMatch(kVerbAfter, rest) || containsMatch(kPrepositionAfter, rest)) {
      return true;
    }
    if (skipped >= nounTail) return false;
    auto next = findAll(kNextWord, rest);
    if (!next || next->empty()) return false;
    rest.remove(0, next->front().range().end());
  }
}

bool questionOpensClause(const icu::UnicodeString& sentence) {
  auto matches = findAll(kQuestion, sentence);
  if (!matches) return true;  // could not tell: leave the text alone
  for (const auto& m : *matches) {
    bool laterBreak = false;
    for (std::int32_t i = m.range().end(); i < sentence.length() && !laterBreak; ++i) {
      const UChar c = sentence.charAt(i);
      laterBreak = c == u',' || c == u';' || c == u':' || c == u'\n';
    }
    if (!laterBreak) return true;
  }
  return false;
}

// Tests that end in "[^.!?\n]*$" only see the last sentence; the boundary itself is kept so that a
// test opening with "[.!?]\s+" still finds it.
icu::UnicodeString lastSentence(const icu::UnicodeString& text, const char16_t* stops) {
  const std::int32_t start = clauseStart(text, text.length(), stops);
  return icu::UnicodeString(text, std::max(0, start - 1));
}

}  // namespace

bool reportedSpeechBefore(std::string_view textBeforeMatch) {
  const icu::UnicodeString text = lastSentence(fromUtf8(textBeforeMatch), u".!?\n");
  if (containsMatch(kWordsTalk, text) || containsMatch(kKeepWording, text)) return true;
  if (!containsMatch(kReportsSpeech, text)) return false;
  // "Tell him: we meet Monday, no, Tuesday" is an instruction, not a report of what was said.
  auto instructions = findAll(kLastInstruction, text);
  if (!instructions || instructions->empty()) return true;
  const icu::UnicodeString fromInstruction(text, instructions->back().range().location);
  return containsMatch(kReportsSpeech, fromInstruction) || containsMatch(kExactPhrase, fromInstruction);
}

bool guardBlocks(const CorrectionCandidate& c) {
  const auto& text = c.text;
  const auto& m = c.match;
  const auto& rule = c.rule;
  const std::int32_t matchStart = m.range().location;
  const std::int32_t oldStart = m.groups[rule.oldFirst].location;
  std::int32_t oldEnd = oldStart;
  for (int g = rule.oldFirst; g <= rule.oldLast; ++g) {
    if (m.has(g)) oldEnd = std::max(oldEnd, m.groups[g].end());
  }
  const std::int32_t newStart = m.groups[rule.newFirst].location;
  std::int32_t newEnd = newStart;
  for (int g = rule.newFirst; g <= rule.newLast; ++g) {
    if (m.has(g)) newEnd = std::max(newEnd, m.groups[g].end());
  }

  // Reported speech and words about words.
  if (reportedSpeechBefore(toUtf8(before(text, matchStart)))) return true;

  // Deliberation rather than correction.
  const icu::UnicodeString upToCue = lastSentence(before(text, oldEnd), u".!?");
  if (containsMatch(kDeliberation, upToCue) || containsMatch(kChoosing, upToCue)) return true;
  if (containsMatch(kHedgedReplacement, icu::UnicodeString(text, newStart, 40))) return true;

  // A fraction or score; no such ending is longer than this.
  constexpr std::int32_t kLongestFraction = 300;
  const std::int32_t tail = std::max(0, oldEnd - kLongestFraction);
  if (containsMatch(kFraction, icu::UnicodeString(text, tail, oldEnd - tail))) return true;

  // A negated first value, and ranges or lists.
  const std::int32_t clause = clauseStart(text, oldStart, u".!?\n");
  const icu::UnicodeString beforeValue(text, clause, oldStart - clause);
  const bool schedule = (rule.guards & kGuardSchedule) != 0;
  if (containsMatch(schedule ? kScheduleNegation : kNegation, beforeValue)) return true;
  if (containsMatch(kRangeBefore, beforeValue)) return true;
  if (schedule && containsMatch(kScheduleRangeBefore, beforeValue)) return true;
  if (containsMatch(kListInSpan, icu::UnicodeString(text, oldStart, oldEnd - oldStart)) ||
      containsMatch(kListInSpan, icu::UnicodeString(text, newStart, newEnd - newStart))) {
    return true;
  }

  // A question about the first value.
  if (questionOpensClause(beforeValue)) return true;

  // A greeting ("Hi Sam, actually ...").
  {
    const std::int32_t line = clauseStart(text, oldEnd, u"\n");
    icu::UnicodeString greeting(text, line, oldEnd - line);
    greeting.trim();
    if (containsMatch(kGreeting, greeting + u",")) return true;
  }

  // Plans and names.
  if ((rule.guards & (kGuardPlan | kGuardName)) != 0) {
    const std::int32_t sentence = clauseStart(text, matchStart, u".!?\n");
    icu::UnicodeString lead(text, sentence, matchStart - sentence);
    lead.append(m.text(text, 1));
    lead.trim();
    if (!lead.isEmpty()) lead.append(u' ');
    const bool plan =
        (rule.guards & kGuardPlan) != 0 && (containsMatch(kPlan, lead) || containsMatch(kActionStart, lead));
    const bool name = (rule.guards & kGuardName) != 0 &&
                      containsMatch(kNameClause, before(text, matchStart) + m.text(text, 1));
    if (!plan && !name) return true;
  }

  // What follows must close the thought.
  if ((rule.guards & kGuardEndOfThought) != 0 &&
      !closesThought(icu::UnicodeString(text, m.range().end()), rule.nounTail)) {
    return true;
  }
  return false;
}

std::vector<std::string> guardPatterns() {
  return {kWordsTalk,        kReportsSpeech, kLastInstruction,     kExactPhrase, kKeepWording,
          kDeliberation,     kChoosing,      kHedgedReplacement,   kFraction,    kNegation,
          kScheduleNegation, kRangeBefore,   kScheduleRangeBefore, kListInSpan,  kQuestion,
          kGreeting,         kPlan,          kActionStart,         kNameClause,  kEndAtStart,
          kTimeThenEnd,      kVerbAfter,     kPrepositionAfter,    kNextWord};
}

}  // namespace murvelo::cleanup
