#pragma once

#include <string_view>

namespace murvelo {

// Whether `text` is well-formed UTF-8: no stray continuation bytes, overlong forms, surrogates or
// code points above U+10FFFF.
bool isValidUtf8(std::string_view text);

}  // namespace murvelo
