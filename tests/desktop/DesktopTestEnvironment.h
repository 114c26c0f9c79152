#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace murvelo::test {

// A private X server (Xvfb on a free display number) for the tests of the desktop program.
class PrivateDisplay {
 public:
  PrivateDisplay();
  ~PrivateDisplay();
  PrivateDisplay(const PrivateDisplay&) = delete;
  PrivateDisplay& operator=(const PrivateDisplay&) = delete;

  bool ok() const { return pid_ > 0 && !name_.empty(); }
  const std::string& name() const { return name_; }  // ":N"

 private:
  pid_t pid_ = -1;
  std::string name_;
};

// A program running in the background with extra environment; ended (SIGTERM, then SIGKILL)
// and reaped at scope exit. Its output goes to a file.
class BackgroundProcess {
 public:
  BackgroundProcess(const std::string& program, const std::vector<std::string>& args,
                    const std::map<std::string, std::string>& env, const std::filesystem::path& output);
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  pid_t pid() const { return pid_; }
  bool running();
  // Waits up to `timeoutMs` for the exit; the exit code, or -1 while it still runs.
  int waitExit(int timeoutMs);
  void terminate();

 private:
  pid_t pid_ = -1;
  int exitCode_ = -1;
};

// Where the screenshots of the test run go: <build>/screenshots.
std::filesystem::path screenshotDir();

}  // namespace murvelo::test
