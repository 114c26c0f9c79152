#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "base/DefaultsStore.h"

namespace murvelo {

// The defaults store as one JSON file (mode 0600), replaced atomically on every write: a temp file
// beside it is written, flushed to disk and renamed over the old one, so a crash leaves either the
// old document or the new one, never a mix. A file that does not parse is moved aside as
// "<name>.corrupt-<UTC time>" and the store starts empty.
class FileDefaultsStore : public DefaultsStore {
 public:
  struct Options {
    // Called after the temp file is written and before the rename; returning false abandons the
    // write there, as a crash would. For tests.
    std::function<bool()> beforeRename;
  };

  static std::unique_ptr<FileDefaultsStore> open(std::filesystem::path file, Options options = {});

  const std::filesystem::path& file() const { return file_; }
  // Why the file could not be read at open, if it could not (the store then starts empty).
  const Status& openStatus() const { return openStatus_; }
  // Where a corrupt file was moved at open, if one was.
  const std::filesystem::path& movedAsideTo() const { return movedAside_; }

 protected:
  Status persist(const nlohmann::json& document) override;

 private:
  FileDefaultsStore(std::filesystem::path file, nlohmann::json document, Options options);

  std::filesystem::path file_;
  Options options_;
  Status openStatus_ = Status::ok();
  std::filesystem::path movedAside_;
};

}  // namespace murvelo
