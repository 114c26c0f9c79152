// Randomised dictations through the cleanup levels: nothing crashes, no input takes long, and
// what comes out keeps what it must.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/DefaultsStore.h"
#include "base/TextTrim.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"
#include "cleanup/DeterministicFormat.h"
#include "cleanup/DictationTextSafety.h"
#include "support/DictationGenerator.h"
#include "support/LayoutDictationGenerator.h"
#include "support/Sanitizer.h"
#include "support/TidyLevel.h"

namespace murvelo::cleanup {
namespace {

constexpr double kLimitMillis = test::kUnderSanitizer ? 1000 : 100;

// The processor time of this thread that `work` costs: a busy machine stretches wall time, not this.
template <typename Work>
double millisOf(Work work) {
  auto now = [] {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
  };
  const double start = now();
  work();
  return now() - start;
}

// Plausible dictation or hostile soup from the Tidy generator: mostly dictation-sized, some long,
// a few past the 8000-character limit.
std::string tidyInput(std::uint32_t seed) {
  testing::DictationGenerator generator(seed, seed % 2 == 0 ? 0.35 : 0.6);
  if (seed % 2 == 0) return generator.dictation(1 + generator.pick(80));
  const std::size_t kind = generator.pick(100);
  return generator.hostile(kind < 90 ? 300 : kind < 99 ? 2000 : 9000);
}

// Every literal of the input is still there, in order (a correction may add one, as "node js" to
// "Node.js", never take one away).
bool keepsLiterals(const std::string& output, const std::string& input) {
  const auto kept = protectedLiterals(output);
  std::size_t at = 0;
  for (const auto& literal : protectedLiterals(input)) {
    while (at < kept.size() && kept[at] != literal) ++at;
    if (at == kept.size()) return false;
    ++at;
  }
  return true;
}

class CleanupProperty : public ::testing::Test {
 protected:
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary{store};
  const CleanupStep step{nullptr, dictionary};
};

TEST_F(CleanupProperty, TidyNeitherCrashesNorHangsNorLosesLiterals) {
  const std::uint32_t inputs = test::kUnderSanitizer ? 3000 : 20000;
  for (std::uint32_t seed = 1; seed <= inputs; ++seed) {
    const std::string raw = trimWhitespaceAndNewlines(tidyInput(seed));  // as the controller hands it over
    CleanedTranscript cleaned;
    const double millis = millisOf([&] { cleaned = step.clean(raw, CleanupLevel::light, true, true); });
    ASSERT_LE(millis, kLimitMillis) << "seed " << seed << ": " << raw.size() << " bytes";
    ASSERT_TRUE(keepsLiterals(cleaned.text, raw)) << "seed " << seed << ": " << cleaned.text;
  }
}

// Runs of what the word passes drop or merge: the time must grow with the length, no faster.
TEST_F(CleanupProperty, LongRunsOfMarksAndFillersCostLinearTime) {
  for (const std::string piece : {", ", "so um ", "one comma ", "a !! "}) {
    std::string input;
    while (input.size() < 40000) input += piece;
    CleanedTranscript cleaned;
    const double millis = millisOf(
        [&] { cleaned = step.clean(trimWhitespaceAndNewlines(input), CleanupLevel::light, true, true); });
    EXPECT_LE(millis, kLimitMillis * static_cast<double>(input.size()) / 8000) << piece;
    EXPECT_FALSE(cleaned.text.empty());
  }
}

// An accepted Format text has the words, numbers and question marks of the Tidy text of the same
// transcript (layout only moves white space, marks and case). The Tidy inputs are mixed with e-mail
// and list shaped dictations that keep the layout stages busy.
TEST(FormatProperty, AcceptedFormatKeepsTidyWordsNumbersAndQuestions) {
  const DeterministicFormat format;
  const std::uint32_t inputs = test::kUnderSanitizer ? 300 : 1500;
  test::LayoutDictationGenerator shaped(4243);
  std::uint32_t accepted = 0;
  for (std::uint32_t seed = 1; seed <= inputs; ++seed) {
    const std::string raw = seed % 3 == 0 ? shaped.next() : tidyInput(seed);
    FormatResult result;
    const double millis = millisOf([&] { result = format.format(raw, true, true); });
    EXPECT_LE(millis, kLimitMillis) << "seed " << seed << ": " << raw.size() << " bytes";
    if (result.rejection) continue;
    ++accepted;
    // The phrase rules drop words by design.
    if (std::any_of(result.edits.begin(), result.edits.end(), [](const FormatEdit& edit) {
          return edit.rule == "parenthetical-filler" || edit.rule == "atomic-determiner-filler-restart";
        }))
      continue;
    const std::string tidied = test::tidyLevel(raw);
    const auto violation = layoutInvariantViolation(result.text, tidied);
    // An empty transcript stays empty on both levels.
    if (violation == std::optional<std::string>("empty") && tidied.empty()) continue;
    EXPECT_FALSE(violation) << "seed " << seed << "\nTidy:   " << tidied << "\nFormat: " << result.text;
  }
  EXPECT_GT(accepted, inputs / 2);
}

}  // namespace
}  // namespace murvelo::cleanup
