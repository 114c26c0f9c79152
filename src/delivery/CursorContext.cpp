#include "delivery/CursorContext.h"

#include <unicode/brkiter.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace murvelo {
namespace {

constexpr std::size_t kWindow = 48;

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

}  // namespace

CursorContext CursorContext::fromText(std::string_view preceding, std::optional<std::string> following) {
  std::vector<std::string> chars = graphemes(preceding);
  if (chars.size() > kWindow) chars.erase(chars.begin(), chars.end() - kWindow);
  CursorContext context;
  context.available = true;
  context.atStart = chars.empty();
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
