#pragma once

#include <filesystem>
#include <optional>

#include "audio/CapturedAudio.h"
#include "audio/Recorder.h"
#include "base/Result.h"

namespace murvelo {

inline constexpr double kWavSampleRate = 16000;

// Root mean square level of a buffer's samples; 0 for an empty buffer.
float rmsLevel(const std::vector<float>& samples);

// Merges the buffers of `captured`, converts them to 16 kHz mono and writes a 16-bit PCM WAV file
// "qlx-<UUID>.wav" (mode 0600) in `directory`. No file (and no error) when there is no audio or a
// quarter of a second or less. On a failed open or write the partial file is removed.
Result<std::optional<std::filesystem::path>, RecorderError> writeWAV(const CapturedAudio& captured,
                                                                     const std::filesystem::path& directory);

}  // namespace murvelo
