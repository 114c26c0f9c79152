#include "speech/AudioFile.h"

#include <sndfile.h>

#include <cmath>

#include "speech/AudioConverter.h"

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
  SF_INFO info{};
  info.samplerate = static_cast<int>(std::lround(sampleRate));
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* sound = sf_open(file.c_str(), SFM_WRITE, &info);
  if (!sound) return Status::error(std::string("cannot create WAV file: ") + sf_strerror(nullptr));
  std::error_code permissionError;
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               permissionError);
  // Clip rather than wrap: a float sample beyond full scale must not turn into its opposite.
  sf_command(sound, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  sf_count_t written = sf_writef_float(sound, samples.data(), static_cast<sf_count_t>(samples.size()));
  int closed = sf_close(sound);
  if (written != static_cast<sf_count_t>(samples.size()) || closed != 0) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    return Status::error("cannot write WAV file");
  }
  return Status::ok();
}

}  // namespace murvelo
