#include "base/Paths.h"

#include <cstdlib>
#include <mutex>
#include <string>

namespace murvelo {
namespace {

std::filesystem::path fromEnv(const char* name) {
  const char* value = std::getenv(name);
  // The XDG rules ignore relative paths.
  if (value == nullptr || value[0] != '/') return {};
  return value;
}

std::filesystem::path home() {
  if (auto path = fromEnv("HOME"); !path.empty()) return path;
  return std::filesystem::temp_directory_path();
}

std::mutex gTempAudioMutex;
std::filesystem::path gTempAudioDir;

}  // namespace

std::filesystem::path Paths::tempAudioDir() {
  {
    std::lock_guard lock(gTempAudioMutex);
    if (!gTempAudioDir.empty()) return gTempAudioDir;
  }
  return runtimeDir();
}

void Paths::setTempAudioDir(std::filesystem::path directory) {
  std::lock_guard lock(gTempAudioMutex);
  gTempAudioDir = std::move(directory);
}

std::filesystem::path Paths::configDir() {
  auto base = fromEnv("XDG_CONFIG_HOME");
  if (base.empty()) base = home() / ".config";
  return base / "murvelo";
}

std::filesystem::path Paths::defaultsFile() { return configDir() / "defaults.json"; }

std::filesystem::path Paths::dataDir() {
  auto base = fromEnv("XDG_DATA_HOME");
  if (base.empty()) base = home() / ".local" / "share";
  return base / "murvelo";
}

std::filesystem::path Paths::stateDir() {
  auto base = fromEnv("XDG_STATE_HOME");
  if (base.empty()) base = home() / ".local" / "state";
  return base / "murvelo";
}

std::filesystem::path Paths::autostartDir() {
  auto base = fromEnv("XDG_CONFIG_HOME");
  if (base.empty()) base = home() / ".config";
  return base / "autostart";
}

std::filesystem::path Paths::instanceDir(unsigned userId) {
  if (auto dir = fromEnv("XDG_RUNTIME_DIR"); !dir.empty()) return dir / "murvelo";
  return std::filesystem::temp_directory_path() / ("murvelo-" + std::to_string(userId));
}

std::filesystem::path Paths::runtimeDir() {
  if (auto dir = fromEnv("XDG_RUNTIME_DIR"); !dir.empty()) return dir;
  return std::filesystem::temp_directory_path();
}

}  // namespace murvelo
