#include "cleanup/TidyEngine.h"

#include <unicode/uchar.h>

#include "base/TextTrim.h"
#include "cleanup/CorrectionRules.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyPatterns.h"

namespace murvelo::cleanup {
namespace {

constexpr std::int32_t kMaxCorrectionLength = 8000;
constexpr std::size_t kMaxCues = 80;
constexpr int kMaxCorrectionPasses = 8;
// Every correction holds a cue word, and no rule's match reaches further than this from its cue:
// the rules only look at the text around the cues.
constexpr std::int32_t kWindowBeforeCue = 400;
constexpr std::int32_t kWindowAfterCue = 300;

// One rule over the whole text: matches from last to first, each one guarded, none touching a
// protected span. Returns whether the text changed.
std::vector<TextRange> cueWindows(const icu::UnicodeString& text) {
  std::vector<TextRange> windows;
  auto cues = findAll(kCueWordPattern, text);
  if (!cues) return {{0, text.length()}};
  for (const auto& cue : *cues) {
    const std::int32_t start = std::max(0, cue.range().location - kWindowBeforeCue);
    const std::int32_t end = std::min(text.length(), cue.range().end() + kWindowAfterCue);
    if (!windows.empty() && start <= windows.back().end()) {
      windows.back().length = end - windows.back().location;
    } else {
      windows.push_back({start, end - start});
    }
  }
  return windows;
}

bool applyCorrectionRule(const CorrectionRule& rule, icu::UnicodeString& text,
                         std::vector<TextRange>& windows, std::vector<FormatEdit>& edits) {
  bool changed = false;
  for (const auto& pattern : rule.patterns) {
    auto matches = findAllWithin(pattern, text, windows);
    if (!matches || matches->empty()) continue;
    const icu::UnicodeString original = text;
    const auto ranges = protectedRanges(original);
    std::int32_t limit = original.length();
    std::vector<FormatEdit> made;
    for (auto it = matches->rbegin(); it != matches->rend(); ++it) {
      const TextRange range = it->range();
      if (range.end() > limit || intersectsAny(range, ranges)) continue;
      if (guardBlocks({original, *it, rule})) continue;
      const icu::UnicodeString replacement = rule.rewrite(original, *it);
      const icu::UnicodeString span(original, range.location, range.length);
      if (replacement == span) continue;
      text.replace(range.location, range.length, replacement);
      made.push_back({rule.id, toUtf8(span), toUtf8(replacement)});
      limit = range.location;
      changed = true;
    }
    if (!made.empty()) windows = cueWindows(text);
    edits.insert(edits.end(), made.rbegin(), made.rend());
  }
  return changed;
}

bool verbatimRequest(const icu::UnicodeString& text) {
  for (const auto& pattern : kVerbatimPatterns) {
    if (containsMatch(pattern, text)) return true;
  }
  return false;
}

}  // namespace

std::string applyExplicitCorrections(std::string_view input, bool sentenceStart,
                                     std::vector<FormatEdit>& edits) {
  const icu::UnicodeString original = fromUtf8(input);
  if (original.length() > kMaxCorrectionLength) return std::string(input);
  // A word that could be a cue comes first: most dictations have none and stop here.
  if (!containsMatch(kCueWordPattern, original)) return std::string(input);
  auto cues = findAll(kCueCountPattern, original);
  if (!cues || cues->size() > kMaxCues) return std::string(input);  // a ramble, not a correction
  if (verbatimRequest(original)) return std::string(input);

  icu::UnicodeString text = original;
  std::vector<TextRange> windows = cueWindows(text);
  for (int pass = 0; pass < kMaxCorrectionPasses; ++pass) {
    icu::UnicodeString lower(text);
    lower.toLower();
    bool changed = false;
    for (const auto& rule : correctionRules()) {
      if (!rule.prefilter.admits(lower)) continue;
      if (applyCorrectionRule(rule, text, windows, edits)) {
        changed = true;
        lower = text;
        lower.toLower();
      }
    }
    if (!changed) break;
  }
  if (text == original) return std::string(input);
  if (sentenceStart && !text.isEmpty() && u_isupper(original.char32At(0)) && u_islower(text.char32At(0))) {
    const UChar32 first = text.char32At(0);
    icu::UnicodeString head(text, 0, U16_LENGTH(first));
    head.toUpper();
    text.replace(0, U16_LENGTH(first), head);
  }
  return toUtf8(text);
}

std::string restoreUnfinishedEnding(std::string_view cleaned, std::string_view input,
                                    std::vector<FormatEdit>& edits) {
  const std::string trimmed = trimWhitespaceAndNewlines(input);
  if (trimmed.ends_with('.') || !cleaned.ends_with('.')) return std::string(cleaned);
  if (!containsMatch(danglingEndingPattern(), fromUtf8(trimmed))) return std::string(cleaned);
  std::string restored(cleaned.substr(0, cleaned.size() - 1));
  edits.push_back({"restore-unfinished-ending", std::string(cleaned), restored});
  return restored;
}

}  // namespace murvelo::cleanup
