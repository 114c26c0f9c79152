#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "delivery/Clipboard.h"

namespace murvelo {

// The CLIPBOARD selection of an X display. A worker thread with its own connection owns the
// selection while we hold contents and serves every target (large data in INCR chunks); XFixes
// owner-change notifications are the change count. Reads use a third connection on the caller's
// thread, so a snapshot can even be taken from ourselves.
class X11Clipboard : public Clipboard {
 public:
  // Null when the display cannot be opened or lacks XFixes. `display` null means $DISPLAY.
  // `readLimit` bounds a whole read, after which it gives up with nothing.
  static std::unique_ptr<X11Clipboard> open(const char* display = nullptr,
                                            std::chrono::milliseconds readLimit = std::chrono::seconds(1));
  ~X11Clipboard() override;

  std::uint64_t changeCount(Deadline deadline) override;
  std::vector<ClipboardItem> readItems() override;
  bool writeText(std::string_view text, Deadline deadline) override;
  bool writeItems(const std::vector<ClipboardItem>& items, Deadline deadline) override;
  void afterWrites(std::function<void()> job) override;

  // Whether we still hold the clipboard (nobody has taken it since our last write).
  bool owned();

  struct State;

 private:
  explicit X11Clipboard(std::unique_ptr<State> state);
  void enqueue(std::function<void()> job);
  // Runs `job` on the worker and waits for it until `deadline`; false when it did not finish.
  bool onWorker(std::function<void()> job, Deadline deadline);

  std::unique_ptr<State> state_;
};

}  // namespace murvelo
