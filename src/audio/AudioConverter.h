#pragma once

#include <memory>
#include <span>
#include <vector>

#include "audio/CapturedAudio.h"

namespace murvelo {

// Converts a stream of capture buffers to the recogniser's format (mono float at its analysis
// rate) with a very-high-quality resampler. Keeps the resampler's history between buffers, so
// the stream is converted as one signal, never buffer by buffer.
class AudioConverter {
 public:
  // No converter when either format is unusable (no rate, no channels).
  static std::unique_ptr<AudioConverter> make(const AudioFormat& from, double toSampleRate);
  ~AudioConverter();
  AudioConverter(const AudioConverter&) = delete;
  AudioConverter& operator=(const AudioConverter&) = delete;

  // Appends the converted samples of one buffer (interleaved when it has several channels) to
  // `out`. False when the resampler fails; the buffer is then lost, the stream goes on.
  bool convert(std::span<const float> input, std::vector<float>& out);
  // Appends what the resampler still holds at the end of the stream.
  bool flush(std::vector<float>& out);

  double ratio() const { return ratio_; }

 private:
  AudioConverter(int channels, double ratio, void* resampler);
  bool process(const float* input, std::size_t frames, std::vector<float>& out);

  int channels_;
  double ratio_;
  void* resampler_;  // soxr_t; none when the rates match
  std::vector<float> mono_;
};

// Converts a whole recording at once.
std::vector<float> convertAll(std::span<const float> samples, const AudioFormat& from, double toSampleRate);

}  // namespace murvelo
