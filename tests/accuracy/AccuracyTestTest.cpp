#include <gtest/gtest.h>

#include "accuracy/AccuracyTest.h"
#include "base/DefaultsStore.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;

TEST(AccuracyTest, MissedWordsAndTheWeightedOverallScore) {
  struct Case {
    const char* reference;
    const char* heard;
    std::vector<std::string> missed;
  };
  const Case cases[] = {
      {"Go forward ten meters.", "go forward to meters", {"ten"}},
      {"It costs $12.05.", "it costs twelve dollars", {"12", "5", "cents"}},
      {"Thanks.", "thanks a lot", {}},
  };
  std::vector<PhraseScore> scores;
  for (const auto& c : cases) {
    scores.push_back(scorePhrase(c.reference, c.heard));
    EXPECT_EQ(scores.back().missedWords, c.missed) << c.heard;
  }
  // Every error over every reference word: 1 + 3 + 2 errors in 4 + 6 + 1 words.
  const AccuracySummary summary = summarize(scores);
  EXPECT_EQ(std::tuple(summary.errors, summary.referenceWords, summary.phrases), std::tuple(6, 11, 3));
  EXPECT_NEAR(summary.accuracyPercent(), 100.0 * 5 / 11, 1e-9);
  EXPECT_EQ((AccuracySummary{5, 2, 1}.accuracyPercent()), 0.0) << "insertions never make it negative";
}

TEST(AccuracyTest, ProgressKeepsFourteenDaysOfFiguresOnly) {
  InMemoryDefaultsStore defaults;
  AccuracyProgress::TimePoint now(1'790'000'000'000ms);
  AccuracyProgress progress(defaults, [&] { return now; });
  progress.load();
  EXPECT_TRUE(progress.entries().empty());
  EXPECT_TRUE(progress.add({}).isOk());
  EXPECT_FALSE(defaults.contains(AccuracyProgress::kKey)) << "an empty test is not a result";

  ASSERT_TRUE(progress.add({3, 40, 4}));
  now += 24h;
  ASSERT_TRUE(progress.add({1, 40, 4}));
  ASSERT_EQ(progress.entries().size(), 2u);
  EXPECT_EQ(progress.entries()[0].errors, 1) << "newest first";

  // Time after the second test, and the results kept: the first test is 14 days old at 13 days
  // after the second, and a second older after that.
  const std::pair<std::chrono::seconds, std::size_t> cases[] = {
      {13 * 24h, 2}, {13 * 24h + 1s, 1}, {14 * 24h + 1s, 0}};
  for (const auto& [after, kept] : cases) {
    AccuracyProgress later(defaults, [&] { return now + after; });
    later.load();
    EXPECT_EQ(later.entries().size(), kept) << after.count();
  }
  EXPECT_EQ(defaults.data(AccuracyProgress::kKey)->size(), 2u) << "dropping old results is saved: []";

  const std::string damaged = R"([{"date": 1, "errors": "x"}, 7, {"date": )" +
                              std::to_string(1'790'000'000'000) +
                              R"(, "errors": 2, "referenceWords": 9, "phrases": 1}])";
  defaults.setData(AccuracyProgress::kKey, Bytes(damaged.begin(), damaged.end()));
  AccuracyProgress reread(defaults, [&] { return now; });
  reread.load();
  ASSERT_EQ(reread.entries().size(), 1u) << "a damaged result costs only itself";
  EXPECT_EQ(reread.entries()[0].referenceWords, 9);
}

}  // namespace
}  // namespace murvelo
