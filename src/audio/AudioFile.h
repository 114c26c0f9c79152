#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "base/Result.h"
#include "base/Status.h"

namespace murvelo {

// Reads any file libsndfile understands (WAV, FLAC, ...) as mono float samples at `sampleRate`,
// mixing channels down and resampling as needed. The error text names the problem, never the
// audio.
Result<std::vector<float>, std::string> readAudioFile(const std::filesystem::path& file, double sampleRate);

// Writes mono float samples as a 16-bit PCM mono WAV file at `sampleRate` (mode 0600).
Status writePcm16Wav(const std::filesystem::path& file, std::span<const float> samples, double sampleRate);

}  // namespace murvelo
