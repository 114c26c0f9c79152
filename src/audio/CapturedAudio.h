#pragma once

#include <memory>
#include <optional>
#include <vector>

namespace murvelo {

// The format of captured buffers: 32-bit float, mono, at the capture rate.
struct AudioFormat {
  double sampleRate = 48000;
  int channels = 1;

  bool operator==(const AudioFormat&) const = default;
};

// One buffer of mono float samples. Shared, never copied: the same buffer goes to the capture's
// record and to the live stream.
using AudioBuffer = std::shared_ptr<const std::vector<float>>;

// The buffers of one capture, in arrival order, from the first buffer with real audio onward.
struct CapturedAudio {
  std::vector<AudioBuffer> buffers;
  std::optional<AudioFormat> format;
};

}  // namespace murvelo
