#include "support/XvfbServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

namespace murvelo::test {
namespace {

constexpr const char* kProgram = "/usr/bin/Xvfb";

}  // namespace

bool XvfbServer::available() { return access(kProgram, X_OK) == 0; }

XvfbServer::~XvfbServer() { stop(); }

bool XvfbServer::start(int timeoutMs) {
  if (running()) return true;
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return false;
  pid_t pid = fork();
  if (pid < 0) {
    close(fds[0]);
    close(fds[1]);
    return false;
  }
  if (pid == 0) {
    // The child keeps the write end across exec; Xvfb writes its display number there once ready.
    int fd = dup(fds[1]);
    int devnull = open("/dev/null", O_RDWR);
    if (devnull >= 0) {
      dup2(devnull, STDIN_FILENO);
      dup2(devnull, STDOUT_FILENO);
      dup2(devnull, STDERR_FILENO);
    }
    setpgid(0, 0);
    std::string fdText = std::to_string(fd);
    execl(kProgram, kProgram, "-displayfd", fdText.c_str(), "-nolisten", "tcp", "-noreset", "-screen", "0",
          "1024x768x24", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  pid_ = pid;
  std::string number;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (true) {
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
            .count();
    if (left <= 0) break;
    pollfd p{fds[0], POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(left)) <= 0) break;
    char buffer[32];
    ssize_t n = read(fds[0], buffer, sizeof buffer);
    if (n <= 0) break;
    number.append(buffer, static_cast<std::size_t>(n));
    if (number.find('\n') != std::string::npos) break;
  }
  close(fds[0]);
  while (!number.empty() && (number.back() == '\n' || number.back() == ' ')) number.pop_back();
  if (number.empty()) {
    stop(true);
    return false;
  }
  display_ = ":" + number;
  return true;
}

void XvfbServer::stop(bool crash) {
  if (pid_ <= 0) return;
  kill(pid_, crash ? SIGKILL : SIGTERM);
  int status = 0;
  for (int i = 0; i < 200 && waitpid(pid_, &status, WNOHANG) == 0; ++i) usleep(10000);
  if (waitpid(pid_, &status, WNOHANG) == 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
  }
  pid_ = -1;
  if (!display_.empty()) {
    // A killed server leaves its lock and socket behind.
    const std::string number = display_.substr(1);
    unlink(("/tmp/.X" + number + "-lock").c_str());
    unlink(("/tmp/.X11-unix/X" + number).c_str());
  }
}

}  // namespace murvelo::test
