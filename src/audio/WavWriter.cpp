#include "audio/WavWriter.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "audio/AudioConverter.h"
#include "audio/AudioFile.h"
#include "base/Log.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

const Logger kLog("audio");

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

  auto converter = AudioConverter::make(AudioFormat{format.sampleRate, 1}, kWavSampleRate);
  std::vector<float> converted;
  if (converter)
    converted.reserve(static_cast<std::size_t>(static_cast<double>(merged.size()) * converter->ratio()) +
                      1024);
  if (!converter || !converter->convert(merged, converted) || !converter->flush(converted)) {
    kLog.error("audio conversion failed");
    return RecorderError::conversionFailed;
  }

  std::filesystem::path file = directory / ("qlx-" + makeUuid() + ".wav");
  if (Status status = writePcm16Wav(file, converted, kWavSampleRate); !status) {
    kLog.error("wav file not written: " + status.message());
    return RecorderError::fileError;
  }
  return std::optional<std::filesystem::path>(file);
}

}  // namespace murvelo
