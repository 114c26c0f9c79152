#include "audio/InputLevel.h"

#include <algorithm>
#include <cmath>

namespace murvelo {

double InputLevel::rmsDb(std::span<const float> samples) {
  double sum = 0;
  std::size_t counted = 0;
  for (float sample : samples) {
    if (!std::isfinite(sample)) continue;  // a broken buffer must not peg the meter
    sum += static_cast<double>(sample) * sample;
    ++counted;
  }
  if (counted == 0 || sum <= 0) return kFloorDb;
  return std::max(kFloorDb, 10 * std::log10(sum / static_cast<double>(counted)));
}

double InputLevel::meterFraction(double db) {
  if (!std::isfinite(db)) return 0;
  return std::clamp((db - kFloorDb) / -kFloorDb, 0.0, 1.0);
}

}  // namespace murvelo
