#include "base/TextTrim.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace murvelo {

std::string trimWhitespaceAndNewlines(std::string_view text) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
  int32_t length = static_cast<int32_t>(text.size());
  int32_t start = 0;
  while (start < length) {
    int32_t next = start;
    UChar32 c;
    U8_NEXT(bytes, next, length, c);
    if (c < 0 || !u_isUWhiteSpace(c)) break;
    start = next;
  }
  int32_t end = length;
  while (end > start) {
    int32_t previous = end;
    UChar32 c;
    U8_PREV(bytes, start, previous, c);
    if (c < 0 || !u_isUWhiteSpace(c)) break;
    end = previous;
  }
  return std::string(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
}

std::string removeControlCharacters(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0x7F) continue;
    // U+0080..U+009F are C2 80..C2 9F in UTF-8.
    if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
        static_cast<unsigned char>(text[i + 1]) <= 0x9F) {
      ++i;
      continue;
    }
    out += text[i];
  }
  return out;
}

}  // namespace murvelo
