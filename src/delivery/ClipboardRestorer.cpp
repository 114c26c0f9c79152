#include "delivery/ClipboardRestorer.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "base/Diagnostics.h"
#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("delivery");

struct CaptureResult {
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  std::vector<ClipboardItem> items;
};

}  // namespace

ClipboardSnapshot ClipboardSnapshot::capture(Clipboard& clipboard, SerialQueue& worker,
                                             std::chrono::milliseconds timeout) {
  auto result = std::make_shared<CaptureResult>();
  worker.post([result, &clipboard] {
    std::vector<ClipboardItem> items = clipboard.readItems();
    std::erase_if(items, [](const ClipboardItem& item) { return item.entries.empty(); });
    {
      std::lock_guard lock(result->mutex);
      result->items = std::move(items);
      result->finished = true;
    }
    result->done.notify_all();
  });
  std::unique_lock lock(result->mutex);
  if (!result->done.wait_for(lock, timeout, [&] { return result->finished; })) {
    kLog.debug("clipboard capture timed out — preserving nothing this dictation");
    return {};
  }
  return ClipboardSnapshot{std::move(result->items)};
}

bool ClipboardSnapshot::restore(Clipboard& clipboard, Clipboard::Deadline deadline) const {
  if (items.empty()) return false;
  clipboard.writeItems(items, deadline);
  return true;
}

ClipboardRestorer::ClipboardRestorer(MainLoop& loop, Clipboard& clipboard, Diagnostics& diagnostics)
    : loop_(loop), clipboard_(clipboard), diagnostics_(diagnostics) {}

ClipboardRestorer::~ClipboardRestorer() {
  for (MainLoop::TimerId id : timers_) loop_.cancel(id);
}

void ClipboardRestorer::scheduleRestore(ClipboardSnapshot snapshot, std::uint64_t changeCount) {
  const bool hasItems = !snapshot.empty();
  diagnostics_.record("delivery", "restore-scheduled", hasItems ? "items=yes" : "items=no");
  pending_ = Pending{std::move(snapshot), changeCount};
  if (!hasItems) {
    settled(Result::nothingToRestore);
    return;
  }
  std::weak_ptr<int> alive = alive_;
  auto id = std::make_shared<MainLoop::TimerId>(0);
  *id = loop_.postAfter(kRestoreDelay, [this, alive, changeCount, id] {
    if (!alive.lock()) return;
    std::erase(timers_, *id);
    restoreDue(changeCount);
  });
  timers_.push_back(*id);
}

void ClipboardRestorer::restoreDue(std::uint64_t expected) {
  if (!pending_ || pending_->changeCount != expected) {
    settled(Result::superseded);
    return;
  }
  ClipboardSnapshot snapshot = std::move(pending_->snapshot);
  pending_.reset();
  const auto deadline = std::chrono::steady_clock::now() + kRestoreWait;
  if (clipboard_.changeCount(deadline) != expected) {
    diagnostics_.record("delivery", "restore-skipped", "clipboard changed");
    kLog.debug("clipboard restore skipped (pasteboard changed since paste)");
    settled(Result::skipped);
    return;
  }
  snapshot.restore(clipboard_, deadline);
  diagnostics_.record("delivery", "restored", "items=" + std::to_string(snapshot.items.size()));
  kLog.debug("clipboard restored after auto-paste");
  settled(Result::restored);
}

void ClipboardRestorer::settled(Result result) {
  if (observer_) observer_(result);
}

std::string_view restoreResultName(ClipboardRestorer::Result result) {
  switch (result) {
    case ClipboardRestorer::Result::restored: return "restored";
    case ClipboardRestorer::Result::skipped: return "skipped";
    case ClipboardRestorer::Result::nothingToRestore: return "nothingToRestore";
    case ClipboardRestorer::Result::superseded: return "superseded";
  }
  return "superseded";
}

}  // namespace murvelo
