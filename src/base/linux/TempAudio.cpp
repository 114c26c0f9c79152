#include "base/linux/TempAudio.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "base/Log.h"
#include "base/Paths.h"

namespace murvelo {
namespace {

const Logger kLog("audio");
constexpr std::string_view kPrefix = "murvelo-audio-";

// Filled once before the handlers are installed; read by them.
char gDirectory[4096];
int gDirectoryFd = -1;

// Only async-signal-safe calls: the folder's entries are read with getdents64 from a descriptor
// opened in advance.
void removeOwnFolder() {
  if (gDirectoryFd < 0) return;
  alignas(8) char buffer[4096];
  // A second pass catches entries a removal during the first may have moved.
  for (int pass = 0; pass < 2; ++pass) {
    lseek(gDirectoryFd, 0, SEEK_SET);
    for (;;) {
      long count = syscall(SYS_getdents64, gDirectoryFd, buffer, sizeof buffer);
      if (count <= 0) break;
      for (long offset = 0; offset < count;) {
        unsigned short length;
        std::memcpy(&length, buffer + offset + 16, sizeof length);  // d_reclen
        const char* name = buffer + offset + 19;                    // d_name
        offset += length;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
        unlinkat(gDirectoryFd, name, 0);
      }
    }
  }
  rmdir(gDirectory);
}

void onSignal(int signalNumber) {
  removeOwnFolder();
  signal(signalNumber, SIG_DFL);
  raise(signalNumber);
}

void onExit() {
  std::error_code ignored;
  std::filesystem::remove_all(gDirectory, ignored);
}

bool processIsGone(const std::string& digits) {
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return false;
  long pid = std::strtol(digits.c_str(), nullptr, 10);
  if (pid <= 0) return false;
  return kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

// A folder only this user can use: created 0700, refused when it is someone else's or open to others.
bool ensurePrivateFolder(const std::filesystem::path& folder, std::string& error) {
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    error = "cannot create " + folder.string() + ": " + std::strerror(errno);
    return false;
  }
  struct stat info {};
  if (lstat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != geteuid() ||
      (info.st_mode & 077) != 0) {
    error = folder.string() + " is not a private folder of this user";
    return false;
  }
  return true;
}

void removeStale(const std::filesystem::path& base) {
  std::error_code error;
  auto now = std::filesystem::file_time_type::clock::now();
  for (const auto& entry : std::filesystem::directory_iterator(base, error)) {
    std::string name = entry.path().filename().string();
    if (name.rfind(kPrefix, 0) == 0 && processIsGone(name.substr(kPrefix.size()))) {
      std::error_code ignored;
      std::filesystem::remove_all(entry.path(), ignored);
    } else if (name.rfind("qlx-", 0) == 0 && entry.path().extension() == ".wav") {
      // Left by a program that kept its recordings loose in this folder; none is in use this long.
      std::error_code ignored;
      auto written = std::filesystem::last_write_time(entry.path(), ignored);
      if (!ignored && now - written > std::chrono::minutes(10))
        std::filesystem::remove(entry.path(), ignored);
    }
  }
}

}  // namespace

TempAudio::Result TempAudio::prepare() {
  Result result;
  std::filesystem::path base;
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && runtime[0] == '/') {
    base = runtime;
  } else {
    base = std::filesystem::temp_directory_path() / ("murvelo-" + std::to_string(geteuid()));
    if (!ensurePrivateFolder(base, result.error)) return result;
  }
  removeStale(base);
  std::filesystem::path own = base / (std::string(kPrefix) + std::to_string(getpid()));
  if (!ensurePrivateFolder(own, result.error)) return result;
  if (own.string().size() >= sizeof gDirectory) {
    result.error = "folder path too long";
    return result;
  }
  std::strcpy(gDirectory, own.c_str());
  gDirectoryFd = open(gDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  for (int signalNumber : {SIGINT, SIGTERM, SIGHUP}) sigaction(signalNumber, &action, nullptr);
  std::atexit(onExit);
  Paths::setTempAudioDir(own);
  kLog.debug("temporary audio in a private folder of this process");
  result.directory = own;
  return result;
}

}  // namespace murvelo
