// Talk key latency on a private X server: an XTest key press until onStart runs on the main
// loop, p50/p99 over many presses; then the worker thread's processor time while idle.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include "base/EventLoop.h"
#include "hotkey/HotkeyListener.h"
#include "hotkey/XTestKeyboard.h"
#include "hotkey/x11/X11KeySource.h"
#include "support/XvfbServer.h"

using namespace murvelo;
using Clock = std::chrono::steady_clock;

int main(int argc, char** argv) {
  const int asked = argc > 1 ? std::atoi(argv[1]) : 0;
  const int presses = asked > 0 ? asked : 200;
  test::XvfbServer server;
  if (!test::XvfbServer::available() || !server.start()) {
    std::fprintf(stderr, "cannot start Xvfb\n");
    return 1;
  }
  EventLoop loop;
  X11KeySource source(loop, server.display());
  std::mutex mutex;
  std::condition_variable changed;
  int starts = 0, stops = 0;
  Clock::time_point startedAt;
  HotkeyListener listener(
      &source, HotkeyChoice::rightOption,
      [&] {
        std::lock_guard lock(mutex);
        startedAt = Clock::now();
        ++starts;
        changed.notify_all();
      },
      [&] {
        std::lock_guard lock(mutex);
        ++stops;
        changed.notify_all();
      });
  if (!listener.start()) {
    std::fprintf(stderr, "cannot listen: %s\n", source.problem().c_str());
    return 1;
  }

  std::vector<double> latencies;
  double idleCpuMs = -1;
  bool failed = false;
  std::thread driver([&] {
    test::XTestKeyboard keyboard(server.display());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the first state reading
    for (int i = 0; i < presses && !failed; ++i) {
      const auto sent = Clock::now();
      keyboard.key(100, true);
      std::unique_lock lock(mutex);
      if (!changed.wait_for(lock, std::chrono::seconds(2), [&] { return starts == i + 1; })) failed = true;
      latencies.push_back(std::chrono::duration<double, std::milli>(startedAt - sent).count());
      lock.unlock();
      keyboard.key(100, false);
      lock.lock();
      if (!changed.wait_for(lock, std::chrono::seconds(2), [&] { return stops == i + 1; })) failed = true;
    }
    const auto before = source.workerCpuTime();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    idleCpuMs = std::chrono::duration<double, std::milli>(source.workerCpuTime() - before).count();
    loop.quit();
  });
  loop.run();
  driver.join();
  listener.stop();
  if (failed || latencies.empty()) {
    std::fprintf(stderr, "a press was not seen\n");
    return 1;
  }
  std::sort(latencies.begin(), latencies.end());
  auto at = [&](double q) {
    return latencies[std::min(latencies.size() - 1, std::size_t(q * latencies.size()))];
  };
  std::printf(
      "talk key, XTest press -> onStart on the main loop (%zu presses): p50 %.3f ms, p99 %.3f ms, max %.3f "
      "ms\n",
      latencies.size(), at(0.50), at(0.99), latencies.back());
  std::printf("worker processor time while idle for 2 s: %.3f ms\n", idleCpuMs);
  return 0;
}
