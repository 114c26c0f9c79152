#pragma once

#include <sys/types.h>

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
  // SIGTERM to the group, SIGKILL when it lingers.
  void stop();
  // False once the program has exited.
  bool running();
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

}  // namespace murvelo::test
