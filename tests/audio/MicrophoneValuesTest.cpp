#include <gtest/gtest.h>

#include "audio/MicrophoneSelection.h"
#include "audio/MicrophoneStartupHistory.h"

namespace murvelo {
namespace {

TEST(MicrophoneSelectionTest, ParsesExactlyTheThreeStoredForms) {
  const std::pair<const char*, std::optional<MicrophoneSelection>> cases[] = {
      {"built-in", MicrophoneSelection::builtIn()},
      {"system", MicrophoneSelection::systemDefault()},
      {"device:x", MicrophoneSelection::device("x")},
      {"device:device:y", MicrophoneSelection::device("device:y")},
      {"device:", std::nullopt},  // seven characters: no identifier
      {"Built-in", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& [stored, expected] : cases) {
    EXPECT_EQ(MicrophoneSelection::fromStoredString(stored), expected) << stored;
    if (expected) {
      EXPECT_EQ(expected->storedString(), stored);
    }
  }
}

TEST(MicrophoneStartupHistoryTest, KeepsTheLastFiveAndTakesTheUpperMedian) {
  struct Case {
    std::vector<std::int64_t> recorded;
    std::vector<std::int64_t> kept;
    std::optional<std::int64_t> median;
  };
  const Case cases[] = {
      {{100, 200, 300, 400, 500, 600}, {200, 300, 400, 500, 600}, 400},
      {{100, 300}, {100, 300}, 300},  // upper of the two middle values, no averaging
      {{500, 100, 300}, {500, 100, 300}, 300},
      {{60001}, {}, std::nullopt},
      {{60000}, {60000}, 60000},
      {{}, {}, std::nullopt},
  };
  for (const Case& c : cases) {
    MicrophoneStartupHistory history;
    for (auto ms : c.recorded) history.record("mic", ms);
    EXPECT_EQ(history.samples.contains("mic") ? history.samples.at("mic") : std::vector<std::int64_t>{},
              c.kept);
    EXPECT_EQ(history.median("mic"), c.median);
  }
}

TEST(MicrophoneStartupHistoryTest, IgnoresEmptyDeviceAndCodesAsSamplesJson) {
  MicrophoneStartupHistory history;
  EXPECT_FALSE(history.record("", 100));
  EXPECT_TRUE(history.samples.empty());
  EXPECT_FALSE(history.median("unknown"));

  history.record("a", 10);
  history.record("b", 20);
  Bytes data = history.encode();
  EXPECT_EQ(std::string(data.begin(), data.end()), R"({"samples":{"a":[10],"b":[20]}})");
  EXPECT_EQ(MicrophoneStartupHistory::decode(data), history);

  for (const char* bad : {"", "[]", R"({"samples":[]})", R"({"samples":{"a":["x"]}})", R"({"other":{}})"}) {
    EXPECT_FALSE(MicrophoneStartupHistory::decode(Bytes(bad, bad + std::strlen(bad)))) << bad;
  }
}

}  // namespace
}  // namespace murvelo
