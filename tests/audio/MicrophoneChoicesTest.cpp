#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "audio/InputLevel.h"
#include "audio/MicrophoneChoices.h"

namespace murvelo {
namespace {

// A chosen device that is unplugged: see the settings window's test.
TEST(MicrophoneChoices, MenuHintsAndNotesFollowTheDevicesPresent) {
  const CaptureDevice laptop{"alsa_input.pci", "Laptop Microphone", true};
  const CaptureDevice headset{"bluez_input.aa", "Headset", false, true};
  MicrophoneStartupHistory history;
  history.record(laptop.id, 120);
  history.record(laptop.id, 300);
  auto choices =
      listMicrophoneChoices({{laptop, headset}, headset.id}, MicrophoneSelection::builtIn(), history);
  std::vector<std::string> labels;
  for (const auto& entry : choices.entries) labels.push_back(entry.label);
  EXPECT_EQ(labels,
            (std::vector<std::string>{MicrophoneChoices::kBuiltInLabel, "System default input (Headset)",
                                      "Laptop Microphone", "Headset"}));
  EXPECT_EQ(choices.selected, 0u);
  EXPECT_NE(choices.entries[0].hint.find("about 300 ms"), std::string::npos)
      << "built-in leads to the laptop";
  EXPECT_EQ(choices.entries[1].hint, MicrophoneChoices::kNoTimes) << "the default is the headset";

  auto none = listMicrophoneChoices({}, MicrophoneSelection::systemDefault(), history);
  EXPECT_EQ(std::tuple(none.entries.size(), none.selected, none.note),
            std::tuple(2u, 1u, MicrophoneChoices::kNoInputs));
}

TEST(InputLevel, MeterReadsRmsOnASixtyDecibelScale) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    std::vector<float> samples;
    double db;
    double fraction;
  };
  const Case cases[] = {
      {{}, -60, 0},
      {{1, -1, 1, -1}, 0, 1},
      {{0.1f, -0.1f}, -20, 2.0 / 3},
      {{0.001f, -0.001f}, -60, 0},
      {{nan, 0.1f, -0.1f}, -20, 2.0 / 3},
  };
  for (const auto& c : cases) {
    double db = InputLevel::rmsDb(c.samples);
    EXPECT_NEAR(db, c.db, 0.01) << c.samples.size();
    EXPECT_NEAR(InputLevel::meterFraction(db), c.fraction, 0.01);
  }
  EXPECT_EQ(InputLevel::meterFraction(6), 1);
  EXPECT_EQ(InputLevel::meterFraction(-std::numeric_limits<double>::infinity()), 0);
}

}  // namespace
}  // namespace murvelo
