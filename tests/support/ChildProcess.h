#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace murvelo::test {

// A background program for tests (a server, a test window), leading its own process group so
// that whatever it starts goes with it. Stopped at destruction.
class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess() { stop(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Environment changes: a value sets the variable, nullopt removes it. Output goes to `log`
  // (appended). `inheritFd` stays open in the child under its own number.
  bool start(const std::vector<std::string>& argv,
             const std::map<std::string, std::optional<std::string>>& env, const std::filesystem::path& log,
             int inheritFd = -1);
  // As start(), with a pipe whose write end replaces "{fd}" in `argv`: the first line the program
  // writes there (a display number, a bus address), or "" when none comes in time.
  std::string startAndReadLine(std::vector<std::string> argv,
                               const std::map<std::string, std::optional<std::string>>& env,
                               const std::filesystem::path& log,
                               std::chrono::milliseconds timeout = std::chrono::seconds(10));
  // SIGTERM to the group, SIGKILL when it lingers; or SIGKILL at once, as a crash would.
  void stop(bool crash = false);
  // False once the program has exited.
  bool running();
  // Waits up to `timeout` for the exit; the exit code (128 + signal when killed), or -1 while it runs.
  int waitExit(std::chrono::milliseconds timeout);
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int exitCode_ = -1;
};

}  // namespace murvelo::test
