#include "delivery/CursorContext.h"

#include <unicode/brkiter.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "delivery/FocusedText.h"

namespace murvelo {
namespace {

constexpr std::size_t kWindow = 48;
// Offsets count code points while characters are grapheme clusters, so reads take several code
// points per character and keep whole clusters only. A cluster longer than this (a family emoji
// with its joiners) shortens the window before the cursor rather than costing a second read.
constexpr std::int64_t kCodePointsPerCharacter = 4;
constexpr std::int64_t kPrecedingSpan = kWindow * kCodePointsPerCharacter;
// Enough for the longest clusters in use: tag-sequence flags and joined emoji.
constexpr std::int64_t kFollowingSpan = 16;

std::vector<std::string> graphemes(std::string_view text) {
  std::vector<std::string> out;
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), text.size()));
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> it(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status)) return out;
  it->setText(unicode);
  for (int32_t start = it->first(), end = it->next(); end != icu::BreakIterator::DONE;
       start = end, end = it->next()) {
    std::string piece;
    unicode.tempSubStringBetween(start, end).toUTF8String(piece);
    out.push_back(std::move(piece));
  }
  return out;
}

bool isLineBreak(std::string_view c) { return c == "\n" || c == "\r\n" || c == "\r" || c == "\u2029"; }

bool isWhitespace(std::string_view c) {
  icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(icu::StringPiece(c.data(), c.size()));
  if (unicode.isEmpty()) return false;
  for (int32_t i = 0; i < unicode.length();) {
    UChar32 cp = unicode.char32At(i);
    if (!u_isUWhiteSpace(cp)) return false;
    i += U16_LENGTH(cp);
  }
  return true;
}

bool isOneOf(std::string_view c, std::initializer_list<std::string_view> set) {
  return std::find(set.begin(), set.end(), c) != set.end();
}

std::optional<std::string> readRange(FocusedText& text, TextRange range) {
  if (range.length < 1 || range.location < 0) return std::nullopt;
  return text.stringForRange(range);
}

CursorContext build(std::vector<std::string> chars, bool atStart, std::optional<std::string> following) {
  if (chars.size() > kWindow) chars.erase(chars.begin(), chars.end() - kWindow);
  CursorContext context;
  context.available = true;
  context.atStart = atStart;
  context.followingChar = std::move(following);
  if (!chars.empty()) context.precedingChar = chars.back();
  if (chars.size() >= 2) context.secondPrecedingChar = chars[chars.size() - 2];
  for (auto it = chars.rbegin(); it != chars.rend(); ++it) {
    if (isLineBreak(*it)) {
      context.sentencePredecessor = *it;
      break;
    }
    if (isWhitespace(*it) || isOneOf(*it, {"\"", "'", "\u201D", "\u2019", ")", "]"})) continue;
    context.sentencePredecessor = *it;
    break;
  }
  return context;
}

}  // namespace

CursorContext CursorContext::fromText(std::string_view preceding, std::optional<std::string> following) {
  std::vector<std::string> chars = graphemes(preceding);
  bool atStart = chars.empty();
  return build(std::move(chars), atStart, std::move(following));
}

CursorContext CursorContext::read(Accessibility& accessibility) {
  std::unique_ptr<FocusedText> focused = accessibility.focusedText();
  if (!focused) return unavailable();
  std::optional<TextRange> selection = focused->selectedRange();
  if (!selection) return unavailable();
  std::int64_t location = selection->location;
  std::int64_t end = location + std::max<std::int64_t>(selection->length, 0);

  std::optional<std::string> following;
  if (auto after = readRange(*focused, {end, kFollowingSpan})) {
    std::vector<std::string> chars = graphemes(*after);
    if (!chars.empty()) following = std::move(chars.front());
  }
  if (location < 1) return build({}, true, std::move(following));

  std::int64_t n = std::min(location, kPrecedingSpan);
  std::optional<std::string> before = readRange(*focused, {location - n, n});
  if (!before) return unavailable();
  std::vector<std::string> chars = graphemes(*before);
  // A read that starts inside the text may cut its first cluster in two.
  if (location > n && !chars.empty()) chars.erase(chars.begin());
  return build(std::move(chars), false, std::move(following));
}

bool CursorContext::startsSentence() const {
  if (!available || atStart || !sentencePredecessor) return true;
  return isLineBreak(*sentencePredecessor) || isOneOf(*sentencePredecessor, {".", "!", "?", "\u2026"});
}

bool CursorContext::needsLeadingSpace() const {
  if (!available || atStart || !precedingChar) return false;
  if (isWhitespace(*precedingChar)) return false;
  if (isOneOf(*precedingChar, {"(", "[", "{", "\u201C", "\u2018"})) return false;
  if (*precedingChar == "\"" || *precedingChar == "'")
    return secondPrecedingChar && !isWhitespace(*secondPrecedingChar);
  return true;
}

}  // namespace murvelo
