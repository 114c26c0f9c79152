#include "speech/ModelInventory.h"

#include <algorithm>

#include "speech/ModelCatalog.h"
#include "speech/WhisperModelChoice.h"

namespace murvelo {

std::vector<ModelInventory::Installed> ModelInventory::installed(
    const std::filesystem::path& directory, const std::optional<std::filesystem::path>& used) {
  std::vector<Installed> found;
  for (const auto& file : WhisperModelChoice::installed(directory)) {
    std::error_code error;
    auto bytes = std::filesystem::file_size(file, error);
    bool isUsed = used && std::filesystem::equivalent(file, *used, error);
    found.push_back({*WhisperModelChoice::modelName(file), file, error ? 0 : bytes, isUsed});
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return found;
}

std::vector<ModelInventory::Offer> ModelInventory::offers(const std::filesystem::path& directory) {
  std::vector<Offer> offers;
  for (const auto& entry : ModelCatalog::entries()) {
    std::error_code error;
    bool present = std::filesystem::is_regular_file(directory / ModelCatalog::fileName(entry.name), error);
    offers.push_back({entry.name, entry.approximateBytes, present});
  }
  return offers;
}

Status ModelInventory::remove(const std::filesystem::path& directory, const std::string& name) {
  // The name becomes part of a path: only a model name, never a way out of the folder.
  if (name.empty() || name.find('/') != std::string::npos || name.find("..") != std::string::npos)
    return Status::error("not a model name: " + name);
  const auto file = directory / ("ggml-" + name + ".bin");
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) return Status::error(name + " is not installed");
  std::filesystem::remove(file, error);
  if (error) return Status::error("cannot delete " + file.string() + ": " + error.message());
  auto partial = file;
  partial += ".partial";
  std::filesystem::remove(partial, error);
  return Status::ok();
}

std::string ModelInventory::sizeText(std::uint64_t bytes) {
  const std::uint64_t mebibyte = 1024 * 1024;
  if (bytes >= 10 * 1024 * mebibyte) return std::to_string(bytes / (1024 * mebibyte)) + " GiB";
  if (bytes >= 1024 * mebibyte) {
    auto tenths = bytes * 10 / (1024 * mebibyte);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " GiB";
  }
  if (bytes < 10 * mebibyte) {
    auto tenths = bytes * 10 / mebibyte;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MiB";
  }
  return std::to_string((bytes + mebibyte / 2) / mebibyte) + " MiB";
}

}  // namespace murvelo
