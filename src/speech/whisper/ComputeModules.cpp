#include "speech/whisper/ComputeModules.h"

#include <ggml-backend.h>

#include <filesystem>
#include <mutex>
#include <vector>

namespace murvelo {
namespace {

bool holdsCpuModule(const std::filesystem::path& dir) {
  std::error_code error;
  for (std::filesystem::directory_iterator it(dir, error), end; !error && it != end; it.increment(error)) {
    if (it->path().filename().string().starts_with("libggml-cpu-")) return true;
  }
  return false;
}

std::string loadOnce() {
  std::vector<std::filesystem::path> candidates;
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) candidates.push_back(self.parent_path().parent_path() / "lib" / "murvelo");
#ifdef MURVELO_GGML_MODULE_DIR
  candidates.emplace_back(MURVELO_GGML_MODULE_DIR);
#endif
  for (const auto& dir : candidates) {
    if (!holdsCpuModule(dir)) continue;
    ggml_backend_load_all_from_path(dir.c_str());
    if (ggml_backend_dev_by_type(GGML_BACKEND_DEVICE_TYPE_CPU) != nullptr) return dir.string();
  }
  return {};
}

}  // namespace

std::string loadWhisperComputeModules() {
  static std::once_flag once;
  static std::string folder;
  std::call_once(once, [] { folder = loadOnce(); });
  return folder;
}

}  // namespace murvelo
