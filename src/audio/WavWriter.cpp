#include "audio/WavWriter.h"

#include <sndfile.h>
#include <soxr.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <system_error>

#include "base/Log.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

const Logger kLog("audio");

constexpr std::size_t kConverterHeadroom = 4096;

// Resamples mono float audio to the file rate; no value when the converter refuses.
std::optional<std::vector<float>> convertTo16k(const std::vector<float>& input, double sourceRate) {
  if (!(sourceRate > 0) || !std::isfinite(sourceRate)) return std::nullopt;
  double ratio = kWavSampleRate / sourceRate;
  std::size_t capacity =
      static_cast<std::size_t>(static_cast<double>(input.size()) * ratio) + kConverterHeadroom;
  std::vector<float> output(capacity);
  soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
  soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
  std::size_t consumed = 0;
  std::size_t produced = 0;
  soxr_error_t error = soxr_oneshot(sourceRate, kWavSampleRate, 1, input.data(), input.size(), &consumed,
                                    output.data(), output.size(), &produced, &io, &quality, nullptr);
  if (error) {
    kLog.error(std::string("audio conversion failed: ") + error);
    return std::nullopt;
  }
  output.resize(produced);
  return output;
}

// Removes `file`; the error of a failed removal, if any.
std::error_code removePartial(const std::filesystem::path& file) {
  std::error_code error;
  std::filesystem::remove(file, error);
  return error;
}

}  // namespace

float rmsLevel(const std::vector<float>& samples) {
  if (samples.empty()) return 0;
  double sum = 0;
  for (float sample : samples) sum += static_cast<double>(sample) * sample;
  return static_cast<float>(std::sqrt(sum / static_cast<double>(samples.size())));
}

Result<std::optional<std::filesystem::path>, RecorderError> writeWAV(const CapturedAudio& captured,
                                                                     const std::filesystem::path& directory) {
  std::uint64_t total = 0;
  for (const auto& buffer : captured.buffers) total += buffer ? buffer->size() : 0;
  if (total > std::numeric_limits<std::uint32_t>::max()) {
    kLog.error("stop: too many frames to merge (" + std::to_string(total) + ")");
    return RecorderError::couldNotBuildBuffer;
  }
  kLog.info("stop: buffers=" + std::to_string(captured.buffers.size()) +
            " totalFrames=" + std::to_string(total));

  if (captured.buffers.empty() || !captured.format) return std::optional<std::filesystem::path>();
  const AudioFormat& format = *captured.format;
  double quarter = format.sampleRate * 0.25;
  if (std::isfinite(quarter) && static_cast<double>(total) <= std::floor(quarter))
    return std::optional<std::filesystem::path>();

  if (format.channels < 1) return RecorderError::couldNotBuildBuffer;
  std::vector<float> merged;
  try {
    merged.reserve(static_cast<std::size_t>(total));
  } catch (const std::bad_alloc&) {
    return RecorderError::couldNotBuildBuffer;
  }
  for (const auto& buffer : captured.buffers)
    if (buffer) merged.insert(merged.end(), buffer->begin(), buffer->end());

  auto converted = convertTo16k(merged, format.sampleRate);
  if (!converted) return RecorderError::conversionFailed;

  std::filesystem::path file = directory / ("qlx-" + makeUuid() + ".wav");
  {
    // Created empty and private before any audio goes in.
    std::ofstream create(file, std::ios::binary | std::ios::trunc);
    if (!create) {
      kLog.error("wav file could not be created in " + directory.string());
      return RecorderError::fileError;
    }
  }
  std::error_code permissionError;
  std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               std::filesystem::perm_options::replace, permissionError);

  SF_INFO info{};
  info.samplerate = static_cast<int>(kWavSampleRate);
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* sound = permissionError ? nullptr : sf_open(file.c_str(), SFM_WRITE, &info);
  if (!sound) {
    std::string why = permissionError ? permissionError.message() : sf_strerror(nullptr);
    if (auto removal = removePartial(file)) why = "removal failed: " + removal.message();
    kLog.error("wav file could not be opened: " + why);
    return RecorderError::fileError;
  }
  sf_command(sound, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  auto frames = static_cast<sf_count_t>(converted->size());
  sf_count_t written = sf_writef_float(sound, converted->data(), frames);
  std::string writeError = written == frames ? std::string() : sf_strerror(sound);
  if (sf_close(sound) != 0 && writeError.empty()) writeError = "close failed";
  if (!writeError.empty()) {
    if (auto removal = removePartial(file)) writeError = "removal failed: " + removal.message();
    kLog.error("wav file could not be written: " + writeError);
    return RecorderError::fileError;
  }
  return std::optional<std::filesystem::path>(file);
}

}  // namespace murvelo
