#pragma once

#include <span>

namespace murvelo {

// How loud a stretch of microphone audio is, for a level meter: the RMS in dB below full scale,
// shown on a scale from -60 dB (empty) to 0 dB (full). Silence and no audio read as empty.
struct InputLevel {
  static constexpr double kFloorDb = -60;

  static double rmsDb(std::span<const float> samples);
  // 0..1 on the meter's scale.
  static double meterFraction(double db);
};

}  // namespace murvelo
