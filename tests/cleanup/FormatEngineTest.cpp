#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "cleanup/DeterministicFormat.h"
#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"
#include "support/DictationGenerator.h"
#include "support/LayoutDictationGenerator.h"
#include "support/Sanitizer.h"
#include "support/TidyLevel.h"

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
      {"hi john, thanks for the update. talk soon. ben",
       "Hi John,\n\nThanks for the update.\n\nTalk soon,\nBen"},
      {"hi john thanks for the update", "Hi John,\n\nThanks for the update."},
      {"the first thing is the budget. the second thing is hiring. let me know what you think",
       "The first thing is the budget.\nThe second thing is hiring.\n\nLet me know what you think."},
      {"i need three things colon buy milk semicolon call mom semicolon pay rent",
       "I need three things:\nbuy milk;\ncall mom;\npay rent."},
      {"let's meet monday at 3, no wait, tuesday at 4. separately, the budget is fine",
       "Let's meet Tuesday at 4.\n\nSeparately, the budget is fine."},
      {"we should talk about the", "We should talk about the"},
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

TEST(FormatEngine, LayoutOnlyWithBothOptions) {
  const std::string raw = "hi john, thanks for the update. separately, the car is fixed";
  const FormatResult laidOut = kFormat.format(raw, true, true);
  EXPECT_NE(laidOut.text.find('\n'), std::string::npos);
  for (const auto& [a, b] : {std::pair{true, false}, std::pair{false, true}, std::pair{false, false}}) {
    const FormatResult plain = kFormat.format(raw, a, b);
    EXPECT_FALSE(plain.rejection);
    EXPECT_EQ(plain.text.find('\n'), std::string::npos) << a << b;
    EXPECT_FALSE(hasRule(plain, "email-greeting"));
  }
}

bool phraseRuleFired(const FormatResult& result) {
  return hasRule(result, "parenthetical-filler") || hasRule(result, "atomic-determiner-filler-restart");
}

constexpr int kInputs = test::kUnderSanitizer ? 300 : 1500;
constexpr double kLimitMillis = test::kUnderSanitizer ? 1000 : 100;

double millisToFormat(const std::string& raw, FormatResult& out) {
  const auto start = std::chrono::steady_clock::now();
  out = kFormat.format(raw, true, true);
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// The inputs of the Tidy robustness test (plausible dictation and hostile soup from the Tidy
// generator, mostly dictation-sized, some long, a few past the length limit), mixed with e-mail
// and list shaped dictations that keep the layout stages busy.
std::string nextInput(std::uint32_t seed, test::LayoutDictationGenerator& shaped) {
  if (seed % 3 == 0) return shaped.next();
  testing::DictationGenerator generator(seed, seed % 2 == 0 ? 0.35 : 0.6);
  if (seed % 2 == 0) return generator.dictation(1 + generator.pick(80));
  const std::size_t kind = generator.pick(100);
  return generator.hostile(kind < 90 ? 300 : kind < 99 ? 2000 : 9000);
}

// Over randomised dictations: an accepted Format text has the words, numbers and question marks
// of the Tidy text of the same transcript (layout only moves white space, marks and case); nothing
// crashes and no input takes long.
TEST(FormatEngineProperty, AcceptedFormatKeepsTidyWordsNumbersAndQuestions) {
  test::LayoutDictationGenerator shaped(4243);
  int accepted = 0;
  for (std::uint32_t seed = 1; seed <= kInputs; ++seed) {
    const std::string raw = nextInput(seed, shaped);
    FormatResult result;
    double millis = millisToFormat(raw, result);
    // A busy machine can stall any one call; a slow input is slow every time.
    if (millis > kLimitMillis) millis = std::min(millis, millisToFormat(raw, result));
    EXPECT_LE(millis, kLimitMillis) << "seed " << seed << ": " << raw.size() << " bytes";
    if (result.rejection) continue;
    ++accepted;
    if (phraseRuleFired(result)) continue;
    const std::string tidied = test::tidyLevel(raw);
    const auto violation = layoutInvariantViolation(result.text, tidied);
    // An empty transcript stays empty on both levels.
    if (violation == std::optional<std::string>("empty") && tidied.empty()) continue;
    EXPECT_FALSE(violation) << "seed " << seed << "\nTidy:   " << tidied << "\nFormat: " << result.text;
  }
  EXPECT_GT(accepted, kInputs / 2);
}

}  // namespace
}  // namespace murvelo::cleanup
