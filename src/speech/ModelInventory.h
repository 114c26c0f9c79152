#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/Status.h"

namespace murvelo {

// The whisper models of a models folder as the model manager shows them: what is installed and
// which of it the engine uses, what the catalogue offers, and removal of one model.
struct ModelInventory {
  struct Installed {
    std::string name;  // "base.en"
    std::filesystem::path file;
    std::uint64_t bytes = 0;
    bool used = false;
  };
  struct Offer {
    std::string name;
    std::uint64_t approximateBytes = 0;
    bool installed = false;
  };

  // Sorted by name; `used` is the file the engine loads, if any.
  static std::vector<Installed> installed(const std::filesystem::path& directory,
                                          const std::optional<std::filesystem::path>& used);
  // The catalogue in its order.
  static std::vector<Offer> offers(const std::filesystem::path& directory);
  // Deletes the model and any unfinished download of it. An unknown name, or one that is not
  // installed, is an error that touches nothing.
  static Status remove(const std::filesystem::path& directory, const std::string& name);
  // "142 MiB"
  static std::string sizeText(std::uint64_t bytes);
};

}  // namespace murvelo
