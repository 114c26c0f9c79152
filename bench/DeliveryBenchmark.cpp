// Main-thread blocking time of a paste on a private X server: how long insert() holds the main
// thread, for a text-only clipboard, a large image clipboard and an owner that never answers.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "base/Diagnostics.h"
#include "base/EventLoop.h"
#include "delivery/ClipboardTextInserter.h"
#include "delivery/x11/X11Clipboard.h"
#include "delivery/x11/X11KeyPoster.h"
#include "support/XvfbServer.h"

using namespace murvelo;
using namespace std::chrono_literals;

namespace {

double percentile(std::vector<double> values, double p) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5)];
}

// Times `runs` pastes; before each, `prepare` hands the clipboard to another owner.
void measure(const char* name, int runs, const std::string& display, const std::function<void()>& prepare) {
  auto clipboard = X11Clipboard::open(display.c_str());
  auto keys = X11KeyPoster::open(display.c_str());
  EventLoop loop;
  Diagnostics diagnostics;
  ClipboardRestorer restorer(loop, *clipboard, diagnostics);
  ClipboardTextInserter inserter(loop, restorer, *keys, diagnostics);
  restorer.setSettledObserver([&](ClipboardRestorer::Result) { loop.quit(); });
  std::vector<double> ms;
  for (int i = 0; i < runs; ++i) {
    prepare();
    loop.post([&] {
      auto start = std::chrono::steady_clock::now();
      inserter.insert("benchmark text ", true, i + 1);
      ms.push_back(
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    });
    loop.postAfter(3s, [&] { loop.quit(); });
    loop.run();
  }
  std::printf("%-28s runs=%3d  insert blocking p50=%7.2f ms  p99=%7.2f ms  max=%7.2f ms\n", name, runs,
              percentile(ms, 0.5), percentile(ms, 0.99), *std::max_element(ms.begin(), ms.end()));
}

}  // namespace

int main() {
  test::XvfbServer server;
  if (!test::XvfbServer::available() || !server.start()) {
    std::printf("no Xvfb: nothing measured\n");
    return 1;
  }
  auto other = X11Clipboard::open(server.display().c_str());
  auto soon = [] { return std::chrono::steady_clock::now() + 1s; };
  measure("text-only clipboard", 40, server.display(),
          [&] { other->writeText("the user's clipboard", soon()); });
  std::string image(4 * 1024 * 1024, '\x7f');
  measure("4 MB image + text clipboard", 15, server.display(), [&] {
    other->writeItems({ClipboardItem{{{"text/plain", "caption"}, {"image/png", image}}}}, soon());
  });

  pid_t silent = -1;
  auto stopSilent = [&] {
    if (silent <= 0) return;
    kill(silent, SIGTERM);
    waitpid(silent, nullptr, 0);
  };
  measure("owner that never answers", 5, server.display(), [&] {
    stopSilent();
    silent = fork();
    if (silent == 0) {
      setenv("DISPLAY", server.display().c_str(), 1);
      execl(MURVELO_CLIPBOARD_OWNER_PATH, MURVELO_CLIPBOARD_OWNER_PATH, "--silent",
            static_cast<char*>(nullptr));
      _exit(127);
    }
    std::this_thread::sleep_for(300ms);
  });
  stopSilent();
  std::printf("bound: 300 ms per paste; goal for a text-only clipboard: 20 ms\n");
  return 0;
}
