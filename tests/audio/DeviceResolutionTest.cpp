#include <gtest/gtest.h>

#include "audio/DeviceResolution.h"

namespace murvelo {
namespace {

CaptureDevice input(std::string id, bool builtIn, bool bluetooth) {
  CaptureDevice d;
  d.id = id;
  d.name = "name of " + id;
  d.isBuiltIn = builtIn;
  d.isBluetooth = bluetooth;
  return d;
}

TEST(DeviceResolutionTest, PicksTheInputForEachSelection) {
  const CaptureDevice internal = input("internal", true, false);
  const CaptureDevice usb = input("usb", false, false);
  const CaptureDevice headset = input("headset", false, true);
  struct Case {
    const char* what;
    std::vector<CaptureDevice> devices;
    std::optional<std::string> defaultID;
    MicrophoneSelection selection;
    std::optional<std::string> expected;  // none: no microphone
    bool substituted;
  };
  const Case cases[] = {
      {"built-in over a wired default",
       {internal, usb},
       "usb",
       MicrophoneSelection::builtIn(),
       "internal",
       false},
      {"built-in over a bluetooth default",
       {internal, headset},
       "headset",
       MicrophoneSelection::builtIn(),
       "internal",
       true},
      {"no built-in: the bluetooth default",
       {usb, headset},
       "headset",
       MicrophoneSelection::builtIn(),
       "headset",
       false},
      {"system default even when bluetooth",
       {internal, headset},
       "headset",
       MicrophoneSelection::systemDefault(),
       "headset",
       false},
      {"chosen device present",
       {internal, usb},
       "internal",
       MicrophoneSelection::device("usb"),
       "usb",
       false},
      {"chosen device absent: default",
       {internal, headset},
       "headset",
       MicrophoneSelection::device("usb"),
       "headset",
       false},
      {"default is not an input: first input",
       {usb, internal},
       "monitor",
       MicrophoneSelection::systemDefault(),
       "usb",
       false},
      {"no default at all: first input",
       {usb},
       std::nullopt,
       MicrophoneSelection::device("gone"),
       "usb",
       false},
      {"nothing", {}, std::nullopt, MicrophoneSelection::builtIn(), std::nullopt, false},
      {"default named but nothing found",
       {},
       "monitor",
       MicrophoneSelection::systemDefault(),
       std::nullopt,
       false},
  };
  for (const auto& c : cases) {
    DeviceList found{c.devices, c.defaultID};
    auto resolved = resolveDevice(found, c.selection);
    ASSERT_EQ(resolved.has_value(), c.expected.has_value()) << c.what;
    if (!resolved) continue;
    EXPECT_EQ(resolved->device.id, *c.expected) << c.what;
    EXPECT_EQ(resolved->didSubstituteBuiltInMic, c.substituted) << c.what;
    EXPECT_EQ(resolved->bypassedDeviceName, c.substituted ? "name of headset" : "") << c.what;
  }
}

}  // namespace
}  // namespace murvelo
