#include <gtest/gtest.h>

#include <chrono>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/layout/LayoutChain.h"
#include "support/LayoutDictationGenerator.h"
#include "support/Sanitizer.h"

namespace murvelo::cleanup::layout {
namespace {

constexpr int kInputs = test::kUnderSanitizer ? 300 : 1500;
constexpr auto kLimit = std::chrono::milliseconds(test::kUnderSanitizer ? 1000 : 100);

bool phraseRuleFired(const FormatResult& result) {
  for (const auto& edit : result.edits) {
    if (edit.rule == "parenthetical-filler" || edit.rule == "atomic-determiner-filler-restart" ||
        edit.rule == "restore-unfinished-ending") {
      return true;
    }
  }
  return false;
}

// Layout moves only white space, punctuation and case: every accepted result keeps the words,
// numbers and question marks of what entered it, and no input takes long.
TEST(FormatLayoutProperty, AcceptedLayoutKeepsWordsNumbersAndQuestions) {
  test::LayoutDictationGenerator generator(20261123);
  int laidOut = 0;
  for (int i = 0; i < kInputs; ++i) {
    const std::string input = generator.next();
    auto started = std::chrono::steady_clock::now();
    FormatResult result = layout(input, input, true);
    auto took = std::chrono::steady_clock::now() - started;
    if (took > kLimit) {  // a busy machine can stall any one call; a slow input is slow every time
      started = std::chrono::steady_clock::now();
      result = layout(input, input, true);
      took = std::min(took, std::chrono::steady_clock::now() - started);
    }
    EXPECT_LE(took, kLimit) << input;
    if (result.rejection) {
      // Only the safety nets may refuse generated text, never a guard on its own input.
      EXPECT_EQ(result.rejection->rfind("layout-", 0), 0u) << input << " -> " << *result.rejection;
      continue;
    }
    if (result.text != input) ++laidOut;
    if (phraseRuleFired(result)) continue;
    EXPECT_FALSE(layoutInvariantViolation(result.text, input)) << input << "\n=>\n" << result.text;
  }
  // The generator is meant to exercise layout, not to pass texts through untouched.
  EXPECT_GT(laidOut, kInputs / 3);
}

}  // namespace
}  // namespace murvelo::cleanup::layout
