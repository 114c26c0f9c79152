#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace murvelo {

// One clipboard item: its (type, bytes) pairs in the order the item offers its types.
struct ClipboardItem {
  std::vector<std::pair<std::string, std::string>> entries;

  bool operator==(const ClipboardItem&) const = default;
};

// The system clipboard as delivery needs it. A back-end per display system implements it.
// The main-thread calls wait for the display at most until the deadline they are given, so that a
// caller can share one time budget between several of them.
class Clipboard {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  virtual ~Clipboard() = default;

  // A number that moves whenever the clipboard's contents change hands, our own writes included.
  // Main thread. Past the deadline it gives the count known so far.
  virtual std::uint64_t changeCount(Deadline deadline) = 0;
  // Every item with every type that yielded data. Runs on the capture worker and may block on a
  // slow owner; the caller bounds how long it waits for the answer.
  virtual std::vector<ClipboardItem> readItems() = 0;
  // Replaces the contents with one plain-text item. Main thread. False when the contents were not
  // in place by the deadline; they still land later.
  virtual bool writeText(std::string_view text, Deadline deadline) = 0;
  // Replaces the contents with `items`, all at once. Main thread; returns as writeText does.
  virtual bool writeItems(const std::vector<ClipboardItem>& items, Deadline deadline) = 0;
  // Runs `job`, on any thread, once every write handed over so far is in place.
  virtual void afterWrites(std::function<void()> job) = 0;
};

}  // namespace murvelo
