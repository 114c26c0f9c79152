#pragma once

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cleanup/FormatEdit.h"

namespace murvelo::cleanup {

// A range of a text in UTF-16 units, as ICU's matcher counts them.
struct TextRange {
  std::int32_t location = 0;
  std::int32_t length = 0;

  std::int32_t end() const { return location + length; }
  bool operator==(const TextRange&) const = default;
};

// True when the two ranges share at least one unit.
bool intersects(TextRange a, TextRange b);
bool intersectsAny(TextRange range, const std::vector<TextRange>& ranges);

// UTF-8 at the boundary: invalid sequences become U+FFFD, never a failure.
icu::UnicodeString fromUtf8(std::string_view text);
std::string toUtf8(const icu::UnicodeString& text);

// How long one matcher may work on one input before it gives up (in ICU's time-limit steps, each
// a few milliseconds): a pathological input skips the rule instead of backtracking for long.
inline constexpr std::int32_t kMatcherTimeLimit = 8;

// The compiled form of a pattern, compiled once per process and cached under a lock. Null when the
// pattern does not compile: the rule that needs it is skipped.
const icu::RegexPattern* compiledPattern(const std::string& pattern);

// One match: the whole match and each capture group (group 0 is the whole match). A group that
// did not take part has location -1.
struct Match {
  std::vector<TextRange> groups;

  TextRange range() const { return groups[0]; }
  bool has(int group) const { return group < static_cast<int>(groups.size()) && groups[group].location >= 0; }
  icu::UnicodeString text(const icu::UnicodeString& in, int group = 0) const;
};

// Every match of `pattern` in `text`, first to last. Nothing when the pattern does not compile or
// the matcher ran out of time (the caller then leaves the text alone).
std::optional<std::vector<Match>> findAll(const std::string& pattern, const icu::UnicodeString& text);
// Like findAll, but only matches that lie inside one of `windows` (sorted, not overlapping). Look-
// arounds and anchors still see the whole text, so a match found is one findAll would find.
std::optional<std::vector<Match>> findAllWithin(const std::string& pattern, const icu::UnicodeString& text,
                                                const std::vector<TextRange>& windows);
// Whether `pattern` matches anywhere in `text` (false when it cannot be run).
bool containsMatch(const std::string& pattern, const icu::UnicodeString& text);
// Whether `pattern` matches the whole of `text`.
bool matchesWhole(const std::string& pattern, const icu::UnicodeString& text);

// A rewrite decides the replacement of one match: nothing keeps the match as it is.
using Rewrite =
    std::function<std::optional<icu::UnicodeString>(const icu::UnicodeString& text, const Match&)>;

// Applies one rule: visits the matches from last to first, leaves those that intersect a protected
// range, and replaces the others by what `rewrite` returns. Records one edit per replacement (the
// matched span before and after). Returns how many replacements were made.
int applyRule(icu::UnicodeString& text, const std::string& ruleId, const std::string& pattern,
              const Rewrite& rewrite, const std::vector<TextRange>& protectedRanges,
              std::vector<FormatEdit>* edits);

// A replacement that may reach beyond its match (into a look-ahead's group, say).
struct Replacement {
  TextRange range;
  icu::UnicodeString text;
};
using RangeRewrite = std::function<std::optional<Replacement>(const icu::UnicodeString& text, const Match&)>;

// Like applyRule, for rewrites that choose their own range. A replacement whose range intersects a
// protected range, or reaches into one already made, is left out.
int applyRangeRule(icu::UnicodeString& text, const std::string& ruleId, const std::string& pattern,
                   const RangeRewrite& rewrite, const std::vector<TextRange>& protectedRanges,
                   std::vector<FormatEdit>* edits);

// A rewrite that expands an ICU replacement template ("$1 $2") for the match.
Rewrite templateRewrite(std::string replacement);

}  // namespace murvelo::cleanup
