#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cleanup/DeterministicFormat.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"

namespace murvelo::cleanup {
namespace {

const DeterministicFormat kFormat;

// The transcript is tidied, corrected, then laid out, and the edits say so in that order.
TEST(FormatEngine, TidiesCorrectsThenLaysOut) {
  struct Case {
    const char* raw;
    const char* expected;
    std::vector<std::string> lastEdits;
  };
  const Case cases[] = {
      {"i need three things colon buy milk semicolon call mom semicolon pay rent",
       "I need three things:\nbuy milk;\ncall mom;\npay rent.",
       {}},
      {"let's meet monday at 3, no wait, tuesday at 4. separately, the budget is fine",
       "Let's meet Tuesday at 4.\n\nSeparately, the budget is fine.",
       {"sentence-capitals", "explicit-schedule-correction", "explicit-topic-break"}},
  };
  for (const auto& c : cases) {
    const FormatResult result = kFormat.format(c.raw, true, true);
    EXPECT_FALSE(result.rejection) << c.raw;
    EXPECT_EQ(result.text, c.expected) << c.raw;
    std::vector<std::string> rules;
    for (const auto& edit : result.edits) rules.push_back(edit.rule);
    if (rules.size() > c.lastEdits.size()) rules.erase(rules.begin(), rules.end() - c.lastEdits.size());
    EXPECT_EQ(rules, c.lastEdits) << c.raw;
  }
}

}  // namespace
}  // namespace murvelo::cleanup
