#include "audio/AudioFile.h"

#include <sndfile.h>

#include <cmath>
#include <fstream>
#include <system_error>

#include "audio/AudioConverter.h"

namespace murvelo {

Result<std::vector<float>, std::string> readAudioFile(const std::filesystem::path& file, double sampleRate) {
  SF_INFO info{};
  SNDFILE* sound = sf_open(file.c_str(), SFM_READ, &info);
  if (!sound) return std::string("cannot read audio file: ") + sf_strerror(nullptr);
  if (info.channels < 1 || info.channels > AudioConverter::kMaxChannels ||
      info.samplerate < AudioConverter::kMinSampleRate || info.samplerate > AudioConverter::kMaxSampleRate) {
    sf_close(sound);
    return std::string("audio file has no usable format (") + std::to_string(info.samplerate) + " Hz, " +
           std::to_string(info.channels) + " channels)";
  }
  AudioFormat format{static_cast<double>(info.samplerate), info.channels};
  auto converter = AudioConverter::make(format, sampleRate);
  if (!converter) {
    sf_close(sound);
    return std::string("audio file cannot be converted");
  }
  // Decoded block by block: what is allocated follows what the file really holds, never what its
  // header claims.
  const sf_count_t maxFrames = static_cast<sf_count_t>(kMaxAudioFileSeconds) * info.samplerate;
  constexpr sf_count_t kBlockFrames = 65536;
  std::vector<float> block(static_cast<std::size_t>(kBlockFrames) * static_cast<std::size_t>(info.channels));
  std::vector<float> out;
  sf_count_t total = 0;
  for (;;) {
    const sf_count_t frames = sf_readf_float(sound, block.data(), kBlockFrames);
    if (frames < 0) {
      sf_close(sound);
      return std::string("audio file could not be decoded");
    }
    if (frames == 0) break;
    total += frames;
    if (total > maxFrames) {
      sf_close(sound);
      return std::string("audio file is longer than ") + std::to_string(kMaxAudioFileSeconds / 3600) +
             " hours";
    }
    const std::span<const float> samples(
        block.data(), static_cast<std::size_t>(frames) * static_cast<std::size_t>(info.channels));
    if (!converter->convert(samples, out)) {
      sf_close(sound);
      return std::string("audio file could not be resampled");
    }
  }
  sf_close(sound);
  if (!converter->flush(out)) return std::string("audio file could not be resampled");
  return out;
}

Status writePcm16Wav(const std::filesystem::path& file, std::span<const float> samples, double sampleRate) {
  // Removes the partial file; `why` names the failure, or the failed removal.
  auto fail = [&file](std::string why) {
    std::error_code removal;
    std::filesystem::remove(file, removal);
    if (removal) why = "removal failed: " + removal.message();
    return Status::error(std::move(why));
  };
  {
    // Created empty and private before any audio goes in.
    std::ofstream create(file, std::ios::binary | std::ios::trunc);
    if (!create) return Status::error("cannot create WAV file in " + file.parent_path().string());
  }
  std::error_code permissionError;
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::replace, permissionError);
  if (permissionError) return fail("cannot make WAV file private: " + permissionError.message());

  SF_INFO info{};
  info.samplerate = static_cast<int>(std::lround(sampleRate));
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* sound = sf_open(file.c_str(), SFM_WRITE, &info);
  if (!sound) return fail(std::string("cannot open WAV file: ") + sf_strerror(nullptr));
  // Clip rather than wrap: a float sample beyond full scale must not turn into its opposite.
  sf_command(sound, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  auto frames = static_cast<sf_count_t>(samples.size());
  sf_count_t written = sf_writef_float(sound, samples.data(), frames);
  std::string writeError = written == frames ? std::string() : sf_strerror(sound);
  if (sf_close(sound) != 0 && writeError.empty()) writeError = "close failed";
  if (!writeError.empty()) return fail("cannot write WAV file: " + writeError);
  return Status::ok();
}

}  // namespace murvelo
