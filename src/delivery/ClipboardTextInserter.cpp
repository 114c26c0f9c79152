#include "delivery/ClipboardTextInserter.h"

#include <algorithm>

#include "base/Diagnostics.h"
#include "delivery/PasteKeyChoice.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;

std::string runTag(std::int64_t run) { return "run=" + std::to_string(run); }

}  // namespace

ClipboardTextInserter::ClipboardTextInserter(MainLoop& loop, ClipboardRestorer& restorer, KeyPoster& keys,
                                             Diagnostics& diagnostics)
    : loop_(loop),
      restorer_(restorer),
      keys_(keys),
      diagnostics_(diagnostics),
      handle_(std::make_shared<LoopHandle>()) {
  handle_->loop = &loop;
}

ClipboardTextInserter::~ClipboardTextInserter() {
  {
    std::lock_guard lock(handle_->mutex);
    handle_->loop = nullptr;
  }
  for (MainLoop::TimerId id : waits_) loop_.cancel(id);
}

TextInserter::Outcome ClipboardTextInserter::insert(std::string_view text, bool autoPaste, std::int64_t run) {
  if (text.empty()) return Outcome::copiedToClipboard;
  const auto deadline = std::chrono::steady_clock::now() + kMainThreadLimit;
  diagnostics_.record("delivery", "insert-start", runTag(run));
  Clipboard& clipboard = restorer_.clipboard();
  const bool canPaste = autoPaste && keys_.mayPostEvents();

  ClipboardSnapshot snapshot;
  if (canPaste) {
    // Right after our own paste the clipboard still holds our text, and the user's clipboard is the
    // pending snapshot: capturing now would "save" our own dictation.
    const auto& pending = restorer_.pending();
    if (pending && clipboard.changeCount(deadline) == pending->changeCount) {
      snapshot = pending->snapshot;
    } else {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - kWriteReserve -
                                                                        std::chrono::steady_clock::now());
      snapshot = ClipboardSnapshot::capture(clipboard, restorer_.captureQueue(), std::max(left, 0ms));
    }
  }

  const bool written = clipboard.writeText(text, deadline);

  if (!canPaste) {
    diagnostics_.record("delivery", "copied",
                        runTag(run) + (autoPaste ? " reason=no-permission" : " reason=off"));
    return Outcome::copiedToClipboard;
  }
  if (written) {
    finishPaste(std::move(snapshot), deadline, run);
  } else {
    // Typing the chord now would paste whatever the clipboard held before.
    diagnostics_.record("delivery", "write-late", runTag(run));
    std::weak_ptr<int> alive = alive_;
    auto kept = std::make_shared<ClipboardSnapshot>(std::move(snapshot));
    clipboard.afterWrites([this, handle = handle_, alive, kept, run] {
      std::lock_guard lock(handle->mutex);
      if (!handle->loop) return;
      handle->loop->post([this, alive, kept, run] {
        // The write is in place and has counted itself: no need to wait for the display again.
        if (alive.lock()) finishPaste(std::move(*kept), std::chrono::steady_clock::now(), run);
      });
    });
  }
  return Outcome::pastedAtCursor;
}

void ClipboardTextInserter::finishPaste(ClipboardSnapshot snapshot, Clipboard::Deadline deadline,
                                        std::int64_t run) {
  postPasteChord(run);
  restorer_.scheduleRestore(std::move(snapshot), restorer_.clipboard().changeCount(deadline));
}

void ClipboardTextInserter::postPasteChord(std::int64_t run) {
  if (!keys_.pasteBlockingModifierHeld()) {
    postNow(run);
    return;
  }
  std::weak_ptr<int> alive = alive_;
  auto id = std::make_shared<MainLoop::TimerId>(0);
  *id = loop_.postAfter(kModifierWait, [this, alive, id, run] {
    if (!alive.lock()) return;
    std::erase(waits_, *id);
    postNow(run);
  });
  waits_.push_back(*id);
}

void ClipboardTextInserter::postNow(std::int64_t run) {
  PasteKey key = choosePasteKey(keys_.focusedWindowClasses(), extraTerminals_);
  int events = keys_.postPasteChord(key);
  diagnostics_.record(
      "delivery", "paste-posted",
      runTag(run) + " events=" + std::to_string(events) + " key=" + std::string(pasteKeyName(key)));
  if (posted_) posted_(key, events);
}

}  // namespace murvelo
