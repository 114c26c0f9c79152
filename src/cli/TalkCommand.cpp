#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "app/InstanceRequest.h"
#include "base/Paths.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli talk start|stop|toggle\n"
    "Asks the running murvelo to act as the talk key: start = the key goes down, stop = it comes\n"
    "up, toggle = start a recording, or stop the one running. Bind these to a key's press and\n"
    "release in your compositor when the talk key cannot be read directly (Wayland without the\n"
    "input group).\n";

constexpr int kReplyTimeoutMs = 2000;

// One request over the program's socket; the reply line, or the reason there is none.
bool ask(InstanceRequest request, std::string& reply, std::string& problem) {
  const std::string path = Paths::instanceSocket(getuid()).string();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    problem = "the socket path is too long: " + path;
    return false;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    problem = std::strerror(errno);
    return false;
  }
  struct Closer {
    int fd;
    ~Closer() { close(fd); }
  } closer{fd};
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    problem = (errno == ENOENT || errno == ECONNREFUSED)
                  ? "murvelo is not running; start it first, then bind this command to your key"
                  : "cannot reach murvelo at " + path + ": " + std::strerror(errno);
    return false;
  }
  std::string line = std::string(requestLine(request)) + "\n";
  if (send(fd, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
    problem = std::string("cannot send the request: ") + std::strerror(errno);
    return false;
  }
  char buffer[256];
  while (reply.find('\n') == std::string::npos) {
    pollfd waitFor{fd, POLLIN, 0};
    int ready = poll(&waitFor, 1, kReplyTimeoutMs);
    if (ready <= 0) {
      problem = "murvelo did not answer";
      return false;
    }
    ssize_t got = recv(fd, buffer, sizeof(buffer), 0);
    if (got <= 0) break;
    reply.append(buffer, static_cast<std::size_t>(got));
  }
  if (auto end = reply.find('\n'); end != std::string::npos) reply.resize(end);
  return true;
}

}  // namespace

int runTalk(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (args->positionals().size() != 1) return context.usageError("say start, stop or toggle", kUsage);
  auto request = parseRequestLine("talk " + args->positionals()[0]);
  if (!request) return context.usageError("unknown action " + args->positionals()[0], kUsage);
  std::string reply, problem;
  if (!ask(*request, reply, problem)) return context.failure(problem);
  if (reply != "ok") return context.failure(reply.empty() ? "murvelo closed the connection" : reply);
  return kSuccess;
}

}  // namespace murvelo::cli
