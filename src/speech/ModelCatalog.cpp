#include "speech/ModelCatalog.h"

#include <cstdlib>

namespace murvelo {
namespace {

constexpr std::uint64_t kMiB = 1024 * 1024;

}  // namespace

const std::vector<ModelCatalog::Entry>& ModelCatalog::entries() {
  static const std::vector<Entry> table = {
      {"tiny", 75 * kMiB, "bd577a113a864445d4c299885e0cb97d4ba92b5f"},
      {"tiny.en", 75 * kMiB, "c78c86eb1a8faa21b369bcd33207cc90d64ae9df"},
      {"base", 142 * kMiB, "465707469ff3a37a2b9b8d8f89f2f99de7299dac"},
      {"base.en", 142 * kMiB, "137c40403d78fd54d454da0f9bd998f78703390c"},
      {"small", 466 * kMiB, "55356645c2b361a969dfd0ef2c5a50d530afd8d5"},
      {"small.en", 466 * kMiB, "db8a495a91d927739e50b3fc1cc4c6b8f6c2d022"},
      {"medium", 1536 * kMiB, "fd9727b6e1217c2f614f9b698455c4ffd82463b4"},
      {"medium.en", 1536 * kMiB, "8c30f0e44ce9560643ebd10bbe50cd20eafd3723"},
      {"large-v3", 2970 * kMiB, "ad82bf6a9043ceed055076d0fd39f5f186ff8062"},
      {"large-v3-turbo", 1536 * kMiB, "4af2b29d7ec73d781377bfd1758ca957a807e941"},
      {"large-v3-turbo-q5_0", 547 * kMiB, "e050f7970618a659205450ad97eb95a18d69c9ee"},
  };
  return table;
}

std::optional<ModelCatalog::Entry> ModelCatalog::find(const std::string& name) {
  for (const auto& entry : entries())
    if (entry.name == name) return entry;
  return std::nullopt;
}

std::string ModelCatalog::baseUrl() {
  if (const char* url = std::getenv("MURVELO_MODEL_BASE_URL"); url && *url) {
    std::string base = url;
    if (base.back() != '/') base += '/';
    return base;
  }
  return "https://huggingface.co/ggerganov/whisper.cpp/resolve/main/";
}

}  // namespace murvelo
