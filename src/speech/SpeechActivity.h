#pragma once

#include <span>

namespace murvelo {

// A cheap test of whether a recording holds speech at all: something louder than near-silence,
// and loudness that rises and falls the way syllables do, unlike steady hiss or hum. Whisper
// invents words ("Thank you.") for silence and noise; this gate keeps them out.
struct SpeechActivity {
  static constexpr double kFrameSeconds = 0.02;
  static constexpr double kSilenceDb = -50;    // frames below this are silence
  static constexpr double kModulationDb = 12;  // speech varies at least this much
  static constexpr double kMinActiveSeconds = 0.1;

  // The RMS level of a stretch of samples in dB (full scale = 0).
  static double levelDb(std::span<const float> samples);
  static bool hasSpeech(std::span<const float> samples, double sampleRate);
  // The sample index, between `from` and `to`, at the middle of the quietest frame: where a
  // long recording can be cut into pieces without splitting a word, as far as possible.
  static std::size_t quietestPoint(std::span<const float> samples, double sampleRate, std::size_t from,
                                   std::size_t to);
};

}  // namespace murvelo
