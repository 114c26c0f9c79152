#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "speech/PieceCutter.h"

namespace murvelo {
namespace {

constexpr double kRate = 16000;

// "Words": 440 Hz bursts of `word` seconds with `gap` seconds of faint noise between them.
struct Speech {
  std::vector<float> samples;
  std::vector<std::pair<std::size_t, std::size_t>> words;
};

Speech speech(double seconds, double word, double gap, unsigned seed) {
  Speech out;
  std::mt19937 random(seed);
  std::normal_distribution<float> hiss(0, 0.001f);
  const auto total = static_cast<std::size_t>(seconds * kRate);
  bool voiced = true;
  for (std::size_t at = 0; at < total;) {
    auto length = static_cast<std::size_t>((voiced ? word : gap) * kRate);
    length = std::min(length, total - at);
    if (voiced) out.words.emplace_back(at, at + length);
    for (std::size_t i = 0; i < length; ++i, ++at)
      out.samples.push_back(hiss(random) + (voiced ? 0.3f * std::sin(2 * M_PI * 440 * at / kRate) : 0.0f));
    voiced = gap <= 0 || !voiced;
  }
  return out;
}

// Feeds the audio in uneven chunks as a microphone would, asking for a piece after each, then
// finishes. Returns the pieces and how many were cut before the end.
std::pair<std::vector<PieceCutter::Piece>, int> cutAll(const std::vector<float>& audio, unsigned seed) {
  PieceCutter cutter(kRate);
  std::mt19937 random(seed);
  std::uniform_int_distribution<std::size_t> chunk(80, 4000);
  std::vector<PieceCutter::Piece> pieces;
  std::size_t fed = 0;
  while (fed < audio.size()) {
    fed = std::min(audio.size(), fed + chunk(random));
    while (auto piece = cutter.next(std::span(audio).first(fed), false)) pieces.push_back(*piece);
  }
  const int live = static_cast<int>(pieces.size());
  while (auto piece = cutter.next(audio, true)) pieces.push_back(*piece);
  return {pieces, live};
}

TEST(PieceCutter, EverySampleReachesExactlyOnePieceAndLiveCutsFallInPauses) {
  struct Case {
    const char* name;
    double seconds, word, gap;
    int minLive;          // pieces expected before the end
    bool cutsInPauses;    // live cuts never inside a word
    double longestPiece;  // seconds
  };
  const Case cases[] = {
      {"words with pauses", 12, 0.35, 0.2, 4, true, 2.5},
      {"no pause for 30 s", 30, 30, 0, 1, false, 25.0},
      {"shorter than a piece", 1.2, 0.3, 0.2, 0, true, 1.2},
  };
  for (const auto& c : cases) {
    for (unsigned seed : {1u, 2u, 3u}) {
      Speech s = speech(c.seconds, c.word, c.gap, seed);
      auto [pieces, live] = cutAll(s.samples, seed);
      ASSERT_FALSE(pieces.empty()) << c.name;
      EXPECT_EQ(pieces.front().start, 0u) << c.name;
      EXPECT_EQ(pieces.back().end, s.samples.size()) << c.name;
      for (std::size_t i = 1; i < pieces.size(); ++i)
        EXPECT_EQ(pieces[i].start, pieces[i - 1].end) << c.name << " piece " << i;
      EXPECT_GE(live, c.minLive) << c.name;
      for (const auto& piece : pieces) {
        EXPECT_LT(piece.start, piece.end) << c.name;
        EXPECT_LE(static_cast<double>(piece.end - piece.start) / kRate, c.longestPiece + 0.01) << c.name;
      }
      if (!c.cutsInPauses) continue;
      for (int i = 0; i < live; ++i)
        for (const auto& [from, to] : s.words)
          EXPECT_FALSE(pieces[i].end > from && pieces[i].end < to)
              << c.name << ": cut at " << pieces[i].end << " inside a word " << from << "-" << to;
    }
  }
}

}  // namespace
}  // namespace murvelo
