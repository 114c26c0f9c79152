#include "support/RunProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace murvelo::test {

ProcessResult runProcess(const std::string& program, const std::vector<std::string>& args,
                         const std::map<std::string, std::string>& env, const std::string& input) {
  int inPipe[2], outPipe[2], errPipe[2];
  if (pipe2(inPipe, O_CLOEXEC) || pipe2(outPipe, O_CLOEXEC) || pipe2(errPipe, O_CLOEXEC))
    throw std::runtime_error("pipe failed");
  pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    dup2(inPipe[0], 0);
    dup2(outPipe[1], 1);
    dup2(errPipe[1], 2);
    for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(inPipe[0]);
  close(outPipe[1]);
  close(errPipe[1]);
  signal(SIGPIPE, SIG_IGN);

  ProcessResult result;
  std::size_t written = 0;
  int inFd = inPipe[1];
  if (input.empty()) {
    close(inFd);
    inFd = -1;
  }
  int fds[2] = {outPipe[0], errPipe[0]};
  std::string* sinks[2] = {&result.out, &result.err};
  int open = 2;
  while (open > 0 || inFd >= 0) {
    pollfd polls[3];
    int count = 0;
    for (int i = 0; i < 2; ++i)
      if (fds[i] >= 0) polls[count++] = {fds[i], POLLIN, 0};
    if (inFd >= 0) polls[count++] = {inFd, POLLOUT, 0};
    if (poll(polls, static_cast<nfds_t>(count), -1) < 0) continue;
    for (int p = 0; p < count; ++p) {
      if (polls[p].revents == 0) continue;
      if (polls[p].fd == inFd) {
        ssize_t n = write(inFd, input.data() + written, input.size() - written);
        if (n > 0) written += static_cast<std::size_t>(n);
        if (n < 0 || written == input.size()) {
          close(inFd);
          inFd = -1;
        }
        continue;
      }
      for (int i = 0; i < 2; ++i) {
        if (polls[p].fd != fds[i]) continue;
        char buffer[4096];
        ssize_t n = read(fds[i], buffer, sizeof buffer);
        if (n > 0) {
          sinks[i]->append(buffer, static_cast<std::size_t>(n));
        } else {
          close(fds[i]);
          fds[i] = -1;
          --open;
        }
      }
    }
  }
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace murvelo::test
