#include "delivery/ClipboardTextInserter.h"

#include <algorithm>

#include "base/Diagnostics.h"
#include "delivery/PasteKeyChoice.h"

namespace murvelo {
namespace {

std::string runTag(std::int64_t run) { return "run=" + std::to_string(run); }

}  // namespace

ClipboardTextInserter::ClipboardTextInserter(MainLoop& loop, ClipboardRestorer& restorer, KeyPoster& keys,
                                             Diagnostics& diagnostics)
    : loop_(loop), restorer_(restorer), keys_(keys), diagnostics_(diagnostics) {}

ClipboardTextInserter::~ClipboardTextInserter() {
  for (MainLoop::TimerId id : waits_) loop_.cancel(id);
}

TextInserter::Outcome ClipboardTextInserter::insert(std::string_view text, bool autoPaste, std::int64_t run) {
  if (text.empty()) return Outcome::copiedToClipboard;
  diagnostics_.record("delivery", "insert-start", runTag(run));
  Clipboard& clipboard = restorer_.clipboard();
  const bool canPaste = autoPaste && keys_.mayPostEvents();

  ClipboardSnapshot snapshot;
  if (canPaste) {
    // Right after our own paste the clipboard still holds our text, and the user's clipboard is the
    // pending snapshot: capturing now would "save" our own dictation.
    const auto& pending = restorer_.pending();
    if (pending && clipboard.changeCount() == pending->changeCount)
      snapshot = pending->snapshot;
    else
      snapshot = ClipboardSnapshot::capture(clipboard, restorer_.captureQueue(), kCaptureTimeout);
  }

  clipboard.writeText(text);

  if (!canPaste) {
    diagnostics_.record("delivery", "copied",
                        runTag(run) + (autoPaste ? " reason=no-permission" : " reason=off"));
    return Outcome::copiedToClipboard;
  }
  postPasteChord(run);
  restorer_.scheduleRestore(std::move(snapshot), clipboard.changeCount());
  return Outcome::pastedAtCursor;
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
