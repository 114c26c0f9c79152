#include "speech/SpeechActivity.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace murvelo {
double SpeechActivity::levelDb(std::span<const float> frame) {
  double sum = 0;
  for (float s : frame) sum += static_cast<double>(s) * s;
  double rms = std::sqrt(sum / static_cast<double>(std::max<std::size_t>(frame.size(), 1)));
  return 20 * std::log10(std::max(rms, 1e-9));
}

bool SpeechActivity::hasSpeech(std::span<const float> samples, double sampleRate) {
  auto frameLength = static_cast<std::size_t>(sampleRate * kFrameSeconds);
  if (frameLength == 0 || samples.size() < frameLength) return false;
  std::vector<double> levels;
  for (std::size_t start = 0; start + frameLength <= samples.size(); start += frameLength)
    levels.push_back(levelDb(samples.subspan(start, frameLength)));
  std::vector<double> sorted = levels;
  std::sort(sorted.begin(), sorted.end());
  double floor = sorted[sorted.size() / 10];
  double loud = sorted[sorted.size() * 95 / 100];
  if (loud < kSilenceDb) return false;
  if (loud - floor < kModulationDb) return false;
  double threshold = std::max(floor + kModulationDb, kSilenceDb);
  auto active = std::count_if(levels.begin(), levels.end(), [&](double db) { return db >= threshold; });
  return static_cast<double>(active) * kFrameSeconds >= kMinActiveSeconds;
}

std::size_t SpeechActivity::quietestPoint(std::span<const float> samples, double sampleRate, std::size_t from,
                                          std::size_t to) {
  auto frameLength = std::max<std::size_t>(static_cast<std::size_t>(sampleRate * kFrameSeconds), 1);
  to = std::min(to, samples.size());
  if (from + frameLength > to) return to;
  std::size_t best = to;
  double bestDb = 1e9;
  for (std::size_t start = from; start + frameLength <= to; start += frameLength / 2) {
    double db = levelDb(samples.subspan(start, frameLength));
    if (db < bestDb) {
      bestDb = db;
      best = start + frameLength / 2;
    }
  }
  return best;
}

}  // namespace murvelo
