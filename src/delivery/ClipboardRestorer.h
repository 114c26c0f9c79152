#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "base/MainLoop.h"
#include "base/SerialQueue.h"
#include "delivery/Clipboard.h"

namespace murvelo {

class Diagnostics;

// What the user had on the clipboard before a paste. No item is empty; no items means nothing to
// put back.
struct ClipboardSnapshot {
  std::vector<ClipboardItem> items;

  bool empty() const { return items.empty(); }

  // Reads the clipboard on `worker`, waiting at most `timeout`. A slow owner gives an empty
  // snapshot; the read goes on in the background and its late answer is dropped.
  static ClipboardSnapshot capture(Clipboard& clipboard, SerialQueue& worker,
                                   std::chrono::milliseconds timeout);
  // Writes the items back, waiting for the display at most until `deadline`; false, touching
  // nothing, when there are none.
  bool restore(Clipboard& clipboard, Clipboard::Deadline deadline) const;
};

// Puts the user's clipboard back a little after a paste, unless someone changed it meanwhile.
// Main thread only, apart from the capture worker it owns.
class ClipboardRestorer {
 public:
  static constexpr std::chrono::milliseconds kRestoreDelay{600};
  // The longest the restore holds the main thread waiting for the display.
  static constexpr std::chrono::milliseconds kRestoreWait{300};
  static constexpr const char* kCaptureQueueLabel = "com.murvelo.clipboard-capture";

  enum class Result {
    restored,          // the snapshot is back on the clipboard
    skipped,           // the clipboard changed after the paste; the newer contents win
    nothingToRestore,  // the snapshot was empty
    superseded,        // a later paste took over this restore
  };

  struct Pending {
    ClipboardSnapshot snapshot;
    std::uint64_t changeCount = 0;
  };

  ClipboardRestorer(MainLoop& loop, Clipboard& clipboard, Diagnostics& diagnostics);
  ~ClipboardRestorer();
  ClipboardRestorer(const ClipboardRestorer&) = delete;
  ClipboardRestorer& operator=(const ClipboardRestorer&) = delete;

  Clipboard& clipboard() { return clipboard_; }
  SerialQueue& captureQueue() { return captureQueue_; }
  const std::optional<Pending>& pending() const { return pending_; }

  // Remembers the snapshot and the clipboard's count right after the paste and, when there is
  // something to put back, restores it after kRestoreDelay.
  void scheduleRestore(ClipboardSnapshot snapshot, std::uint64_t changeCount);

  // Told how each scheduled restore ended.
  void setSettledObserver(std::function<void(Result)> observer) { observer_ = std::move(observer); }

 private:
  void restoreDue(std::uint64_t expected);
  void settled(Result result);

  MainLoop& loop_;
  Clipboard& clipboard_;
  Diagnostics& diagnostics_;
  std::optional<Pending> pending_;
  std::vector<MainLoop::TimerId> timers_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
  std::function<void(Result)> observer_;
  // Declared last: its destructor waits for a read still under way, which uses the clipboard.
  SerialQueue captureQueue_{kCaptureQueueLabel};
};

std::string_view restoreResultName(ClipboardRestorer::Result result);

}  // namespace murvelo
