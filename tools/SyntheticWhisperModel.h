#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "base/Status.h"

namespace murvelo {

// Writes a whisper.cpp model file with the dimensions of an English model and random weights.
// No trained model can be fetched where the project is built and tested; such a file exercises
// every code path of the whisper back-end at the real speed, and transcribes nonsense.
struct SyntheticWhisperModel {
  enum class Architecture { tinyEn, baseEn };
  static Status write(const std::filesystem::path& file, Architecture architecture, std::uint64_t seed = 1);
  static bool parseArchitecture(const std::string& name, Architecture& out);
};

}  // namespace murvelo
