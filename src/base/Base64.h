#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace murvelo {

std::string base64Encode(const std::vector<std::uint8_t>& bytes);
// Standard alphabet with padding; anything else gives no value.
std::optional<std::vector<std::uint8_t>> base64Decode(std::string_view text);

}  // namespace murvelo
