#include "cleanup/layout/LayoutText.h"

#include <unicode/uchar.h>

#include <algorithm>

#include "cleanup/DictationTextSafety.h"

namespace murvelo::cleanup::layout {
namespace {

// A sentence ends at ".", "!" or "?" (with any closing quote or bracket) before white space, and at
// every line break.
const std::string kSentenceGapPattern = R"((?<=[.!?]|[.!?]["'’”)\]])\s+|[ \t]*\n\s*)";
// Tokens that end in a full stop without ending a sentence: titles and common abbreviations, and
// runs of initials.
const std::string kAbbreviationPattern =
    R"((?i)^(?:dr|mr|mrs|ms|prof|st|jr|sr|etc|inc|vs|no|dept|approx)\.$|^(?:\p{L}\.){2,}$)";
// A sentence that is only a short capitalised abbreviation is not a sentence of its own.
const std::string kShortAbbreviationPiecePattern = R"(^\p{Lu}\p{Ll}{0,4}\.$)";
const std::string kWordPattern = R"([\p{L}\p{N}]+(?:['’][\p{L}\p{N}]+)*)";

std::vector<TextRange> scanTokens(const icu::UnicodeString& text) {
  std::vector<TextRange> tokens;
  if (auto matches = findAll(kLayoutTokenPattern, text)) {
    tokens.reserve(matches->size());
    for (const auto& match : *matches) tokens.push_back(match.range());
  }
  return tokens;
}

int countFrom(const std::vector<TextRange>& tokens, std::int32_t offset) {
  auto it = std::lower_bound(tokens.begin(), tokens.end(), offset,
                             [](TextRange token, std::int32_t at) { return token.location < at; });
  return static_cast<int>(tokens.end() - it);
}

}  // namespace

LayoutText::LayoutText(const icu::UnicodeString& text, std::vector<FormatEdit>& edits)
    : text_(text), edits_(edits) {
  rescan();
}

void LayoutText::rescan() {
  protected_ = cleanup::protectedRanges(text_);
  tokens_ = scanTokens(text_);
}

int LayoutText::firstTokenFrom(std::int32_t offset) const {
  return static_cast<int>(tokens_.size()) - countFrom(tokens_, offset);
}

bool LayoutText::breakBefore(std::int32_t offset, BreakKind kind, const std::string& rule) {
  const int index = firstTokenFrom(offset);
  if (index < 1 || index >= static_cast<int>(tokens_.size())) return false;
  const TextRange previous = tokens_[index - 1];
  const TextRange gap{previous.end(), tokens_[index].location - previous.end()};
  // A gap inside a quotation or other literal is the speaker's own spacing.
  if (intersectsAny(gap, protected_)) return false;
  auto existing = breaks_.find(index);
  if (existing != breaks_.end() && (existing->second == BreakKind::paragraph || kind == BreakKind::line)) {
    return false;
  }
  const icu::UnicodeString gapText(text_, gap.location, gap.length);
  const int newlines =
      gapText.countChar32() - icu::UnicodeString(gapText).findAndReplace(u"\n", u"").countChar32();
  if (newlines >= (kind == BreakKind::paragraph ? 2 : 1)) return false;  // already there in the text
  breaks_[index] = kind;
  const icu::UnicodeString before(text_, previous.location, tokens_[index].end() - previous.location);
  icu::UnicodeString after(text_, previous.location, previous.length);
  after.append(kind == BreakKind::paragraph ? u"\n\n" : u"\n");
  after.append(icu::UnicodeString(text_, tokens_[index].location, tokens_[index].length));
  edits_.push_back({rule, toUtf8(before), toUtf8(after)});
  return true;
}

bool LayoutText::hasBreakBefore(std::int32_t offset) const {
  const int index = firstTokenFrom(offset);
  return breaks_.contains(index);
}

bool LayoutText::hasParagraphBreak() const {
  if (text_.indexOf(u"\n\n") >= 0) return true;
  return std::any_of(breaks_.begin(), breaks_.end(),
                     [](const auto& entry) { return entry.second == BreakKind::paragraph; });
}

void LayoutText::replace(TextRange range, const icu::UnicodeString& with, const std::string& rule) {
  const int oldCount = static_cast<int>(tokens_.size());
  const int oldHead = oldCount - countFrom(tokens_, range.end());
  const icu::UnicodeString before(text_, range.location, range.length);
  const std::int32_t delta = with.length() - range.length;
  text_.replace(range.location, range.length, with);

  // Only the tokens around the range change: those that touch it are scanned again, those after
  // it move by the change in length. Scanning the whole text again for every small rewrite made
  // long texts slow.
  std::size_t lo = 0;
  while (lo < tokens_.size() && tokens_[lo].end() < range.location) ++lo;
  std::size_t hi = lo;
  while (hi < tokens_.size() && tokens_[hi].location <= range.end()) ++hi;
  const std::int32_t windowStart = lo < hi ? std::min(range.location, tokens_[lo].location) : range.location;
  const std::int32_t windowEnd =
      (lo < hi ? std::max(range.end(), tokens_[hi - 1].end()) : range.end()) + delta;
  std::vector<TextRange> updated(tokens_.begin(), tokens_.begin() + static_cast<std::ptrdiff_t>(lo));
  for (const TextRange token : scanTokens(icu::UnicodeString(text_, windowStart, windowEnd - windowStart))) {
    updated.push_back({token.location + windowStart, token.length});
  }
  for (std::size_t i = hi; i < tokens_.size(); ++i)
    updated.push_back({tokens_[i].location + delta, tokens_[i].length});
  tokens_ = std::move(updated);
  // The rewrites touch no protected range and add no literal (marks, case, line breaks), so the
  // ranges after the rewrite only move; the final literal invariant checks the result anyway.
  for (TextRange& literal : protected_) {
    if (literal.location >= range.end()) literal.location += delta;
  }

  const int newHead = static_cast<int>(tokens_.size()) - countFrom(tokens_, range.location + with.length());
  const int shift = newHead - oldHead;
  if (shift != 0) {
    std::map<int, BreakKind> moved;
    for (const auto& [index, kind] : breaks_) moved[index >= oldHead ? index + shift : index] = kind;
    breaks_ = std::move(moved);
  }
  if (!rule.empty()) edits_.push_back({rule, toUtf8(before), toUtf8(with)});
}

std::vector<TextRange> sentencesOf(const icu::UnicodeString& text, std::int32_t from) {
  std::vector<TextRange> sentences;
  const icu::UnicodeString tail(text, from);
  auto gaps = findAll(kSentenceGapPattern, tail);
  std::int32_t start = 0;
  // Skip white space at the start.
  while (start < tail.length() && u_isUWhiteSpace(tail.char32At(start))) start = tail.moveIndex32(start, 1);
  // `gap` is the white space that ends the piece; an empty gap is the end of the text.
  auto push = [&](TextRange gap) {
    const std::int32_t end = gap.location;
    if (end <= start) return true;
    const icu::UnicodeString piece(tail, start, end - start);
    const icu::UnicodeString gapText(tail, gap.location, gap.length);
    const std::int32_t lastSpace = std::max(piece.lastIndexOf(u' '), piece.lastIndexOf(u'\t'));
    const icu::UnicodeString lastToken(piece, lastSpace + 1);
    const bool runsOn = gap.length > 0 && gapText.indexOf(u'\n') < 0 &&
                        (matchesWhole(kAbbreviationPattern, lastToken) ||
                         matchesWhole(kShortAbbreviationPiecePattern, piece));
    if (runsOn) return false;
    sentences.push_back({from + start, end - start});
    return true;
  };
  if (gaps) {
    for (const auto& gap : *gaps) {
      if (push(gap.range())) start = gap.range().end();
    }
  }
  push({tail.length(), 0});
  // Trailing white space of the last piece is not part of the sentence.
  if (!sentences.empty()) {
    TextRange& last = sentences.back();
    while (last.length > 0 && u_isUWhiteSpace(text.charAt(last.end() - 1))) --last.length;
    if (last.length == 0) sentences.pop_back();
  }
  return sentences;
}

int wordCount(const icu::UnicodeString& text) {
  auto words = findAll(kWordPattern, text);
  return words ? static_cast<int>(words->size()) : 0;
}

bool capitaliseAt(LayoutText& text, std::int32_t offset, const std::string& rule) {
  const icu::UnicodeString& current = text.text();
  for (std::int32_t i = offset; i < current.length(); i = current.moveIndex32(i, 1)) {
    const UChar32 c = current.char32At(i);
    if (!u_isalpha(c)) continue;
    if (!u_islower(c)) return false;
    const std::int32_t width = U16_LENGTH(c);
    if (intersectsAny({i, width}, text.protectedRanges())) return false;
    icu::UnicodeString upper;
    upper.append(u_toupper(c));
    text.replace({i, width}, upper, rule);
    return true;
  }
  return false;
}

}  // namespace murvelo::cleanup::layout
