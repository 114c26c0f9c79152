#include "base/Utf8.h"

#include <cstdint>

namespace murvelo {

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n) {
    const auto lead = static_cast<std::uint8_t>(text[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    std::size_t length = 0;
    std::uint32_t code = 0;
    std::uint32_t minimum = 0;
    if ((lead & 0xE0) == 0xC0) {
      length = 2, code = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3, code = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4, code = lead & 0x07, minimum = 0x10000;
    } else {
      return false;
    }
    if (n - i < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<std::uint8_t>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    i += length;
  }
  return true;
}

}  // namespace murvelo
