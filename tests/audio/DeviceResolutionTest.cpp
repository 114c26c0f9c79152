#include <gtest/gtest.h>

#include <sstream>

#include "audio/DeviceResolution.h"

namespace murvelo {
namespace {

TEST(DeviceResolutionTest, PicksTheInputForEachSelection) {
  // Inputs by id: "internal" is built in, "headset" is Bluetooth, "usb" is neither.
  auto inputs = [](const std::string& ids) {
    std::vector<CaptureDevice> devices;
    std::istringstream words(ids);
    for (std::string id; words >> id;)
      devices.push_back({id, "name of " + id, id == "internal", id == "headset"});
    return devices;
  };
  struct Case {
    const char* what;
    const char* devices;
    std::optional<std::string> defaultID;
    const char* selection;                // as stored
    std::optional<std::string> expected;  // none: no microphone
    bool substituted;
  };
  const Case cases[] = {
      {"built-in over a wired default", "internal usb", "usb", "built-in", "internal", false},
      {"built-in over a bluetooth default", "internal headset", "headset", "built-in", "internal", true},
      {"no built-in: the bluetooth default", "usb headset", "headset", "built-in", "headset", false},
      {"system default even when bluetooth", "internal headset", "headset", "system", "headset", false},
      {"chosen device present", "internal usb", "internal", "device:usb", "usb", false},
      {"chosen device absent: default", "internal headset", "headset", "device:usb", "headset", false},
      {"default is not an input: first input", "usb internal", "monitor", "system", "usb", false},
      {"nothing", "", std::nullopt, "built-in", std::nullopt, false},
  };
  for (const auto& c : cases) {
    DeviceList found{inputs(c.devices), c.defaultID};
    auto resolved = resolveDevice(found, *MicrophoneSelection::fromStoredString(c.selection));
    ASSERT_EQ(resolved.has_value(), c.expected.has_value()) << c.what;
    if (!resolved) continue;
    EXPECT_EQ(resolved->device.id, *c.expected) << c.what;
    EXPECT_EQ(resolved->didSubstituteBuiltInMic, c.substituted) << c.what;
    EXPECT_EQ(resolved->bypassedDeviceName, c.substituted ? "name of headset" : "") << c.what;
  }
}

}  // namespace
}  // namespace murvelo
