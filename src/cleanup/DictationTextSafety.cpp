#include "cleanup/DictationTextSafety.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "base/TextTrim.h"
#include "cleanup/WordLists.h"

namespace murvelo::cleanup {
namespace {

const std::string kLiteralPattern =
    R"((?s)(`+).*?(?:\1|$)|"(?:\\.|[^"\\])*(?:"|$)|“(?:\\.|[^”\\])*(?:”|$)|‘(?:\\.|(?<=\p{L})’(?=\p{L})|[^’\\])*(?:’|$)|(?<!\p{L})'(?:\\.|(?<=\p{L})'(?=\p{L})|[^'\\])*(?:'(?!\p{L})|$)|https?://[^\s]+|[\w.+-]+@[\w.-]+\.[\p{L}]{2,})";

const std::string kWordTalkPattern =
    R"((?i)\b(?:words|phrases|expressions|labels|commands|options|values|choices|names|buttons|terms|tokens|sounds)\s+(?:are|include|contain|were|mean)\s+[^.!?\n]+|\b(?:word|term|token|sound|label)\s+(?:(?:is|was|says|reads|called)\s+)?(?:umm*|uh+m?|erm|hmm|ahh+|mmm)\b)";

const std::string kTokenPattern = R"(\S+)";

const std::string kHostWithPathPattern = R"((?i)^(?:[a-z0-9-]{1,63}\.)+[a-z]{2,63}(?::\d+)?[/#?]\S*$)";

const std::string kConditionalJoinPattern =
    R"((?<=[.!?])[ \t]+(?i:if|unless|until|when)\b[^.!?,\n]{1,180}\.[ \t]+\p{Ll})";

const std::string kAbsorbedQuestionPattern = [] {
  const std::string cues = std::string(kCorrectionCues) + "|let me correct that";
  return R"((?i)\b(?:)" + cues + R"()(?:[ ,]+(?:oh|)" + cues + R"())*[ ,]+(?:how|what) about\b[^.!?\n]{1,60}\?)";
}();

const std::string kWordPattern = R"([\p{L}\p{N}]+(?:['’][\p{L}\p{N}]+)*)";
const std::string kNumberPattern = R"([$€£]?\d+(?:[.,:/-]\d+)*(?:%)?)";

void appendMatches(const std::string& pattern, const icu::UnicodeString& text, std::vector<TextRange>& out) {
  if (auto matches = findAll(pattern, text)) {
    for (const auto& match : *matches) {
      if (match.range().length > 0) out.push_back(match.range());
    }
  }
}

bool containsAny(const icu::UnicodeString& text, std::initializer_list<std::u16string_view> needles) {
  for (const auto needle : needles) {
    if (text.indexOf(needle.data(), static_cast<std::int32_t>(needle.size()), 0) >= 0) return true;
  }
  return false;
}

// Only a token with one of these can pass the link test.
bool mayBeLink(const icu::UnicodeString& token) {
  return token.indexOf(u'.') >= 0 || token.indexOf(u'@') >= 0 || token.indexOf(u':') >= 0;
}

std::vector<TextRange> scanRanges(const icu::UnicodeString& text) {
  std::vector<TextRange> ranges;
  if (compiledPattern(kLiteralPattern) == nullptr) {
    // The pattern is fixed: failing to compile is a programming error, never a user's input.
    std::fputs("murvelo: the literal-protection pattern does not compile\n", stderr);
    std::abort();
  }
  // Each source needs a character or word that most dictations lack; a plain search rules it out.
  icu::UnicodeString lower(text);
  lower.toLower();
  if (containsAny(lower, {u"`", u"\"", u"\u201C", u"\u2018", u"'", u"http", u"@"})) {
    appendMatches(kLiteralPattern, text, ranges);
  }
  if (containsAny(lower, {u"word", u"phrase", u"expression", u"label", u"command", u"option", u"value",
                          u"choice", u"name", u"button", u"term", u"token", u"sound"})) {
    appendMatches(kWordTalkPattern, text, ranges);
  }
  if (auto tokens = findAll(kTokenPattern, text)) {
    for (const auto& token : *tokens) {
      const icu::UnicodeString tokenText = token.text(text);
      if (mayBeLink(tokenText) && isLinkLike(toUtf8(tokenText))) ranges.push_back(token.range());
    }
  }
  std::sort(ranges.begin(), ranges.end(), [](TextRange a, TextRange b) { return a.location < b.location; });
  std::vector<TextRange> merged;
  for (const auto& range : ranges) {
    if (!merged.empty() && range.location <= merged.back().end()) {
      merged.back().length = std::max(merged.back().end(), range.end()) - merged.back().location;
    } else {
      merged.push_back(range);
    }
  }
  return merged;
}

std::vector<std::string> matchTexts(const std::string& pattern, std::string_view text, bool lowerApostrophe) {
  std::vector<std::string> out;
  const icu::UnicodeString unicode = fromUtf8(text);
  if (auto matches = findAll(pattern, unicode)) {
    for (const auto& match : *matches) {
      icu::UnicodeString word = match.text(unicode);
      if (lowerApostrophe) {
        word.toLower();
        word.findAndReplace(u"’", u"'");
      }
      out.push_back(toUtf8(word));
    }
  }
  return out;
}

bool isDomainPart(std::string_view part) {
  if (part.empty()) return false;
  // Multi-byte letters are letters too; only ASCII punctuation other than "-" disqualifies.
  return std::all_of(part.begin(), part.end(), [](char c) {
    const auto u = static_cast<unsigned char>(c);
    return u >= 0x80 || std::isalnum(u) || c == '-';
  });
}

}  // namespace

bool isDomainLike(std::string_view text) {
  int parts = 0;
  std::size_t start = 0;
  std::string_view last;
  while (true) {
    const std::size_t dot = text.find('.', start);
    const std::string_view part = text.substr(start, dot == std::string_view::npos ? text.npos : dot - start);
    if (!isDomainPart(part)) return false;
    ++parts;
    last = part;
    if (dot == std::string_view::npos) break;
    start = dot + 1;
  }
  // A name ends in a label of two characters or more with a letter in it: "3.5", "2.1" and "a.m"
  // are a number, a version and an abbreviation, which the cleanup must be free to rewrite.
  const bool nameEnding = last.size() >= 2 && std::any_of(last.begin(), last.end(), [](char c) {
                            const auto u = static_cast<unsigned char>(c);
                            return u >= 0x80 || std::isalpha(u);
                          });
  return parts >= 2 && nameEnding;
}

bool isLinkLike(std::string_view token) {
  std::string_view stripped = token;
  while (!stripped.empty() && std::string_view(".,!?;:").find(stripped.back()) != std::string_view::npos) {
    stripped.remove_suffix(1);
  }
  if (stripped.empty()) return false;
  icu::UnicodeString lowered = fromUtf8(stripped);
  lowered.toLower();
  const std::string lower = toUtf8(lowered);
  if (lower.starts_with("http://") || lower.starts_with("https://") || lower.starts_with("www.")) return true;
  const std::size_t at = lower.find('@');
  if (at != std::string::npos) {
    if (at > 0 && isDomainLike(std::string_view(lower).substr(at + 1))) return true;
  } else if (isDomainLike(std::string_view(lower).substr(0, lower.find('/')))) {
    return true;
  }
  if (lower.find('.') != std::string::npos && lower.find_first_of("/?#") != std::string::npos) {
    return matchesWhole(kHostWithPathPattern, fromUtf8(lower));
  }
  return false;
}

std::vector<TextRange> protectedRanges(const icu::UnicodeString& text) {
  static std::mutex mutex;
  static icu::UnicodeString cachedText;
  static std::vector<TextRange> cachedRanges;
  static bool cached = false;
  {
    std::lock_guard lock(mutex);
    if (cached && cachedText == text) return cachedRanges;
  }
  std::vector<TextRange> ranges = scanRanges(text);
  std::lock_guard lock(mutex);
  cachedText = text;
  cachedRanges = ranges;
  cached = true;
  return ranges;
}

std::vector<TextRange> protectedRanges(std::string_view text) { return protectedRanges(fromUtf8(text)); }

std::vector<std::string> protectedLiterals(const icu::UnicodeString& text) {
  std::vector<std::string> literals;
  for (const auto& range : protectedRanges(text)) {
    literals.push_back(toUtf8(icu::UnicodeString(text, range.location, range.length)));
  }
  return literals;
}

std::vector<std::string> protectedLiterals(std::string_view text) {
  return protectedLiterals(fromUtf8(text));
}

bool sameLiterals(const std::vector<std::string>& a, const std::vector<std::string>& b) { return a == b; }

bool hasAmbiguousConditionalJoin(std::string_view text) {
  const icu::UnicodeString unicode = fromUtf8(text);
  auto matches = findAll(kConditionalJoinPattern, unicode);
  if (!matches || matches->empty()) return false;
  const auto ranges = protectedRanges(unicode);
  return std::any_of(matches->begin(), matches->end(),
                     [&](const Match& match) { return !intersectsAny(match.range(), ranges); });
}

int absorbedQuestionCount(std::string_view text) {
  auto matches = findAll(kAbsorbedQuestionPattern, fromUtf8(text));
  return matches ? static_cast<int>(matches->size()) : 0;
}

int questionMarkCount(std::string_view text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '?'));
}

