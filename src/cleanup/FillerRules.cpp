// Stage 1 of the Tidy engine: the discourse fillers "like" and "you know".
#include <unicode/uchar.h>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"
#include "cleanup/TidyPatterns.h"
#include "cleanup/TidyText.h"
#include "cleanup/TidyWordSets.h"

namespace murvelo::cleanup {
namespace {

using words::Set;

const std::string kF1 =
    R"(([^\s,]+)(,[ \t]+(?i:(?:like|you know)(?:,[ \t]+(?:like|you know))*)),[ \t]+(?=(\S+)([ \t]*)))";
const std::string kF2 = R"(([^\s,]+),[ \t]+(?i:(?:like|you know)(?:,[ \t]+(?:like|you know))*)(?=[.!…]))";
const std::string kF3 =
    R"((?:^|(?<=[.!?…][ \t])|(?<=\n))(?:Like|You know)(?:,[ \t]+(?i:like|you know))*,[ \t]+(?=(\S+)))";
const std::string kF4 =
    R"((?<![\p{L}\p{N}'’])((?i:but|so|and|or|because|cuz|plus|then)|(?:(?<=^)|(?<=[.!?,][ \t])|(?<=\n))(?i:yeah|okay|ok|well))[ \t]+(?i:like),[ \t]+(?:(?i:you know|like),[ \t]+)*(?=(\S+)))";
const std::string kF5 = R"((?i)(?:^|[,.!?…\n]\s*)(?:like|you know),)";
// A bare "like" between two words; whether it is a filler is for the word sets to say.
const std::string kBareLike =
    R"((?<![\p{L}\p{N}'’])([\p{L}'’]+)[ \t]+(?i:like)[ \t]+(?=([\p{L}'’]+)(?![\p{L}'’])))";
const std::string kSeriesBefore = R"(,[ \t]+[^\s,]+$)";
const std::string kRomanNumeral = R"(^[IVXivx]+[.,!?]?$)";

// After a comma-enclosed filler, a new clause keeps a comma; a phrase that runs on does not.
bool takesComma(const std::string& before, const std::string& after) {
  if (words::contains(Set::fillerFunctionWords, before)) return false;
  return words::contains(Set::subjects, after) || words::contains(Set::conjunctions, after) ||
         words::contains(Set::sentenceStarters, after);
}

// "eggs, like, flour, and sugar": in a comma series the filler's comma is the item separator.
bool inCommaSeries(const icu::UnicodeString& text, const Match& m) {
  const icu::UnicodeString next = m.text(text, 3);
  if (!next.isEmpty() && next.endsWith(u",")) return true;
  return containsMatch(kSeriesBefore, icu::UnicodeString(text, 0, m.groups[1].end()));
}

icu::UnicodeString capitalised(const icu::UnicodeString& word) {
  if (matchesWhole(kRomanNumeral, word)) return word;
  const UChar32 first = word.char32At(0);
  if (!u_islower(first)) return word;
  icu::UnicodeString head(word, 0, U16_LENGTH(first));
  head.toUpper();
  return icu::UnicodeString(word).replace(0, U16_LENGTH(first), head);
}

struct FillerRule {
  const char* id;
  const std::string* pattern;
  RangeRewrite rewrite;
};

std::vector<FillerRule> fillerRules(bool sentenceStart) {
  return {
      {"filler-comma-run", &kF1,
       [](const icu::UnicodeString& text, const Match& m) -> std::optional<Replacement> {
         const icu::UnicodeString word = m.text(text, 1);
         // "the, you know, the plan": a determiner restarted after the filler is said once.
         const std::string core = wordCore(word);
         if (core == "like" || core == "know") return std::nullopt;  // "but like, you know,": the next rule's
         if (core == wordCore(m.text(text, 3)) && words::contains(Set::determiners, core)) {
           return Replacement{m.range(), u""};
         }
         const bool comma = !u_ispunct(word.char32At(word.length() - 1)) &&
                            (inCommaSeries(text, m) || takesComma(wordCore(word), wordCore(m.text(text, 3))));
         return Replacement{m.range(), word + (comma ? u", " : u" ")};
       }},
      {"filler-before-end", &kF2,
       [](const icu::UnicodeString& text, const Match& m) -> std::optional<Replacement> {
         return Replacement{m.range(), m.text(text, 1)};
       }},
      {"filler-sentence-start", &kF3,
       [sentenceStart](const icu::UnicodeString& text, const Match& m) -> std::optional<Replacement> {
         const TextRange next = m.groups[1];
         const bool capital = m.range().location > 0 || sentenceStart;
         const icu::UnicodeString word = m.text(text, 1);
         return Replacement{{m.range().location, next.end() - m.range().location},
                            capital ? capitalised(word) : word};
       }},
      {"filler-after-link", &kF4,
       [](const icu::UnicodeString& text, const Match& m) -> std::optional<Replacement> {
         return Replacement{m.range(), m.text(text, 1) + u" "};
       }},
      {"filler-bare-like", &kBareLike,
       [](const icu::UnicodeString& text, const Match& m) -> std::optional<Replacement> {
         // "was like really cold": a plain copula, then a softener, never a comparison.
         const std::string before = lowerUtf8(m.text(text, 1));
         const std::string after = lowerUtf8(m.text(text, 2));
         const bool copula = words::contains(Set::copulasAndSenseVerbs, before) &&
                             words::contains(Set::fillerFunctionWords, before);
         const bool softener = words::contains(Set::objectsAndSofteners, after) &&
                               !words::contains(Set::subjects, after) &&
                               !words::contains(Set::clauseOpeners, after) && after != "like" &&
                               after != "me" && after != "us" && after != "them" && after != "him";
         if (!copula || !softener) return std::nullopt;
         return Replacement{m.range(), m.text(text, 1) + u" "};
       }},
  };
}

struct NormaliserRule {
  const char* pattern;
  const char* replacement;
};

// Spacing and doubled marks left where a filler was taken out.
const NormaliserRule kNormaliser[] = {
    {R"([ \t]{2,})", " "},     {R"([ \t]+([,.!?;:]))", "$1"},
    {R"(,(?:[ \t]*,)+)", ","}, {R"(,[ \t]*([.!?]))", "$1"},
    {R"(^[ \t]+)", ""},
};

bool hasCommaFiller(const icu::UnicodeString& text) {
  icu::UnicodeString lower(text);
  lower.toLower();
  return lower.indexOf(u"like,") >= 0 || lower.indexOf(u"you know,") >= 0 || lower.indexOf(u", like") >= 0 ||
         lower.indexOf(u", you know") >= 0;
}

bool fillerPass(icu::UnicodeString& text, bool sentenceStart) {
  // Comma-marked fillers inside a clause, then those that open one, then the bare "like".
  const bool inClause = hasCommaFiller(text);
  const bool atClauseStart = inClause && containsMatch(kF5, text);
  bool changed = false;
  for (const auto& rule : fillerRules(sentenceStart)) {
    if (rule.pattern == &kF3 ? !atClauseStart : rule.pattern != &kBareLike && !inClause) continue;
    changed |= applyRangeRule(text, rule.id, *rule.pattern, rule.rewrite, protectedRanges(text), nullptr) > 0;
  }
  return changed;
}

}  // namespace

std::vector<std::string> fillerPatterns() {
  std::vector<std::string> patterns = {kF1, kF2, kF3, kF4, kF5, kBareLike, kSeriesBefore, kRomanNumeral};
  for (const auto& rule : kNormaliser) patterns.emplace_back(rule.pattern);
  return patterns;
}

std::string tidy(std::string_view input, bool sentenceStart, std::vector<FormatEdit>& edits) {
  icu::UnicodeString text = fromUtf8(input);
  icu::UnicodeString lower(text);
  lower.toLower();
  if (lower.indexOf(u"like") < 0 && lower.indexOf(u"you know") < 0) return std::string(input);
  const icu::UnicodeString entering = text;
  for (int pass = 0; pass < 4; ++pass) {
    if (!fillerPass(text, sentenceStart)) break;
  }
  if (text == entering) return std::string(input);
  for (const auto& rule : kNormaliser) {
    applyRule(text, "spokenFiller", rule.pattern, templateRewrite(rule.replacement), protectedRanges(text),
              nullptr);
  }
  if (sentenceStart && u_isupper(entering.char32At(0)) && u_islower(text.char32At(0))) {
    text = capitalised(text);
  }
  edits.push_back({"spokenFiller", toUtf8(entering), toUtf8(text)});
  return toUtf8(text);
}

}  // namespace murvelo::cleanup
