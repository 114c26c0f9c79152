#include "cleanup/layout/PhraseRules.h"

#include <functional>
#include <string>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"

namespace murvelo::cleanup::layout {
namespace {

// The preceding-text check of both rules is Tidy's reported-speech guard: a filler in a sentence
// that talks about words, reports speech or asks to keep a wording is quoted, not spoken.

const std::string kAfterOpensAndOr = R"((?i)^(?:and|or)\b)";
const std::string kAfterOpensQuestion =
    R"((?i)^(?:why|where|when|how|what|who)\s+(?:would|could|should|do|does|did|is|are|was|were|can|will)\b)";
const std::string kAfterOpensClause =
    R"((?i)^(?:I|you|we|he|she|it|they)\s+(?:can|could|would|should|will|might|may|must|is|are|was|were|have|has|had)\b)";
const std::string kBeforeEndsOnDeterminer = R"((?i)\b(?:to|the|a|an|my|your|our|their)\s*$)";
const std::string kBeforeEndsOnCorrectionCue = R"((?i)\b(?:no(?:[ ,]+sorry)?|sorry|wait)\s*$)";
const std::string kBeforeEndsUnfinished =
    R"((?i)\b(?:can|could|would|should|will|might|may|must|to|the|a|an|our|your|my|their|and|but|or|if|because|as)$)";
// After "I mean", a denial or a restated claim corrects what came before: the cue carries meaning
// and stays ("it's fine, I mean, it's not great").
const std::string kAfterRestates =
    R"((?i)^(?:no|not|never|it's|that's|i'm|we're|they're|you're|isn't|wasn't|aren't|don't|didn't|doesn't)\b)";
const std::string kLetter = R"(\p{L})";

icu::UnicodeString before(const icu::UnicodeString& text, const Match& match) {
  return icu::UnicodeString(text, 0, match.range().location);
}
icu::UnicodeString after(const icu::UnicodeString& text, const Match& match) {
  return icu::UnicodeString(text, match.range().end());
}

std::optional<icu::UnicodeString> determinerRestart(const icu::UnicodeString& text, const Match& match) {
  if (reportedSpeechBefore(toUtf8(before(text, match)))) return std::nullopt;
  icu::UnicodeString out = match.text(text, 1);
  out.append(u' ');
  return out;
}

std::optional<icu::UnicodeString> parentheticalFiller(const icu::UnicodeString& text, const Match& match) {
  const icu::UnicodeString b = before(text, match);
  const icu::UnicodeString a = after(text, match);
  if (!containsMatch(kLetter, a) || reportedSpeechBefore(toUtf8(b))) return std::nullopt;
  if (!containsMatch(kAfterOpensAndOr, a) && !containsMatch(kAfterOpensQuestion, a)) {
    if (containsMatch(kBeforeEndsOnDeterminer, b)) {
      if (!containsMatch(kAfterOpensClause, a)) return std::nullopt;
    } else if (containsMatch(kBeforeEndsOnCorrectionCue, b)) {
      return std::nullopt;
    }
  }
  icu::UnicodeString filler = match.text(text, 1);
  filler.toLower();
  if (filler == u"i mean") {
    if (containsMatch(kBeforeEndsUnfinished, b)) return std::nullopt;
    icu::UnicodeString straight = a;
    straight.findAndReplace(u"’", u"'");
    if (containsMatch(kAfterRestates, straight)) return std::nullopt;
  }
  return icu::UnicodeString(u" ");
}

// "as a, as a rule": a restarted opening phrase stands once.
std::optional<icu::UnicodeString> repeatedOpenPhrase(const icu::UnicodeString& text, const Match& match) {
  icu::UnicodeString out = match.text(text, 1);
  out.append(u' ');
  return out;
}

struct PhraseRule {
  const char* id;
  std::string pattern;
  Rewrite rewrite;
};

const PhraseRule kPhraseRules[] = {
    {"repeated-open-phrase",
     R"(\b((?i:as|in|on|at|for|with|to|from|of) (?:a|an|the)),[ \t]+(?i:\1)[ \t]+(?=\p{L}))",
     repeatedOpenPhrase},
    {"atomic-determiner-filler-restart",
     R"((?i)\b(the|a|an|this|these|those),[ \t]*you know,[ \t]*\1[ \t]+(?=\p{L}))", determinerRestart},
    {"parenthetical-filler", R"((?i),[ \t]*(you know|I mean)[ \t]*,[ \t]*)", parentheticalFiller},
};

}  // namespace

void applyPhraseRules(icu::UnicodeString& text, std::vector<FormatEdit>& edits) {
  for (const auto& rule : kPhraseRules) {
    applyRule(text, rule.id, rule.pattern, rule.rewrite, protectedRanges(text), &edits);
  }
}

}  // namespace murvelo::cleanup::layout
