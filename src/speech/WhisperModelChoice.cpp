#include "speech/WhisperModelChoice.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <tuple>

#include "base/Paths.h"

namespace murvelo {
namespace {

// Sizes in order of preference for dictation: base is accurate enough and fast on a laptop.
constexpr std::array<const char*, 5> kSizePreference{"base", "small", "tiny", "medium", "large"};

int sizeRank(const std::string& name) {
  for (std::size_t i = 0; i < kSizePreference.size(); ++i) {
    const std::string size = kSizePreference[i];
    if (name.compare(0, size.size(), size) == 0 &&
        (name.size() == size.size() || name[size.size()] == '.' || name[size.size()] == '-'))
      return static_cast<int>(i);
  }
  return static_cast<int>(kSizePreference.size());
}

}  // namespace

std::optional<std::string> WhisperModelChoice::modelName(const std::filesystem::path& file) {
  std::string base = file.filename().string();
  const std::string prefix = "ggml-", suffix = ".bin";
  if (base.size() <= prefix.size() + suffix.size() || base.compare(0, prefix.size(), prefix) != 0 ||
      base.compare(base.size() - suffix.size(), suffix.size(), suffix) != 0)
    return std::nullopt;
  return base.substr(prefix.size(), base.size() - prefix.size() - suffix.size());
}

bool WhisperModelChoice::isEnglishOnly(const std::string& name) {
  auto at = name.find(".en");
  return at != std::string::npos && (at + 3 == name.size() || name[at + 3] == '-');
}

std::optional<std::filesystem::path> WhisperModelChoice::choose(
    const std::vector<std::filesystem::path>& files) {
  std::optional<std::filesystem::path> best;
  std::tuple<int, int, int, std::string> bestKey;
  for (const auto& file : files) {
    auto name = modelName(file);
    if (!name) continue;
    // English first, then size preference, then full precision before quantised variants.
    bool quantised = name->find("-q") != std::string::npos;
    std::tuple<int, int, int, std::string> key{isEnglishOnly(*name) ? 0 : 1, sizeRank(*name),
                                               quantised ? 1 : 0, *name};
    if (!best || key < bestKey) {
      best = file;
      bestKey = key;
    }
  }
  return best;
}

std::vector<std::filesystem::path> WhisperModelChoice::installed(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> found;
  std::error_code error;
  for (std::filesystem::directory_iterator it(directory, error), end; !error && it != end;
       it.increment(error)) {
    if (it->is_regular_file(error) && modelName(it->path())) found.push_back(it->path());
  }
  return found;
}

std::filesystem::path WhisperModelChoice::modelsDirectory() { return Paths::dataDir() / "models"; }

std::optional<std::filesystem::path> WhisperModelChoice::resolve() {
  if (const char* forced = std::getenv("MURVELO_WHISPER_MODEL"); forced && *forced)
    return std::filesystem::path(forced);
  return choose(installed(modelsDirectory()));
}

}  // namespace murvelo
