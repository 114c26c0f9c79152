#pragma once

#include <filesystem>

#include "support/TempDir.h"
#include "tools/SyntheticWhisperModel.h"

namespace murvelo::test {

// A folder for the whole test program holding a synthetic tiny.en model, written at first use and
// removed when the program ends; tests may put files of their own beside it.
inline const TempDir& sharedModelDir() {
  static const TempDir dir;
  static const Status written =
      SyntheticWhisperModel::write(dir / "ggml-tiny.en.bin", SyntheticWhisperModel::Architecture::tinyEn);
  (void)written;
  return dir;
}

inline std::filesystem::path tinyModel() { return sharedModelDir() / "ggml-tiny.en.bin"; }

}  // namespace murvelo::test
