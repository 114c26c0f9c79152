#include "speech/PieceCutter.h"

#include <algorithm>

#include "speech/SpeechActivity.h"

namespace murvelo {
PieceCutter::PieceCutter(double sampleRate, Options options) : sampleRate_(sampleRate), options_(options) {}

std::size_t PieceCutter::seconds(double value) const { return static_cast<std::size_t>(value * sampleRate_); }

std::optional<PieceCutter::Piece> PieceCutter::next(std::span<const float> audio, bool final) {
  if (audio.size() <= cut_) return std::nullopt;
  const std::size_t remaining = audio.size() - cut_;
  const std::size_t longest = std::max<std::size_t>(seconds(options_.maxSeconds), 1);
  auto take = [&](std::size_t end) {
    Piece piece{cut_, std::clamp(end, cut_ + 1, audio.size())};
    cut_ = piece.end;
    return piece;
  };
  auto forced = [&] {
    const std::size_t limit = cut_ + longest;
    return take(SpeechActivity::quietestPoint(
        audio, sampleRate_, limit - std::min(seconds(options_.searchSeconds), longest), limit));
  };
  if (final) return remaining <= longest ? take(audio.size()) : forced();
  if (remaining < seconds(options_.minSeconds)) return std::nullopt;

  // The quietest frame after the shortest piece's length, if it is quiet enough to be a pause.
  const std::size_t frame = std::max<std::size_t>(seconds(SpeechActivity::kFrameSeconds), 1);
  double peak = -1e9, quietest = 1e9;
  std::size_t quietestAt = 0;
  const std::size_t searchFrom = cut_ + seconds(options_.minSeconds) -
                                 std::min(seconds(options_.searchSeconds), seconds(options_.minSeconds));
  for (std::size_t at = cut_; at + frame <= audio.size(); at += frame) {
    double db = SpeechActivity::levelDb(audio.subspan(at, frame));
    peak = std::max(peak, db);
    if (at >= searchFrom && db < quietest) {
      quietest = db;
      quietestAt = at + frame / 2;
    }
  }
  const bool pause = quietestAt > cut_ &&
                     (quietest < SpeechActivity::kSilenceDb || quietest <= peak - options_.pauseBelowPeakDb);
  if (pause) return take(quietestAt);
  if (remaining >= longest) return forced();
  return std::nullopt;
}

}  // namespace murvelo
