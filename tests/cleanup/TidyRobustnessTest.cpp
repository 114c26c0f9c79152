#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/DefaultsStore.h"
#include "base/TextTrim.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"
#include "cleanup/DictationTextSafety.h"
#include "support/DictationGenerator.h"
#include "support/Sanitizer.h"

namespace murvelo {
namespace {

constexpr int kInputs = test::kUnderSanitizer ? 3000 : 20000;
constexpr double kLimitMillis = test::kUnderSanitizer ? 1000 : 100;

// Mostly dictation-sized inputs, some long ones, a few at and past the 8000-character limit.
std::size_t pickLength(testing::DictationGenerator& generator) {
  const std::size_t kind = generator.pick(100);
  if (kind < 90) return 300;
  if (kind < 99) return 2000;
  return 9000;
}

// Every literal of the input is still there, in order (a correction may add one, as "node js" to
// "Node.js", never take one away).
bool keepsLiterals(const std::string& output, const std::string& input) {
  const auto kept = cleanup::protectedLiterals(output);
  std::size_t at = 0;
  for (const auto& literal : cleanup::protectedLiterals(input)) {
    while (at < kept.size() && kept[at] != literal) ++at;
    if (at == kept.size()) return false;
    ++at;
  }
  return true;
}

// The work one input costs, in processor time of this thread: a busy machine stretches wall time,
// not this.
double threadMillis() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double millisToClean(const CleanupStep& step, const std::string& raw, CleanedTranscript& out) {
  const double start = threadMillis();
  out = step.clean(raw, CleanupLevel::light, true, true);
  return threadMillis() - start;
}

TEST(TidyRobustness, GeneratedDictationsNeitherCrashNorHangNorLoseLiterals) {
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary(store);
  const CleanupStep step(nullptr, dictionary);
  int checked = 0;
  for (std::uint32_t seed = 1; checked < kInputs; ++seed) {
    testing::DictationGenerator generator(seed, seed % 2 == 0 ? 0.35 : 0.6);
    // Half the inputs are plausible dictation, half hostile byte soup built from the same pieces.
    const std::string input = seed % 2 == 0 ? generator.dictation(1 + generator.pick(80))
                                            : generator.hostile(pickLength(generator));
    const std::string raw = trimWhitespaceAndNewlines(input);  // as the controller hands it over
    CleanedTranscript cleaned;
    const double millis = millisToClean(step, raw, cleaned);
    ++checked;
    ASSERT_LE(millis, kLimitMillis) << "seed " << seed << ": " << raw.size() << " bytes";
    ASSERT_TRUE(keepsLiterals(cleaned.text, raw)) << "seed " << seed << ": " << cleaned.text;
  }
  EXPECT_EQ(checked, kInputs);
}

// Runs of what the word passes drop or merge: the time must grow with the length, no faster.
TEST(TidyRobustness, LongRunsOfMarksAndFillersCostLinearTime) {
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary(store);
  const CleanupStep step(nullptr, dictionary);
  auto repeat = [](const std::string& piece, std::size_t length) {
    std::string out;
    while (out.size() < length) out += piece;
    return out;
  };
  const std::string inputs[] = {repeat(", ", 40000), repeat("so um ", 40000), repeat("one comma ", 40000),
                                repeat("a !! ", 40000)};
  for (const auto& input : inputs) {
    CleanedTranscript cleaned;
    const double millis = millisToClean(step, trimWhitespaceAndNewlines(input), cleaned);
    EXPECT_LE(millis, kLimitMillis * static_cast<double>(input.size()) / 8000) << input.substr(0, 12);
    EXPECT_FALSE(cleaned.text.empty());
  }
}

}  // namespace
}  // namespace murvelo
