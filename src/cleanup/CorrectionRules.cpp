// The seventeen explicit-correction rules, as a table. Each row holds its patterns, a prefilter
// (literals that must occur before the pattern is worth running) and how the corrected wording is
// put together from the groups.
#include "cleanup/CorrectionRules.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <map>

#include "cleanup/WordLists.h"

namespace murvelo::cleanup {
namespace {

// --- Building blocks ------------------------------------------------------------------------------

// The same words as one alternation per first letter: the matcher tries a couple of dozen branches
// instead of a hundred at every word it considers.
std::string byFirstLetter(const std::string& alternatives) {
  std::map<char, std::vector<std::string>> groups;
  std::size_t start = 0;
  while (start <= alternatives.size()) {
    const std::size_t bar = std::min(alternatives.find('|', start), alternatives.size());
    const std::string word = alternatives.substr(start, bar - start);
    if (!word.empty()) groups[word[0]].push_back(word.substr(1));
    start = bar + 1;
  }
  std::string out;
  for (const auto& [first, rests] : groups) {
    if (!out.empty()) out += '|';
    out += first;
    out += "(?:";
    for (std::size_t i = 0; i < rests.size(); ++i) out += (i > 0 ? "|" : "") + rests[i];
    out += ')';
  }
  return out;
}

const std::string kUnit = "(?:" + alternatives({kUnitWords}) + ")";
const std::string kSmall = "(?:" + alternatives({kTeenWords, tenWord(), kUnitWords}) + ")";
const std::string kTens = "(?:" + alternatives({kTensWords}) + ")";
const std::string kUnder100 = "(?:" + kTens + "(?:(?:-|[ ]+)" + kUnit + ")?|" + kSmall + ")";
const std::string kUnder1000 =
    "(?:" + kUnit + "[ ]+hundred(?:[ ]+(?:and )?" + kUnder100 + ")?|" + kUnder100 + ")";
// Every spelled number opens with one of these words; checking that first spares the full grammar at
// every other word.
const std::string kNumberWordStart =
    "(?=(?i:" + byFirstLetter(alternatives({kUnitWords, tenWord(), kTeenWords, kTensWords})) + "))";
const std::string kSpelled = kNumberWordStart + "(?i:(?:" + kUnder1000 + "[ ]+thousand(?:[ ]+(?:and )?" +
                             kUnder1000 + ")?|" + kUnder1000 + ")(?![\\p{L}]))";
const std::string kNumber = R"((?:[+-]?\d+(?:,\d{3})*|)" + kSpelled + ")";

const std::string kContentStop =
    "and|or|for|on|in|with|to|from|of|at|by|if|when|before|after|but|period|comma|colon|semicolon|yes|no|"
    "okay|ok|"
    "maybe|please|thanks|is|are|was|were|be|been|being|am|do|does|did|has|have|had|will|would|can|could|"
    "should|"
    "must|may|might|shall|it|its|that|this|these|those|there|here|then|than|so|as|not|already|also|just|"
    "still|"
    "only|very|too|more|less|most|much|many|some|any|all|every|either|neither|both|my|your|our|their|his|her|"
    "him|"
    "them|they|we|you|i|he|she|who|what|which|where|why|how|one|two|three|four|five|six|seven|eight|nine|ten";
const std::string kWordChars = R"([\p{L}\p{M}'’\-])";
const std::string kContent = "(?!(?i:" + byFirstLetter(kContentStop) + ")(?!" + kWordChars + "))(?!" +
                             kWordChars + R"(*(?i:n['’]t|['’](?:re|ve|ll|d|m))(?!)" + kWordChars +
                             R"())\p{L})" + kWordChars + "*";
const std::string kContentNotPossessive =
    R"((?!)" + kWordChars + R"(*['’][sS](?!)" + kWordChars + "))" + kContent;

const std::string kCueComma =
    R"(,[ \t]*(?:(?i:or)[ ,]+)?(?i:(?:wait|actually|sorry|no|I meant|let me correct that|make (?:it|that))(?:[ ,]+(?:wait|actually|sorry|no|I meant|let me correct that|make (?:it|that)|I mean))*)(?:(?<!(?i:wait))[ ,]+|(?<=(?i:wait))[ \t]*,[ \t,]*))";
const std::string kCueStrong =
    R"([,.][ \t]*(?i:(?:oh[ ,]+)?(?:no[ ,]+(?:wait|(?:sorry[ ,]+)?I mean)|wait[ ,]+no|sorry[ ,]+I mean|I mean|scratch that|correction))[ ,]+)";
const std::string kCueValue =
    R"((?:[ \t]*(?:[,.;][ \t]*)?(?i:(?:oh[ ,]+)?(?:no[ ,]+(?:wait|sorry|(?:wait[ ,]+)?make (?:it|that))|sorry|wait[ ,]+make (?:it|that)|scratch that))[ ,\t]+|[ \t]*[,.;][ \t]*(?i:correction)[ ,\t]+))";
const std::string kCueNo = R"((?:[ \t]+|[ \t]*,[ \t]*)(?i:no)[ ,\t]+)";
const std::string kCueOrMean =
    R"(,[ \t]*(?:(?i:or)[ ,]+)?(?i:(?:oh[ ,]+)?(?:no[ ,]+(?:wait|(?:sorry[ ,]+)?I mean)|sorry[ ,]+I mean|I mean|scratch that|correction))[ ,]+)";
const std::string kCues = "(?:" + kCueValue + "|" + kCueNo + "|" + kCueComma + "|" + kCueOrMean + ")";

const std::string kDet =
    R"((?:(?i:the|a|an|my|your|our|their|his|her|its)|(?!(?i:let|it|that|there|here|what|who|where|when|why|how|he|she)['’]s\b)\p{Lu}[\p{L}]+['’]s))";
const std::string kPrep =
    "(?i:" +
    byFirstLetter(
        "under|with|at|into|onto|in|on|to|from|by|beside|behind|inside|outside|towards|toward|for") +
    ")";
const std::string kDay =
    R"((?:(?i:Monday|Tuesday|Wednesday|Thursday|Friday|Saturday|Sunday|today|tomorrow|tonight)(?:[ \t]+(?i:morning|afternoon|evening|night))?|(?i:now|(?:in the|this)[ \t]+(?:morning|afternoon|evening))))";
const std::string kClock = R"(\d{1,2}(?::\d{2})?(?:[ \t]*(?i:AM|PM|a\.m\.|p\.m\.))?)";
const std::string kCurrency = "(?i:dollars?|pounds?|euros?|yen)";
const std::string kEdge = R"((?<![\p{L}\p{N}_'’]))";
const std::string kEnd = R"((?![\p{L}\p{N}_'’]))";

// --- Prefilter literals ---------------------------------------------------------------------------

const std::vector<std::u16string_view> kDayWords = {
    u"monday", u"tuesday",  u"wednesday", u"thursday", u"friday",  u"saturday",  u"sunday",
    u"today",  u"tomorrow", u"tonight",   u"now",      u"morning", u"afternoon", u"evening"};
const std::vector<std::u16string_view> kCurrencyWords = {u"dollar", u"pound", u"euro", u"yen"};

// --- Rewrites -------------------------------------------------------------------------------------

icu::UnicodeString slice(const icu::UnicodeString& text, const Match& m, int first, int last) {
  const std::int32_t start = m.groups[first].location;
  std::int32_t end = start;
  for (int g = first; g <= last; ++g) {
    if (m.has(g)) end = std::max(end, m.groups[g].end());
  }
  return icu::UnicodeString(text, start, end - start);
}

// The later value with whatever the rule's groups carry around it.
auto keepSlice(int first, int last) {
  return
      [first, last](const icu::UnicodeString& text, const Match& m) { return slice(text, m, first, last); };
}

bool isOne(const icu::UnicodeString& count) {
  icu::UnicodeString lower(count);
  lower.toLower();
  return lower == u"1" || lower == u"one";
}

icu::UnicodeString countedUnit(const icu::UnicodeString& count, icu::UnicodeString unit) {
  const bool plural = unit.endsWith(u"s") || unit.endsWith(u"S");
  if (isOne(count) && plural) unit.truncate(unit.length() - 1);
  if (!isOne(count) && !plural) unit.append(u's');
  return unit;
}

std::vector<CorrectionRule> buildRules() {
  std::vector<CorrectionRule> rules;

  // 1: the same lead said again with a new value.
  {
    const std::string kinds[] = {
        kDay,
        R"(\d{1,2}:\d{2}(?:[ \t]*(?i:AM|PM|a\.m\.|p\.m\.))?)",
        R"([$€£]?[+-]?\d+(?:,\d{3})*(?:\.\d+)?(?:%|[ \t]*(?i:AM|PM|a\.m\.|p\.m\.)|[ \t]*(?i:o['’]clock))?)",
    };
    CorrectionRule rule{"explicit-repeated-lead-correction",
                        {},
                        {{{u"wait", u"sorry"}}},
                        3,
                        3,
                        5,
                        5,
                        0,
                        0,
                        [](const icu::UnicodeString& text, const Match& m) {
                          return m.text(text, 1) + m.text(text, 2) + m.text(text, 5) + m.text(text, 6);
                        }};
    for (const auto& value : kinds) {
      rule.patterns.push_back(
          R"((^|(?<=[.!?,])[ \t]+)([\p{L}][\p{L}'’]*(?:[ \t]+[\p{L}][\p{L}'’]*){0,7}[ \t]+)()" + value +
          R"()([.!?]))" + R"([ \t]*(?i:no[ ,]+wait|wait[ ,]+no|sorry|wait[ ,]+make (?:it|that))[ ,]+)" +
          R"((?i:\2)()" + value + R"()([.!?](?=[ \t]|$)|$))");
    }
    rules.push_back(std::move(rule));
  }

  // 2: a day and time replaced by another day and time.
  rules.push_back(
      {"explicit-schedule-correction",
       {R"((,[ \t]*(?i:say),[ \t]*|(?<![\p{L}\p{N}_]))()" + kDay + R"()[ \t]+(?i:at)[ \t]+()" + kClock +
        R"()(?![\p{N}])(?:)" + kCueValue + R"((?:(?i:actually)[ ,]+)?|)" + kCueComma +
        R"()(?:(?i:let['’]s|let us|we['’]ll|we will)[ \t]+(?i:go with|go|do|make it|say|switch to|move it to)[ \t]+|(?i:make it|go with|how about|what about)[ \t]+)?()" +
        kDay + R"()[ \t]+(?i:at)[ \t]+()" + kClock +
        R"(|(?i:one|two|three|four|five|six|seven|eight|nine|ten|eleven|twelve)(?![\p{L}]))(?![\p{N}])(?:[ \t]+(?i:instead)(?![\p{L}]))?(\?)?)"},
       {{{u"at"}, kDayWords}},
       2,
       3,
       4,
       5,
       kGuardSchedule,
       0,
       [](const icu::UnicodeString& text, const Match& m) {
         return m.text(text, 1) + slice(text, m, 4, 5) + m.text(text, 6);
       }});

  // 3: an amount of money in figures.
  rules.push_back({"explicit-money-unit-correction",
                   {R"((?<!\S)(\d+(?:,\d{3})*(?:\.\d+)?)[ \t]+()" + kCurrency + ")(?:" + kCueStrong +
                    R"(|[,.][ \t]*(?i:sorry|(?:wait[ ,]+)?make that)[ ,]+|)" + kCueComma +
                    R"()(\d+(?:,\d{3})*(?:\.\d+)?)[ \t]+()" + kCurrency + ")" + kEnd},
                   {{kDigits, kCurrencyWords}},
                   1,
                   2,
                   3,
                   4,
                   0,
                   0,
                   keepSlice(3, 4)});

  // 4: an amount of money in words.
  rules.push_back({"explicit-spoken-money-correction",
                   {kEdge + "(" + kSpelled + ")[ \\t]+(" + kCurrency + ")(?:" + kCueValue + "|" + kCueNo +
                    "|" + kCueComma + ")(" + kSpelled + ")[ \\t]+(" + kCurrency + ")" + kEnd},
                   {{kCurrencyWords, kDigitOrSpelledNumber}},
                   1,
                   2,
                   3,
                   4,
                   0,
                   0,
                   keepSlice(3, 4)});

  // 5: a number of things.
  const std::string words3 = kContent + R"((?:[ \t]+)" + kContent + "){0,2}";
  rules.push_back({"explicit-spoken-quantity-correction",
                   {kEdge + "(" + kNumber + ")[ \\t]+(" + words3 + ")" + kCues + "(" + kNumber + ")[ \\t]+(" +
                    words3 + ")" + kEnd},
                   {{kDigitOrSpelledNumber}},
                   1,
                   2,
                   3,
                   4,
                   kGuardEndOfThought,
                   0,
                   keepSlice(3, 4)});

  // 6: the same number of another unit ("two cups of flour, sorry, two spoons").
  rules.push_back({"explicit-unit-swap-correction",
                   {kEdge + "(" + kNumber + ")[ \\t]+(" + kContent + "(?:[ \\t]+(?i:of)[ \\t]+" + kContent +
                    ")?)" + kCues + "(" + kNumber + ")[ \\t]+(" + kContent + ")" + kEnd},
                   {{kDigitOrSpelledNumber}},
                   1,
                   2,
                   3,
                   4,
                   kGuardEndOfThought,
                   0,
                   [](const icu::UnicodeString& text, const Match& m) {
                     icu::UnicodeString out = slice(text, m, 3, 4);
                     // The substance named after "of" stays with the new unit.
                     const icu::UnicodeString old = m.text(text, 2);
                     icu::UnicodeString lower(old);
                     lower.toLower();
                     const std::int32_t of = lower.indexOf(u" of ");
                     icu::UnicodeString after(text, m.range().end());
                     after.toLower();
                     if (of >= 0 && !after.trim().startsWith(u"of ")) out.append(old, of, old.length() - of);
                     return out;
                   }});

  // 7: "bring 3 chairs for the guests, make it 5".
  rules.push_back(
      {"explicit-deferred-count-correction",
       {kEdge + "(" + kNumber + ")[ \\t]+(" + kContent +
        R"([^.!?\n,]{0,60}),[ \t]*(?i:make (?:it|that))[ \t]+()" + kNumber + R"()(?=[.!?]?[ \t]*$))"},
       {{{u"make"}, kDigitOrSpelledNumber}},
       1,
       1,
       3,
       3,
       0,
       0,
       [](const icu::UnicodeString& text, const Match& m) {
         return m.text(text, 3) + u" " + m.text(text, 2);
       }});

  // 8: a labelled slot with a letter ("locker 12 B, no, 14 C").
  rules.push_back({"explicit-labeled-slot-correction",
                   {kEdge + "((?i:locker|unit|room|suite|gate|section|lot|bay))[ \\t]+(" + kNumber +
                    R"()[ \t]*(\p{Lu}))" + kCues + "(" + kNumber + R"()[ \t]*(\p{Lu}))" + kEnd},
                   {{{u"locker", u"unit", u"room", u"suite", u"gate", u"section", u"lot", u"bay"},
                     kDigitOrSpelledNumber}},
                   2,
                   3,
                   4,
                   5,
                   0,
                   0,
                   [](const icu::UnicodeString& text, const Match& m) {
                     return m.text(text, 1) + u" " + slice(text, m, 4, 5);
                   }});

  // 9: a short noun phrase ("the red folder, no wait, the blue folder").
  const std::string figure = R"((?:\d[\d:.,]*[ \t]+)?)";
  rules.push_back({"explicit-short-noun-correction",
                   {kEdge + "(" + kDet + ")[ \\t]+(" + figure + words3 + ")(" + kCues + ")(" + kDet +
                    ")[ \\t]+(" + figure + kContent + ")" + kEnd},
                   {},
                   1,
                   2,
                   4,
                   5,
                   kGuardEndOfThought,
                   2,
                   keepSlice(4, 5)});

  // 10: a place after a preposition ("under the desk, no, behind the desk").
  const std::string words2np = kContentNotPossessive + R"((?:[ \t]+)" + kContentNotPossessive + ")?";
  const std::string words2 = kContent + R"((?:[ \t]+)" + kContent + ")?";
  rules.push_back({"explicit-short-preposition-correction",
                   {kEdge + "(" + kPrep + ")[ \\t]+(" + kDet + ")[ \\t]+(" + words2np + ")" + kCues + "(" +
                    kPrep + ")[ \\t]+(" + kDet + ")[ \\t]+(" + words2 + ")" + kEnd},
                   {},
                   1,
                   3,
                   4,
                   6,
                   kGuardEndOfThought,
                   0,
                   keepSlice(4, 6)});

  // 11: a named place after a preposition ("to Boston, no wait, to Denver").
  const std::string proper = R"(\p{Lu}[\p{L}'’\-]*(?:[ \t]+\p{Lu}[\p{L}'’\-]*)?)";
  rules.push_back({"explicit-short-preposition-proper-correction",
                   {kEdge + "(" + kPrep + ")[ \\t]+(" + proper + ")" + kCues + "(" + kPrep + ")[ \\t]+(" +
                    proper + ")" + kEnd},
                   {},
                   1,
                   2,
                   3,
                   4,
                   kGuardEndOfThought,
                   0,
                   keepSlice(3, 4)});

  // 12: a count of items ("3 items, sorry, 4").
  const std::string count = "(?i:\\d+|one|two|three|four|five|six|seven|eight|nine|ten)";
  const std::string countUnit =
      "(?i:things?|items?|points?|steps?|tasks?|requests?|questions?|changes?|files?|options?|examples?)";
  rules.push_back(
      {"explicit-count-unit-correction",
       {R"((?<![\p{L}\p{N}_])()" + count + R"()[ \t]+()" + countUnit + R"()(?![\p{L}])()" + kCueStrong + "|" +
        kCueComma + ")(" + count + R"()(?![\p{L}\p{N}_])(?:[ \t]+()" + countUnit + R"()(?![\p{L}]))?)"},
       {{{u"thing", u"item", u"point", u"step", u"task", u"request", u"question", u"change", u"file",
          u"option", u"example"}}},
       1,
       2,
       4,
       5,
       0,
       0,
       [](const icu::UnicodeString& text, const Match& m) {
         if (m.has(5)) return slice(text, m, 4, 5);
         return m.text(text, 4) + u" " + countedUnit(m.text(text, 4), m.text(text, 2));
       }});

  // 13: a number said again without its unit ("20 minutes, wait, 30").
  rules.push_back(
      {"explicit-elided-unit-correction",
       {kEdge + "(" + kNumber + ")[ \\t]+(" + kContent + ")(" + kCueComma + ")(" + kNumber + ")" + kEnd},
       {{kDigitOrSpelledNumber}},
       1,
       2,
       4,
       4,
       kGuardEndOfThought,
       0,
       [](const icu::UnicodeString& text, const Match& m) {
         return m.text(text, 4) + u" " + m.text(text, 2);
       }});

  // 14: a numbered place whose number is said again ("room 12, no wait, 14").
  const std::string label =
      "(?i:room|suite|gate|unit|locker|lot|bay|section|floor|extension|ext|building|apartment|apt|page|"
      "chapter|"
      "line|row|seat|table|desk|booth|bin|shelf|slot|lane|platform|dock|pier|terminal|zone|level)";
  rules.push_back({"explicit-trailing-unit-correction",
                   {kEdge + "(" + label + ")[ \\t]+(" + kNumber + R"()(?![\p{L}\p{N}])()" + kCueStrong + "|" +
                    kCueComma + ")(" + label + R"([ \t]+)?()" + kNumber + ")" + kEnd},
                   {{kDigitOrSpelledNumber}},
                   2,
                   2,
                   5,
                   5,
                   0,
                   0,
                   [](const icu::UnicodeString& text, const Match& m) {
                     return m.text(text, 1) + u" " + m.text(text, 5);
                   }});

  // 15: labelled values of one kind: versions, ordinals, street numbers, clock times.
  {
    const std::string kinds[] = {
        R"((?i:(?:version|revision)[ \t]+\d+(?:\.\d+)*|draft-v\d+(?:\.\d+)*))",
        R"(\d{1,2}(?i:st|nd|rd|th)[ \t]+\p{Lu}[\p{L}]+)",
        R"((?:(?i:the)[ \t]+)?\d{1,2}(?i:st|nd|rd|th))",
        R"(\d{1,5}[ \t]+\p{Lu}[\p{L}]+)",
        kClock,
    };
    CorrectionRule rule{
        "explicit-labeled-number-correction", {}, {{kDigits}}, 1, 1, 3, 3, 0, 0, keepSlice(3, 3)};
    for (const auto& value : kinds) {
      rule.patterns.push_back(R"((?<![\p{L}\p{N}_.])()" + value + R"()(?![\p{L}\p{N}])()" + kCueStrong + "|" +
                              kCueComma + "|" + kCueValue + ")(" + value + ")" + kEnd);
    }
    rules.push_back(std::move(rule));
  }

  // 16: a planned value with its lead-ins ("let's do Thursday, actually how about Friday is better").
  const std::string typed =
      "(?:" + kDay + R"((?:[ \t]+(?i:at)[ \t]+)" + kClock +
      R"()?|\d{1,2}(?::\d{2})?[ \t]*(?i:AM|PM|a\.m\.|p\.m\.)|\d{1,2}:\d{2}|[$€£]\d+(?:,\d{3})*(?:\.\d+)?))";
  const std::string leadIn =
      R"((?i:how about|what about|let['’]s (?:do|say|go with|go|make it)|let us (?:do|say|go with|make it)|we['’]ll (?:do|go with)|go with|make (?:it|that))[ \t]+)";
  rules.push_back(
      {"explicit-typed-correction",
       {kEdge + "((?:(?i:actually)[ ,]+)?(?:" + leadIn + ")?)(" + typed +
        R"()([,.][ \t]*(?i:(?:oh[ ,]+)?(?:no[ ,]+(?:wait|(?:sorry[ ,]+)?I mean)|wait[ ,]+no|sorry[ ,]+I mean|I mean|scratch that|correction))[ ,]+|)" +
        kCueComma +
        R"(|,[ \t]*(?i:or)[ ,]+(?i:I mean)[ ,]+|[,.][ \t]*(?i:(?:oh[ ,]+)?wait[ ,]+I mean)[ ,]+|[.][ \t]*(?i:actually)(?:[ ,]+(?i:no))?[ ,]+(?=(?i:how about|what about|let['’]s|let us|we['’]ll|go with|make (?:it|that))\b))()" +
        "(?:" + leadIn + ")?)(" + R"((?:(?i:at|on|to|for|by|in)[ \t]+)?)" + typed +
        R"()(?![\p{L}\p{N}_])((?:[ \t]+(?i:is|would be|will be|works|would work|will work)|['’](?i:s))[ \t]+(?i:better|best))?(?:[ \t]+(?i:instead)(?![\p{L}\p{N}_]))?((?:[ \t]+(?i:today|tomorrow|tonight|this (?:morning|afternoon|evening|week)|next week))?))"},
       {{[] {
         auto any = kDayWords;
         any.insert(any.end(), kDigits.begin(), kDigits.end());
         return any;
       }()}},
       2,
       2,
       5,
       5,
       kGuardPlan | kGuardEndOfThought,
       0,
       [](const icu::UnicodeString& text, const Match& m) {
         return m.text(text, 1) + m.text(text, 5) + m.text(text, 7);
       }});

  // 17: a person's name said again ("email Sarah, no wait, Sara Jones").
  const std::string leadWords =
      "to|from|with|for|about|at|in|is|was|are|were|be|named|called|as|open|use|review|discuss|ask|call|"
      "email|text|"
      "tell|cc|copy|include|invite|meet|contact|ping|notify|thank|remind|loop in|reach out to|forward this "
      "to|send "
      "this to|ask for";
  const std::string name =
      R"((?!(?i:)" + byFirstLetter(leadWords) +
      R"()\b)(?:(?i:Dr|Mr|Mrs|Ms|Prof)\.[ \t]*)?\p{Lu}[\p{L}'’\-]*(?:[ \t]+\p{Lu}[\p{L}'’\-]*){0,3})";
  rules.push_back(
      {"explicit-name-correction",
       {R"((^|\b(?i:)" + byFirstLetter(leadWords) + R"()[ \t]+)()" + name + ")(" + kCueStrong + "|" +
        kCueComma + ")(" + name + ")" + kEnd},
       {},
       2,
       2,
       4,
       4,
       kGuardPlan | kGuardName | kGuardEndOfThought,
       0,
       [](const icu::UnicodeString& text, const Match& m) { return m.text(text, 1) + m.text(text, 4); }});
  return rules;
}

}  // namespace

const std::string kCueCountPattern = [] {
  const std::string cue = "(?:" + std::string(kCorrectionCues) + "|make (?:it|that))";
  return R"((?i)(?:[,.;]|[ \t])[ \t]*(?:or[ ,]+)?)" + cue + R"((?:[ ,\t]+)" + cue + R"()*\b)";
}();
const std::string kCueWordPattern =
    R"((?i)(?:(?<![\p{L}\p{M}\p{N}_])(?:no|wait|mean|meant|correct|correction|actually|make)|sorry|scratch)(?![\p{L}\p{M}\p{N}_]))";
const std::vector<std::string> kVerbatimPatterns = {
    R"((?i)\b(?:verbatim|exactly|as written|word for word)\b)",
    R"((?i)^[^.!?\n]{0,80}\b(?:verbatim|exactly|as written|word for word)\b)",
    R"((?i)\b(?:text|transcript|quote|quotation|wording|excerpt|passage|statement|message|dialogue|script|record)\b[^.!?\n]{0,80}\b(?:follows?|below|next|unchanged|begins?|starts?)\b)",
    R"((?i)\b(?:here is|here['’]s|this is|below is|following is|copy|transcribe|quote|read)\b[^.!?\n]{0,80}\b(?:text|transcript|quote|quotation|wording|excerpt|passage|statement|message|dialogue|script|record)\b)",
};

const std::vector<CorrectionRule>& correctionRules() {
  static const std::vector<CorrectionRule> rules = buildRules();
  return rules;
}

std::vector<std::string> correctionPatterns() {
  std::vector<std::string> patterns = {kCueCountPattern, kCueWordPattern};
  patterns.insert(patterns.end(), kVerbatimPatterns.begin(), kVerbatimPatterns.end());
  for (const auto& rule : correctionRules())
    patterns.insert(patterns.end(), rule.patterns.begin(), rule.patterns.end());
  return patterns;
}

}  // namespace murvelo::cleanup
