#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/DefaultsStore.h"

namespace murvelo {

// How long recent microphone starts took, per device, in whole milliseconds, oldest first.
// Coded as JSON {"samples": {"<device id>": [ms, ...]}}.
struct MicrophoneStartupHistory {
  static constexpr std::int64_t kMaxSampleMs = 60000;
  static constexpr std::size_t kKeptSamples = 5;

  std::map<std::string, std::vector<std::int64_t>> samples;

  // Adds one start; ignores an empty device identifier and starts above a minute.
  // Returns whether the sample was kept.
  bool record(std::string_view deviceID, std::int64_t ms);
  // The upper median of the device's samples (index count / 2 after sorting), if any.
  std::optional<std::int64_t> median(std::string_view deviceID) const;

  Bytes encode() const;
  // No value when the bytes are not a history (the settings then start with an empty one).
  static std::optional<MicrophoneStartupHistory> decode(const Bytes& data);

  bool operator==(const MicrophoneStartupHistory&) const = default;
};

inline constexpr std::string_view kMicrophoneStartupHistoryKey = "microphoneStartupHistory";

}  // namespace murvelo
