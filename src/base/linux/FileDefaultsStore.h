#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>

#include "base/DefaultsStore.h"

namespace murvelo {

// The defaults store as one JSON file (mode 0600), replaced atomically on every write: a temp file
// beside it is written, flushed to disk and renamed over the old one, so a crash leaves either the
// old document or the new one, never a mix. A file that does not parse, or is larger or more deeply
// nested than any document this program writes, is moved aside as "<name>.corrupt-<UTC time>"
// (never over an earlier one) and the store starts empty.
//
// Several processes may share the file: every write holds an flock on "<name>.lock" and first
// re-reads the file if another process replaced it, so no process overwrites another's keys.
// A folder without write permission for its owner is left as it is and writes fail.
class FileDefaultsStore : public DefaultsStore {
 public:
  // Larger documents and deeper nesting are not ours: they count as corrupt.
  static constexpr std::size_t kMaxFileBytes = 64u << 20;
  static constexpr int kMaxDepth = 64;

  static std::unique_ptr<FileDefaultsStore> open(std::filesystem::path file);
  ~FileDefaultsStore() override;

  const std::filesystem::path& file() const { return file_; }
  // Why the file could not be read at open, if it could not (the store then starts empty).
  const Status& openStatus() const { return openStatus_; }
  // Where a corrupt file was moved at open, if one was.
  const std::filesystem::path& movedAsideTo() const { return movedAside_; }

  bool reloadIfChanged() override;

  // What identifies one version of the file on disk.
  struct Signature {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec modified{};
    bool operator==(const Signature& other) const;
  };

 protected:
  Status persist(const nlohmann::json& document) override;
  Status beginWrite() override;
  void endWrite() override;

 private:
  explicit FileDefaultsStore(std::filesystem::path file);

  enum class Load { unchanged, loaded, corrupt };
  // Reads and parses the file when its signature differs from the one last seen. A corrupt file
  // is moved aside only when `mayMoveAside` (the lock is held).
  Load reload(bool mayMoveAside);
  Status lockFile();
  void removeStaleTempFiles();

  std::filesystem::path file_;
  Status openStatus_ = Status::ok();
  std::filesystem::path movedAside_;
  Signature seen_;
  int lockFd_ = -1;
  int writeDepth_ = 0;
  Status lockStatus_ = Status::ok();
};

}  // namespace murvelo
