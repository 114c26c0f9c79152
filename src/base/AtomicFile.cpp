#include "base/AtomicFile.h"

#include <fstream>
#include <system_error>

#include "base/Uuid.h"

namespace murvelo {

Status replaceFileContents(const std::filesystem::path& file, std::string_view text) {
  std::error_code error;
  if (file.has_parent_path()) {
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) return Status::error("cannot create " + file.parent_path().string() + ": " + error.message());
  }
  // Unique, so two writers never share a half-written file.
  std::filesystem::path temporary = file;
  temporary += ".tmp-" + makeUuid();
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.flush();
    if (!out) {
      std::filesystem::remove(temporary, error);
      return Status::error("cannot write " + temporary.string());
    }
  }
  std::filesystem::rename(temporary, file, error);
  if (error) {
    std::filesystem::remove(temporary, error);
    return Status::error("cannot write " + file.string());
  }
  return Status::ok();
}

}  // namespace murvelo
