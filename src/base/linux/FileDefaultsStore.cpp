#include "base/linux/FileDefaultsStore.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <string>

#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("settings");

std::string errnoText(int error) { return std::strerror(error); }

std::string utcStamp() {
  std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y%m%dT%H%M%SZ", &parts);
  return buffer;
}

FileDefaultsStore::Signature signatureOf(const struct stat& info) {
  return {info.st_dev, info.st_ino, info.st_size, info.st_mtim};
}

enum class ReadResult { ok, missing, tooLarge, failed };

// Reads the whole file, giving up past `limit` bytes; `signature` is that of the file read.
ReadResult readFile(const std::filesystem::path& file, std::size_t limit, std::string& contents,
                    FileDefaultsStore::Signature& signature, std::string& error) {
  int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return ReadResult::missing;
    error = "cannot read " + file.string() + ": " + errnoText(errno);
    return ReadResult::failed;
  }
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    error = "cannot read " + file.string() + ": not a regular file";
    ::close(fd);
    return ReadResult::failed;
  }
  signature = signatureOf(info);
  char buffer[65536];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      error = "cannot read " + file.string() + ": " + errnoText(errno);
      ::close(fd);
      return ReadResult::failed;
    }
    if (n == 0) break;
    contents.append(buffer, static_cast<std::size_t>(n));
    if (contents.size() > limit) {
      ::close(fd);
      return ReadResult::tooLarge;
    }
  }
  ::close(fd);
  return ReadResult::ok;
}

// Nesting depth of JSON text, counted without building anything; stops counting past `limit`.
bool nestingWithin(std::string_view text, int limit) {
  int depth = 0;
  bool inString = false;
  bool escaped = false;
  for (const char c : text) {
    if (inString) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return false;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return true;
}

std::optional<nlohmann::json> parseDocument(const std::string& text, std::string& why) {
  if (!nestingWithin(text, FileDefaultsStore::kMaxDepth)) {
    why = "is nested deeper than " + std::to_string(FileDefaultsStore::kMaxDepth) + " levels";
    return std::nullopt;
  }
  auto parsed = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!parsed.is_object()) {
    why = "does not parse";
    return std::nullopt;
  }
  return parsed;
}

// One line per key with the value compact: a huge or deep unknown value is kept as it came
// instead of growing with indentation.
std::string serialize(const nlohmann::json& document) {
  constexpr auto replace = nlohmann::json::error_handler_t::replace;
  std::string text = "{";
  bool first = true;
  for (const auto& item : document.items()) {
    text += first ? "\n  " : ",\n  ";
    first = false;
    text += nlohmann::json(item.key()).dump(-1, ' ', false, replace);
    text += ": ";
    text += item.value().dump(-1, ' ', false, replace);
  }
  text += first ? "}\n" : "\n}\n";
  return text;
}

Status writeAll(int fd, const std::string& text) {
  std::size_t written = 0;
  while (written < text.size()) {
    ssize_t n = ::write(fd, text.data() + written, text.size() - written);
    if (n < 0) {
      if (errno == EINTR) continue;
      return Status::error(errnoText(errno));
    }
    written += static_cast<std::size_t>(n);
  }
  return Status::ok();
}

// Renames without ever replacing an existing file.
bool renameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to, int& error) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  error = errno;
  if (error != EINVAL && error != ENOSYS) return false;
  // A file system without the flag: a hard link fails on an existing name too.
  if (::link(from.c_str(), to.c_str()) != 0) {
    error = errno;
    return false;
  }
  ::unlink(from.c_str());
  return true;
}

std::filesystem::path moveAside(const std::filesystem::path& file) {
  const std::string base = file.string() + ".corrupt-" + utcStamp();
  for (int n = 1; n < 1000; ++n) {
    std::filesystem::path target = n == 1 ? base : base + "-" + std::to_string(n);
    int error = 0;
    if (renameNoReplace(file, target, error)) return target;
    if (error != EEXIST) {
      kLog.error("defaults file is corrupt and could not be moved aside: " + errnoText(error));
      return {};
    }
  }
  kLog.error("defaults file is corrupt and there is no free name to move it aside");
  return {};
}

