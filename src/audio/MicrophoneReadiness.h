#pragma once

#include <cstdint>

namespace murvelo {

// Whether the microphone of a given capture is running and delivering audio.
struct MicrophoneReadiness {
  std::int64_t generation = 0;  // which capture this state belongs to
  bool active = false;
  bool isReady = false;

  bool operator==(const MicrophoneReadiness&) const = default;
};

}  // namespace murvelo
