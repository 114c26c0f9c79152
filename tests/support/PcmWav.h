#pragma once

#include <cstdint>
#include <string>

namespace murvelo::test {

// Writes `value` little-endian into `bytes` bytes of `out` at `at`.
inline void putLE(std::string& out, std::size_t at, std::uint32_t value, int bytes) {
  for (int k = 0; k < bytes; ++k)
    out[at + static_cast<std::size_t>(k)] = static_cast<char>((value >> (8 * k)) & 0xff);
}

// A 16-bit PCM WAV file whose 44-byte header claims `rate` and `channels`, then `frames` frames of
// `sample()` values.
template <typename Sample>
std::string pcmWav(std::uint32_t rate, std::uint16_t channels, std::uint32_t frames, Sample sample) {
  const std::uint32_t data = frames * 2u * channels;
  std::string out = "RIFF....WAVEfmt ....................data....";
  putLE(out, 4, 36 + data, 4), putLE(out, 16, 16, 4), putLE(out, 20, 1, 2), putLE(out, 22, channels, 2);
  putLE(out, 24, rate, 4), putLE(out, 28, rate * 2u * channels, 4), putLE(out, 32, 2u * channels, 2);
  putLE(out, 34, 16, 2), putLE(out, 40, data, 4);
  out.resize(44 + data);
  for (std::size_t at = 44; at < out.size(); at += 2) putLE(out, at, static_cast<std::uint16_t>(sample()), 2);
  return out;
}

}  // namespace murvelo::test
