#include "base/Uuid.h"

#include <array>
#include <cctype>
#include <cstdint>
#include <mutex>
#include <random>

namespace murvelo {

std::string makeUuid() {
  static std::mutex mutex;
  static std::mt19937_64 engine{[] {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }()};

  std::array<std::uint8_t, 16> bytes{};
  {
    std::lock_guard lock(mutex);
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
      std::uint64_t word = engine();
      for (std::size_t j = 0; j < 8; ++j) bytes[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
    }
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant

  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kHex[bytes[i] >> 4]);
    text.push_back(kHex[bytes[i] & 0x0F]);
  }
  return text;
}

bool isUuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

}  // namespace murvelo
