#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace murvelo {

// The official whisper.cpp model files a user can install, with their published checksums.
//
// The checksums are SHA-1, as whisper.cpp 1.9.1 publishes them (models/README.md of the pinned,
// integrity-checked source). No SHA-256 of these files could be obtained or verified on the build
// machines, which reach no network beyond the package archives, and none is invented here.
struct ModelCatalog {
  struct Entry {
    std::string name;  // "base.en": the file is "ggml-base.en.bin"
    std::uint64_t approximateBytes;
    std::string sha1;
  };

  static const std::vector<Entry>& entries();
  static std::optional<Entry> find(const std::string& name);
  static std::string fileName(const std::string& name) { return "ggml-" + name + ".bin"; }
  // $MURVELO_MODEL_BASE_URL, else the whisper.cpp model repository; the file name is appended.
  static std::string baseUrl();
};

}  // namespace murvelo
