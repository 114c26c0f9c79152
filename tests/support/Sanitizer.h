#pragma once

namespace murvelo::test {

// Whether AddressSanitizer is compiled in: it makes every input several times slower, so the
// randomised tests run fewer inputs with a looser time limit.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kUnderSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kUnderSanitizer = true;
#else
inline constexpr bool kUnderSanitizer = false;
#endif
#else
inline constexpr bool kUnderSanitizer = false;
#endif

}  // namespace murvelo::test
