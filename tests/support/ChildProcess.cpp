#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/Pump.h"

namespace murvelo::test {

bool ChildProcess::start(const std::vector<std::string>& argv,
                         const std::map<std::string, std::optional<std::string>>& env,
                         const std::filesystem::path& log, int inheritFd) {
  stop();
  exitCode_ = -1;
  std::vector<char*> args;
  for (const auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::string logPath = log.string();
  pid_ = fork();
  if (pid_ < 0) return false;
  if (pid_ == 0) {
    setpgid(0, 0);
    for (const auto& [name, value] : env) {
      if (value)
        setenv(name.c_str(), value->c_str(), 1);
      else
        unsetenv(name.c_str());
    }
    int out = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (out >= 0) {
      dup2(out, 1);
      dup2(out, 2);
    }
    int null = open("/dev/null", O_RDONLY);
    if (null >= 0) dup2(null, 0);
    if (inheritFd >= 0) fcntl(inheritFd, F_SETFD, 0);
    execvp(args[0], args.data());
    _exit(127);
  }
  setpgid(pid_, pid_);
  return true;
}

std::string ChildProcess::startAndReadLine(std::vector<std::string> argv,
                                           const std::map<std::string, std::optional<std::string>>& env,
                                           const std::filesystem::path& log,
                                           std::chrono::milliseconds timeout) {
  int ready[2];
  if (pipe2(ready, O_CLOEXEC) != 0) return "";
  for (auto& arg : argv)
    if (auto at = arg.find("{fd}"); at != std::string::npos) arg.replace(at, 4, std::to_string(ready[1]));
  bool started = start(argv, env, log, ready[1]);
  close(ready[1]);
  std::string line;
  auto deadline = std::chrono::steady_clock::now() + timeout;
  while (started && std::chrono::steady_clock::now() < deadline) {
    pollfd poll{ready[0], POLLIN, 0};
    if (::poll(&poll, 1, 100) <= 0) continue;
    char c = 0;
    if (read(ready[0], &c, 1) != 1 || c == '\n') break;
    line += c;
  }
  close(ready[0]);
  return line;
}

bool ChildProcess::running() {
  if (pid_ <= 0) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == pid_) {
    exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    kill(-pid_, SIGKILL);
    pid_ = -1;
    return false;
  }
  return true;
}

int ChildProcess::waitExit(std::chrono::milliseconds timeout) {
  return waitUntil([&] { return !running(); }, timeout) ? exitCode_ : -1;
}

void ChildProcess::stop(bool crash) {
  if (pid_ <= 0) return;
  kill(-pid_, crash ? SIGKILL : SIGTERM);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  int status = 0;
  while (waitpid(pid_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(-pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  // Whatever the leader left behind in its group.
  kill(-pid_, SIGKILL);
  pid_ = -1;
}

}  // namespace murvelo::test
