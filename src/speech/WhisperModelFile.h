#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "base/Result.h"

namespace murvelo {

// The shape of a whisper.cpp model file ("ggml" format), read without loading any weights, so a
// missing, truncated or foreign file is refused with a clear reason before whisper.cpp sees it.
struct WhisperModelInfo {
  std::int32_t vocabulary = 0;
  std::int32_t audioContext = 0;
  std::int32_t state = 0;
  std::int32_t heads = 0;
  std::int32_t audioLayers = 0;
  std::int32_t textContext = 0;
  std::int32_t textLayers = 0;
  std::int32_t mels = 0;
  std::int32_t ftype = 0;
  int tensors = 0;

  bool multilingual() const { return vocabulary >= 51865; }
  // "tiny", "base", "small", "medium", "large" by depth; "unknown" otherwise.
  std::string size() const;
};

Result<WhisperModelInfo, std::string> inspectWhisperModel(const std::filesystem::path& file);

}  // namespace murvelo
