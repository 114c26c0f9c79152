#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace murvelo {

// Which whisper model the engine uses. The engine recognises English only: English-only models
// ("*.en") come first, base.en before the others; a multilingual model is the last resort and is
// then forced to English.
struct WhisperModelChoice {
  // The model's name inside its file name: "ggml-base.en.bin" → "base.en"; none for other files.
  static std::optional<std::string> modelName(const std::filesystem::path& file);
  static bool isEnglishOnly(const std::string& name);
  // The best of `files` (file names that are not models are ignored).
  static std::optional<std::filesystem::path> choose(const std::vector<std::filesystem::path>& files);
  // The models installed in `directory`, in no particular order.
  static std::vector<std::filesystem::path> installed(const std::filesystem::path& directory);
  // $MURVELO_WHISPER_MODEL when set, else the best model in $XDG_DATA_HOME/murvelo/models.
  static std::optional<std::filesystem::path> resolve();
  static std::filesystem::path modelsDirectory();
};

}  // namespace murvelo
