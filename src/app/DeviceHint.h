#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "audio/Recorder.h"

namespace murvelo {

class DefaultsStore;

// A one-time notice about a slow-waking Bluetooth microphone, prepared from a capture's facts and
// shown once per device and kind per installation.
struct DeviceHint {
  std::string text;
  std::string shownKey;  // device name + "|substituted" or "|bluetooth"

  static constexpr std::string_view kShownKey = "btMicNoticeShownFor";

  // The hint a capture calls for, if any.
  static std::optional<DeviceHint> prepare(const RecorderFacts& facts);
  // True (and remembered) when this hint has not been shown on this installation yet.
  bool claim(DefaultsStore& defaults) const;

  bool operator==(const DeviceHint&) const = default;
};

}  // namespace murvelo
