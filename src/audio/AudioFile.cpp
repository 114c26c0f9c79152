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
  if (info.channels < 1 || info.samplerate < 1) {
    sf_close(sound);
    return std::string("audio file has no usable format");
  }
  std::vector<float> interleaved(static_cast<std::size_t>(info.frames) *
                                 static_cast<std::size_t>(info.channels));
  sf_count_t frames = sf_readf_float(sound, interleaved.data(), info.frames);
  sf_close(sound);
  if (frames < 0) return std::string("audio file could not be decoded");
  interleaved.resize(static_cast<std::size_t>(frames) * static_cast<std::size_t>(info.channels));
  AudioFormat format{static_cast<double>(info.samplerate), info.channels};
  auto converter = AudioConverter::make(format, sampleRate);
  if (!converter) return std::string("audio file cannot be converted");
  std::vector<float> out;
  out.reserve(static_cast<std::size_t>(static_cast<double>(frames) * converter->ratio()) + 1024);
  if (!converter->convert(interleaved, out) || !converter->flush(out))
    return std::string("audio file could not be resampled");
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
