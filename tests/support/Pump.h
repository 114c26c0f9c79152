#pragma once

#include <chrono>
#include <thread>

namespace murvelo::test {

// Runs `loop` in real time (other threads post into it) until `done` holds or `limit` passes;
// whether `done` held.
template <typename Loop, typename Pred>
bool pumpUntil(Loop& loop, Pred done, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (true) {
    loop.runUntilIdle();
    if (done()) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Polls `done` every 10 ms until it holds or `limit` passes; whether it held.
template <typename Pred>
bool waitUntil(Pred done, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

}  // namespace murvelo::test
