#pragma once

#include <array>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace murvelo::cleanup {

// The word lists several cleanup stages share, each defined once.

// The spelled number words, lower case, each list in counting order.
inline constexpr std::array<std::string_view, 9> kUnitWords = {"one", "two",   "three", "four", "five",
                                                               "six", "seven", "eight", "nine"};
inline constexpr std::string_view kTenWord = "ten";
inline constexpr std::array<std::string_view, 9> kTeenWords = {
    "eleven", "twelve", "thirteen", "fourteen", "fifteen", "sixteen", "seventeen", "eighteen", "nineteen"};
inline constexpr std::array<std::string_view, 8> kTensWords = {"twenty", "thirty",  "forty",  "fifty",
                                                               "sixty",  "seventy", "eighty", "ninety"};
inline constexpr std::array<std::string_view, 2> kScaleWords = {"hundred", "thousand"};

// The words that announce a spoken self-correction ("Monday, no wait, Tuesday"), as
// case-insensitive regular-expression alternatives; a pattern adds the cues only it accepts.
inline constexpr std::string_view kCorrectionCues = "no|wait|actually|sorry|I mean|I meant|scratch that|correction";

// The lists joined as regular-expression alternatives ("a|b|c"), in the order given.
inline std::string alternatives(std::initializer_list<std::span<const std::string_view>> lists) {
  std::string joined;
  for (auto list : lists) {
    for (std::string_view word : list) {
      if (!joined.empty()) joined += '|';
      joined += word;
    }
  }
  return joined;
}

inline std::span<const std::string_view> tenWord() { return {&kTenWord, 1}; }

}  // namespace murvelo::cleanup
