#pragma once

#include <optional>
#include <string>

#include "audio/CaptureSession.h"
#include "audio/MicrophoneSelection.h"

namespace murvelo {

// The input a capture uses, and whether the built-in microphone stood in for a Bluetooth default.
struct ResolvedDevice {
  CaptureDevice device;
  bool didSubstituteBuiltInMic = false;
  std::string bypassedDeviceName;  // the Bluetooth default passed over; empty otherwise
};

// Picks the input for `selection`. A chosen device that is absent falls back to the default; the
// built-in choice without a built-in input uses the default; without a default, the first input.
// No value when there is no input at all.
std::optional<ResolvedDevice> resolveDevice(const DeviceList& found, const MicrophoneSelection& selection);

}  // namespace murvelo
