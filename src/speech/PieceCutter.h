#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace murvelo {

// Cuts a growing recording into the pieces a whole-piece recogniser decodes while the talk key is
// held. While more audio may come, a piece ends only in a pause (so no word is split), or at the
// quietest moment once it reaches the longest piece whisper can take; at the end, all that is left.
// Pieces follow each other without gap or overlap: every sample belongs to exactly one piece.
class PieceCutter {
 public:
  struct Options {
    double minSeconds = 1.5;       // shorter pieces lose too much context
    double maxSeconds = 25.0;      // whisper's window is 30 s
    double searchSeconds = 0.6;    // where a forced cut looks for its quietest moment
    double pauseBelowPeakDb = 25;  // a pause is this much quieter than the piece's loudest frame
  };
  struct Piece {
    std::size_t start = 0;
    std::size_t end = 0;
  };

  explicit PieceCutter(double sampleRate) : PieceCutter(sampleRate, Options{}) {}
  PieceCutter(double sampleRate, Options options);

  // The next piece of `audio` (everything captured so far, growing between calls) that is ready;
  // none when it should wait for more. `final`: no more audio comes.
  std::optional<Piece> next(std::span<const float> audio, bool final);
  std::size_t cut() const { return cut_; }

 private:
  std::size_t seconds(double value) const;

  double sampleRate_;
  Options options_;
  std::size_t cut_ = 0;
};

}  // namespace murvelo
