#include "base/Base64.h"

namespace murvelo {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

std::string base64Encode(const std::vector<std::uint8_t>& bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t chunk = static_cast<std::uint32_t>(bytes[i]) << 16;
    std::size_t n = bytes.size() - i;
    if (n > 1) chunk |= static_cast<std::uint32_t>(bytes[i + 1]) << 8;
    if (n > 2) chunk |= bytes[i + 2];
    out.push_back(kAlphabet[(chunk >> 18) & 63]);
    out.push_back(kAlphabet[(chunk >> 12) & 63]);
    out.push_back(n > 1 ? kAlphabet[(chunk >> 6) & 63] : '=');
    out.push_back(n > 2 ? kAlphabet[chunk & 63] : '=');
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<std::uint8_t> out;
  out.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    bool last = i + 4 == text.size();
    int pad = 0;
    std::uint32_t chunk = 0;
    for (std::size_t j = 0; j < 4; ++j) {
      char c = text[i + j];
      if (c == '=' && last && j >= 2) {
        ++pad;
        chunk <<= 6;
        continue;
      }
      int value = sextet(c);
      if (value < 0 || pad > 0) return std::nullopt;
      chunk = (chunk << 6) | static_cast<std::uint32_t>(value);
    }
    out.push_back(static_cast<std::uint8_t>(chunk >> 16));
    if (pad < 2) out.push_back(static_cast<std::uint8_t>(chunk >> 8));
    if (pad < 1) out.push_back(static_cast<std::uint8_t>(chunk));
  }
  return out;
}

}  // namespace murvelo
