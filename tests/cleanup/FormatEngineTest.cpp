#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cleanup/DeterministicFormat.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"

namespace murvelo::cleanup {
namespace {

const DeterministicFormat kFormat;

bool hasRule(const FormatResult& result, const std::string& rule) {
  for (const auto& edit : result.edits) {
    if (edit.rule == rule) return true;
  }
  return false;
}

TEST(FormatEngine, DictatedMessagesAreLaidOut) {
  struct Case {
    const char* raw;
    const char* expected;
  };
  const Case cases[] = {
      {"i need three things colon buy milk semicolon call mom semicolon pay rent",
       "I need three things:\nbuy milk;\ncall mom;\npay rent."},
      {"let's meet monday at 3, no wait, tuesday at 4. separately, the budget is fine",
       "Let's meet Tuesday at 4.\n\nSeparately, the budget is fine."},
  };
  for (const auto& c : cases) {
    const FormatResult result = kFormat.format(c.raw, true, true);
    EXPECT_FALSE(result.rejection) << c.raw;
    EXPECT_EQ(result.text, c.expected) << c.raw;
  }
}

TEST(FormatEngine, EditsListTidyFirstThenLayout) {
  const FormatResult result = kFormat.format("hi john, thanks for the update. talk soon. ben", true, true);
  ASSERT_FALSE(result.edits.empty());
  EXPECT_EQ(result.edits.back().rule, "email-courtesy-paragraph");
  EXPECT_TRUE(hasRule(result, "sentence-capitals"));
  EXPECT_TRUE(hasRule(result, "email-greeting"));
}

}  // namespace
}  // namespace murvelo::cleanup
