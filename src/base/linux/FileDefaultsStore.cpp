#include "base/linux/FileDefaultsStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
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

// Reads the whole file; a missing file is an empty, valid document.
Status readFile(const std::filesystem::path& file, std::string& contents, bool& exists) {
  int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    exists = errno != ENOENT;
    if (!exists) return Status::ok();
    return Status::error("cannot read " + file.string() + ": " + errnoText(errno));
  }
  exists = true;
  char buffer[65536];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      int error = errno;
      ::close(fd);
      return Status::error("cannot read " + file.string() + ": " + errnoText(error));
    }
    if (n == 0) break;
    contents.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return Status::ok();
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

void removeStaleTempFiles(const std::filesystem::path& file) {
  std::error_code ignored;
  std::string prefix = file.filename().string() + ".tmp-";
  for (const auto& entry : std::filesystem::directory_iterator(file.parent_path(), ignored)) {
    if (entry.path().filename().string().rfind(prefix, 0) == 0) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

}  // namespace

FileDefaultsStore::FileDefaultsStore(std::filesystem::path file, nlohmann::json document, Options options)
    : DefaultsStore(std::move(document)), file_(std::move(file)), options_(std::move(options)) {}

std::unique_ptr<FileDefaultsStore> FileDefaultsStore::open(std::filesystem::path file, Options options) {
  std::string contents;
  bool exists = false;
  Status readStatus = readFile(file, contents, exists);
  nlohmann::json document = nlohmann::json::object();
  std::filesystem::path movedAside;

  if (readStatus && exists) {
    auto parsed = nlohmann::json::parse(contents, nullptr, /*allow_exceptions=*/false);
    if (parsed.is_object()) {
      document = std::move(parsed);
    } else {
      movedAside = file;
      movedAside += ".corrupt-" + utcStamp();
      std::error_code error;
      std::filesystem::rename(file, movedAside, error);
      if (error) {
        kLog.error("defaults file does not parse and could not be moved aside: " + error.message());
        movedAside.clear();
      } else {
        kLog.warning("defaults file did not parse; moved aside to " + movedAside.string());
      }
    }
  } else if (!readStatus) {
    kLog.error(readStatus.message());
  }

  if (exists || std::filesystem::exists(file.parent_path())) removeStaleTempFiles(file);

  auto store = std::unique_ptr<FileDefaultsStore>(
      new FileDefaultsStore(std::move(file), std::move(document), std::move(options)));
  store->openStatus_ = readStatus;
  store->movedAside_ = std::move(movedAside);
  return store;
}

Status FileDefaultsStore::persist(const nlohmann::json& document) {
  std::error_code error;
  std::filesystem::path dir = file_.parent_path();
  std::filesystem::create_directories(dir, error);
  if (error) {
    Status failed = Status::error("cannot create " + dir.string() + ": " + error.message());
    kLog.error(failed.message());
    return failed;
  }
  ::chmod(dir.c_str(), 0700);

  std::string text = document.dump(2) + "\n";
  std::string temp = file_.string() + ".tmp-" + std::to_string(::getpid());
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    Status failed = Status::error("cannot write " + temp + ": " + errnoText(errno));
    kLog.error(failed.message());
    return failed;
  }
  Status status = writeAll(fd, text);
  if (status && ::fsync(fd) != 0) status = Status::error(errnoText(errno));
  ::close(fd);
  if (!status) {
    ::unlink(temp.c_str());
    Status failed = Status::error("cannot write " + temp + ": " + status.message());
    kLog.error(failed.message());
    return failed;
  }
  if (options_.beforeRename && !options_.beforeRename()) {
    return Status::error("write abandoned before rename");
  }
  if (::rename(temp.c_str(), file_.c_str()) != 0) {
    int renameError = errno;
    ::unlink(temp.c_str());
    Status failed = Status::error("cannot replace " + file_.string() + ": " + errnoText(renameError));
    kLog.error(failed.message());
    return failed;
  }
  // Make the rename itself durable.
  int dirFd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd >= 0) {
    ::fsync(dirFd);
    ::close(dirFd);
  }
  return Status::ok();
}

}  // namespace murvelo
