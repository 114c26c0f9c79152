#pragma once

#include <sndfile.h>

#include <filesystem>
#include <vector>

namespace murvelo::test {

// Writes mono `samples` at `rate` in a libsndfile `format`, each sample on every one of `channels`;
// whether the file was written.
inline bool writeSoundFile(const std::filesystem::path& file, const std::vector<float>& samples, int rate,
                           int format, int channels = 1) {
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = channels;
  info.format = format;
  SNDFILE* sound = sf_open(file.c_str(), SFM_WRITE, &info);
  if (!sound) return false;
  std::vector<float> frames;
  for (float s : samples) frames.insert(frames.end(), static_cast<std::size_t>(channels), s);
  sf_writef_float(sound, frames.data(), static_cast<sf_count_t>(samples.size()));
  sf_close(sound);
  return true;
}

}  // namespace murvelo::test