std::optional<pid_t> tempOwner(const std::string& name, const std::string& prefix) {
  if (name.rfind(prefix, 0) != 0) return std::nullopt;
  pid_t pid = 0;
  const char* begin = name.data() + prefix.size();
  const char* end = name.data() + name.size();
  auto [rest, error] = std::from_chars(begin, end, pid);
  if (error != std::errc() || rest != end || pid <= 0) return std::nullopt;
  return pid;
}

}  // namespace

bool FileDefaultsStore::Signature::operator==(const Signature& other) const {
  return device == other.device && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

FileDefaultsStore::FileDefaultsStore(std::filesystem::path file) : file_(std::move(file)) {}

FileDefaultsStore::~FileDefaultsStore() {
  if (lockFd_ >= 0) ::close(lockFd_);
}

std::unique_ptr<FileDefaultsStore> FileDefaultsStore::open(std::filesystem::path file) {
  auto store = std::unique_ptr<FileDefaultsStore>(new FileDefaultsStore(std::move(file)));
  std::lock_guard lock(store->storeMutex());
  std::string contents;
  std::string error;
  Signature signature;
  ReadResult read = readFile(store->file_, kMaxFileBytes, contents, signature, error);
  std::string why = "is larger than " + std::to_string(kMaxFileBytes) + " bytes";
  std::optional<nlohmann::json> document;
  if (read == ReadResult::ok) document = parseDocument(contents, why);
  if (read == ReadResult::failed) {
    kLog.error(error);
    store->openStatus_ = Status::error(error);
  } else if (document) {
    store->replaceDocument(std::move(*document));
    store->seen_ = signature;
  }

  bool staleTemps = false;
  std::error_code ignored;
  const std::string prefix = store->file_.filename().string() + ".tmp-";
  for (const auto& entry : std::filesystem::directory_iterator(store->file_.parent_path(), ignored)) {
    staleTemps = staleTemps || entry.path().filename().string().rfind(prefix, 0) == 0;
  }
  bool corrupt = read == ReadResult::tooLarge || (read == ReadResult::ok && !document);
  if (corrupt || staleTemps) {
    // Under the lock: another process may have replaced the file since, and a temp file is only
    // ever stale when its writer no longer holds the lock.
    if (store->beginWrite() && corrupt && store->movedAside_.empty()) {
      kLog.error("defaults file " + why + " and could not be moved aside");
    }
    store->endWrite();
  }
  return store;
}

FileDefaultsStore::Load FileDefaultsStore::reload(bool mayMoveAside) {
  struct stat info {};
  if (::stat(file_.c_str(), &info) != 0) return Load::unchanged;
  if (signatureOf(info) == seen_) return Load::unchanged;
  std::string contents;
  std::string error;
  Signature signature;
  ReadResult read = readFile(file_, kMaxFileBytes, contents, signature, error);
  if (read == ReadResult::missing) return Load::unchanged;
  if (read == ReadResult::failed) {
    kLog.error(error);
    return Load::unchanged;
  }
  std::string why = "is larger than " + std::to_string(kMaxFileBytes) + " bytes";
  std::optional<nlohmann::json> document;
  if (read == ReadResult::ok) document = parseDocument(contents, why);
  if (document) {
    replaceDocument(std::move(*document));
    seen_ = signature;
    return Load::loaded;
  }
  if (!mayMoveAside) return Load::corrupt;
  std::filesystem::path target = moveAside(file_);
  if (!target.empty()) {
    kLog.warning("defaults file " + why + "; moved aside to " + target.string());
    if (movedAside_.empty()) movedAside_ = target;
  }
  return Load::corrupt;
}

bool FileDefaultsStore::reloadIfChanged() {
  std::lock_guard lock(storeMutex());
  return reload(/*mayMoveAside=*/false) == Load::loaded;
}

Status FileDefaultsStore::lockFile() {
  const std::filesystem::path dir = file_.parent_path();
  struct stat info {};
  if (::stat(dir.c_str(), &info) != 0) {
    if (errno != ENOENT) return Status::error("cannot use " + dir.string() + ": " + errnoText(errno));
    std::error_code error;
    std::filesystem::create_directories(dir.parent_path(), error);
    if (error) return Status::error("cannot create " + dir.parent_path().string() + ": " + error.message());
    if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
      return Status::error("cannot create " + dir.string() + ": " + errnoText(errno));
    }
  } else if (!S_ISDIR(info.st_mode)) {
    return Status::error("cannot use " + dir.string() + ": it is not a folder");
  } else if ((info.st_mode & S_IWUSR) == 0) {
    // The owner made it read-only on purpose; even root leaves it so.
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(info.st_mode & 07777));
    return Status::error("not writing settings: the folder " + dir.string() + " is read-only (mode " + mode +
                         ")");
  }
  const std::string lockPath = file_.string() + ".lock";
  lockFd_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lockFd_ < 0) return Status::error("cannot open " + lockPath + ": " + errnoText(errno));
  while (::flock(lockFd_, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    int error = errno;
    ::close(lockFd_);
    lockFd_ = -1;
    return Status::error("cannot lock " + lockPath + ": " + errnoText(error));
  }
  return Status::ok();
}

