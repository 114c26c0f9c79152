#include "cleanup/Regex.h"

#include <map>
#include <memory>
#include <mutex>

namespace murvelo::cleanup {

bool intersects(TextRange a, TextRange b) {
  return a.length > 0 && b.length > 0 && a.location < b.end() && b.location < a.end();
}

bool intersectsAny(TextRange range, const std::vector<TextRange>& ranges) {
  for (const auto& other : ranges) {
    if (other.location >= range.end()) break;  // ranges are sorted by location
    if (intersects(range, other)) return true;
  }
  return false;
}

icu::UnicodeString fromUtf8(std::string_view text) {
  // ICU's UTF-8 conversion substitutes U+FFFD for every ill-formed sequence.
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

const icu::RegexPattern* compiledPattern(const std::string& pattern) {
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<icu::RegexPattern>> cache;
  std::lock_guard lock(mutex);
  auto found = cache.find(pattern);
  if (found != cache.end()) return found->second.get();
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(fromUtf8(pattern), 0, parseError, status));
  if (U_FAILURE(status)) compiled.reset();
  return cache.emplace(pattern, std::move(compiled)).first->second.get();
}

icu::UnicodeString Match::text(const icu::UnicodeString& in, int group) const {
  if (!has(group)) return {};
  const auto& range = groups[group];
  return icu::UnicodeString(in, range.location, range.length);
}

namespace {

std::unique_ptr<icu::RegexMatcher> makeMatcher(const std::string& pattern, const icu::UnicodeString& text) {
  const icu::RegexPattern* compiled = compiledPattern(pattern);
  if (compiled == nullptr) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(text, status));
  if (U_FAILURE(status)) return nullptr;
  matcher->setTimeLimit(kMatcherTimeLimit, status);
  return U_SUCCESS(status) ? std::move(matcher) : nullptr;
}

Match currentMatch(icu::RegexMatcher& matcher) {
  Match match;
  const std::int32_t count = matcher.groupCount();
  match.groups.reserve(count + 1);
  for (std::int32_t group = 0; group <= count; ++group) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t start = matcher.start(group, status);
    const std::int32_t end = matcher.end(group, status);
    if (U_FAILURE(status) || start < 0) {
      match.groups.push_back({-1, 0});
    } else {
      match.groups.push_back({start, end - start});
    }
  }
  return match;
}

}  // namespace

std::optional<std::vector<Match>> findAll(const std::string& pattern, const icu::UnicodeString& text) {
  auto matcher = makeMatcher(pattern, text);
  if (!matcher) return std::nullopt;
  std::vector<Match> matches;
  UErrorCode status = U_ZERO_ERROR;
  while (matcher->find(status) && U_SUCCESS(status)) {
    matches.push_back(currentMatch(*matcher));
  }
  if (U_FAILURE(status)) return std::nullopt;  // time limit or stack limit: leave the text alone
  return matches;
}

std::optional<std::vector<Match>> findAllWithin(const std::string& pattern, const icu::UnicodeString& text,
                                                const std::vector<TextRange>& windows) {
  auto matcher = makeMatcher(pattern, text);
  if (!matcher) return std::nullopt;
  matcher->useTransparentBounds(true);
  matcher->useAnchoringBounds(false);
  std::vector<Match> matches;
  for (const auto& window : windows) {
    UErrorCode status = U_ZERO_ERROR;
    matcher->region(window.location, window.end(), status);
    if (U_FAILURE(status)) return std::nullopt;
    while (matcher->find(status) && U_SUCCESS(status)) matches.push_back(currentMatch(*matcher));
    if (U_FAILURE(status)) return std::nullopt;
  }
  return matches;
}

bool containsMatch(const std::string& pattern, const icu::UnicodeString& text) {
  auto matcher = makeMatcher(pattern, text);
  if (!matcher) return false;
  UErrorCode status = U_ZERO_ERROR;
  const bool found = matcher->find(status);
  return U_SUCCESS(status) && found;
}

bool matchesWhole(const std::string& pattern, const icu::UnicodeString& text) {
  auto matcher = makeMatcher(pattern, text);
  if (!matcher) return false;
  UErrorCode status = U_ZERO_ERROR;
  const bool found = matcher->matches(status);
  return U_SUCCESS(status) && found;
}

int applyRule(icu::UnicodeString& text, const std::string& ruleId, const std::string& pattern,
              const Rewrite& rewrite, const std::vector<TextRange>& protectedRanges,
              std::vector<FormatEdit>* edits) {
  auto matches = findAll(pattern, text);
  if (!matches || matches->empty()) return 0;
  // Decisions are taken against the text as it was matched; replacements go from the last match
  // backwards so that earlier ranges stay valid.
  const icu::UnicodeString original = text;
  int replaced = 0;
  std::vector<FormatEdit> made;
  for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
    const TextRange range = it->range();
    if (intersectsAny(range, protectedRanges)) continue;
    auto replacement = rewrite(original, *it);
    if (!replacement) continue;
    const icu::UnicodeString before(original, range.location, range.length);
    if (before == *replacement) continue;
    text.replace(range.location, range.length, *replacement);
    made.push_back({ruleId, toUtf8(before), toUtf8(*replacement)});
    ++replaced;
  }
  if (edits != nullptr) {
    // Edits are listed in text order, as a reader would follow them.
    edits->insert(edits->end(), made.rbegin(), made.rend());
  }
  return replaced;
}

int applyRangeRule(icu::UnicodeString& text, const std::string& ruleId, const std::string& pattern,
                   const RangeRewrite& rewrite, const std::vector<TextRange>& protectedRanges,
                   std::vector<FormatEdit>* edits) {
  auto matches = findAll(pattern, text);
  if (!matches || matches->empty()) return 0;
  const icu::UnicodeString original = text;
  std::int32_t limit = original.length();  // replacements already made start at or after this
  int replaced = 0;
  std::vector<FormatEdit> made;
  for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
    auto replacement = rewrite(original, *it);
    if (!replacement) continue;
    const TextRange range = replacement->range;
    if (range.location < 0 || range.end() > limit || intersectsAny(range, protectedRanges)) continue;
    if (range.length == 0 && it->range().length > 0 && intersectsAny(it->range(), protectedRanges)) continue;
    const icu::UnicodeString before(original, range.location, range.length);
    if (before == replacement->text) continue;
    text.replace(range.location, range.length, replacement->text);
    made.push_back({ruleId, toUtf8(before), toUtf8(replacement->text)});
    limit = range.location;
    ++replaced;
  }
  if (edits != nullptr) edits->insert(edits->end(), made.rbegin(), made.rend());
  return replaced;
}

Rewrite templateRewrite(std::string replacement) {
  return [replacement = std::move(replacement)](const icu::UnicodeString& text,
                                                const Match& match) -> std::optional<icu::UnicodeString> {
    icu::UnicodeString out;
    const icu::UnicodeString pattern = fromUtf8(replacement);
    for (std::int32_t i = 0; i < pattern.length(); ++i) {
      const char16_t c = pattern.charAt(i);
      if (c == u'\\' && i + 1 < pattern.length()) {
        out.append(pattern.charAt(++i));
      } else if (c == u'$' && i + 1 < pattern.length() && pattern.charAt(i + 1) >= u'0' &&
                 pattern.charAt(i + 1) <= u'9') {
        const int group = pattern.charAt(++i) - u'0';
        out.append(match.text(text, group));
      } else {
        out.append(c);
      }
    }
    return out;
  };
}

}  // namespace murvelo::cleanup
