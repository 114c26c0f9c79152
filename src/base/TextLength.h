#pragma once

#include <cstdint>
#include <string_view>

namespace murvelo {

// The number of user-perceived characters (grapheme clusters) of UTF-8 text.
std::int64_t characterCount(std::string_view text);

}  // namespace murvelo