void FileDefaultsStore::removeStaleTempFiles() {
  std::error_code ignored;
  const std::string prefix = file_.filename().string() + ".tmp-";
  for (const auto& entry : std::filesystem::directory_iterator(file_.parent_path(), ignored)) {
    auto owner = tempOwner(entry.path().filename().string(), prefix);
    if (!owner) continue;
    // Ours is from an earlier crash of this process id; another live process's is left alone.
    bool dead = *owner == ::getpid() || (::kill(*owner, 0) != 0 && errno == ESRCH);
    if (dead) std::filesystem::remove(entry.path(), ignored);
  }
}

Status FileDefaultsStore::beginWrite() {
  if (writeDepth_++ > 0) return lockStatus_;
  lockStatus_ = lockFile();
  if (!lockStatus_) {
    kLog.error(lockStatus_.message());
    return lockStatus_;
  }
  reload(/*mayMoveAside=*/true);
  removeStaleTempFiles();
  return lockStatus_;
}

void FileDefaultsStore::endWrite() {
  if (--writeDepth_ > 0) return;
  if (lockFd_ >= 0) ::close(lockFd_);
  lockFd_ = -1;
}

Status FileDefaultsStore::persist(const nlohmann::json& document) {
  const std::filesystem::path dir = file_.parent_path();
  std::string text = serialize(document);
  std::string temp = file_.string() + ".tmp-" + std::to_string(::getpid());
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) {
    Status failed = Status::error("cannot write " + temp + ": " + errnoText(errno));
    kLog.error(failed.message());
    return failed;
  }
  Status status = writeAll(fd, text);
  if (status && ::fsync(fd) != 0) status = Status::error(errnoText(errno));
  struct stat info {};
  if (status && ::fstat(fd, &info) != 0) status = Status::error(errnoText(errno));
  ::close(fd);
  if (!status) {
    ::unlink(temp.c_str());
    Status failed = Status::error("cannot write " + temp + ": " + status.message());
    kLog.error(failed.message());
    return failed;
  }
  if (::rename(temp.c_str(), file_.c_str()) != 0) {
    int renameError = errno;
    ::unlink(temp.c_str());
    Status failed = Status::error("cannot replace " + file_.string() + ": " + errnoText(renameError));
    kLog.error(failed.message());
    return failed;
  }
  seen_ = signatureOf(info);
  // Make the rename itself durable.
  int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    ::fsync(dirFd);
    ::close(dirFd);
  }
  return Status::ok();
}

}  // namespace murvelo
