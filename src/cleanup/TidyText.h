#pragma once

#include <unicode/unistr.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace murvelo::cleanup {

// Small text helpers shared by the Tidy stages.

// Lower-cased UTF-8 of a UTF-16 text.
std::string lowerUtf8(const icu::UnicodeString& text);

// A word's core: lower case, with quotes, brackets and the marks ".,!?;:…" stripped from both edges.
std::string wordCore(const icu::UnicodeString& token);

// A cheap test run before a rule's regular expression: every group must have at least one of its
// literals in the lower-cased text. An empty prefilter always passes.
struct Prefilter {
  std::vector<std::vector<std::u16string_view>> allOf;

  bool admits(const icu::UnicodeString& lowerText) const;
};

// Literal groups used by several prefilters.
extern const std::vector<std::u16string_view> kDigitOrSpelledNumber;
extern const std::vector<std::u16string_view> kDigits;

}  // namespace murvelo::cleanup