std::optional<std::string> layoutInvariantViolation(std::string_view output, std::string_view input) {
  if (output.empty()) return "empty";
  if (matchTexts(kWordPattern, output, true) != matchTexts(kWordPattern, input, true)) {
    return "changed-word-sequence";
  }
  if (matchTexts(kNumberPattern, output, false) != matchTexts(kNumberPattern, input, false)) {
    return "changed-number-spelling";
  }
  if (questionMarkCount(output) != questionMarkCount(input)) return "changed-question-count";
  return std::nullopt;
}

std::optional<std::string> tidyGuardViolation(std::string_view cleaned, std::string_view raw) {
  const auto rawLiterals = protectedLiterals(raw);
  if (!rawLiterals.empty() && !sameLiterals(rawLiterals, protectedLiterals(cleaned))) {
    return "tidy-changed-protected-literal";
  }
  if (hasAmbiguousConditionalJoin(raw)) return "ambiguous-tidy-conditional-join";
  if (questionMarkCount(cleaned) < questionMarkCount(raw) - absorbedQuestionCount(raw)) {
    return "tidy-dropped-question-mark";
  }
  return std::nullopt;
}

Reconciliation reconcile(std::string_view cleaned, std::string_view raw) {
  if (auto failed = tidyGuardViolation(cleaned, raw)) {
    return {trimWhitespaceAndNewlines(raw), std::move(failed)};
  }
  return {std::string(cleaned), std::nullopt};
}

}  // namespace murvelo::cleanup
