#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/MainLoop.h"
#include "delivery/ClipboardRestorer.h"
#include "delivery/KeyPoster.h"
#include "delivery/TextInserter.h"

namespace murvelo {

class Diagnostics;

// Delivers text through the clipboard: writes it, types the paste chord when allowed, and has the
// restorer put the user's clipboard back afterwards.
class ClipboardTextInserter : public TextInserter {
 public:
  // The longest an insert holds the main thread, all of its waits together.
  static constexpr std::chrono::milliseconds kMainThreadLimit{300};
  // Kept from the snapshot's wait for writing our text and reading the count after it.
  static constexpr std::chrono::milliseconds kWriteReserve{20};
  static constexpr std::chrono::milliseconds kModifierWait{45};

  ClipboardTextInserter(MainLoop& loop, ClipboardRestorer& restorer, KeyPoster& keys,
                        Diagnostics& diagnostics);
  ~ClipboardTextInserter() override;

  // An empty text touches nothing and counts as copied. When the clipboard takes the text only
  // after the main thread stopped waiting, the chord is typed once it has.
  Outcome insert(std::string_view text, bool autoPaste, std::int64_t run) override;

  // Window classes the user wants treated as terminals, on top of the built-in list.
  void setExtraTerminalClasses(std::vector<std::string> classes) { extraTerminals_ = std::move(classes); }

  // Types the paste chord into the focused window, 45 ms later when Alt or the talk key is still
  // down (once: it is not checked again).
  void postPasteChord(std::int64_t run);

  // Called after each chord is posted, with the key chosen and how many events went out.
  void setPostedObserver(std::function<void(PasteKey, int)> observer) { posted_ = std::move(observer); }

 private:
  void postNow(std::int64_t run);
  void finishPaste(ClipboardSnapshot snapshot, Clipboard::Deadline deadline, std::int64_t run);

  MainLoop& loop_;
  ClipboardRestorer& restorer_;
  KeyPoster& keys_;
  Diagnostics& diagnostics_;
  std::vector<std::string> extraTerminals_;
  std::function<void(PasteKey, int)> posted_;
  std::vector<MainLoop::TimerId> waits_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
  // How a clipboard worker reaches the loop: only while this inserter exists.
  struct LoopHandle {
    std::mutex mutex;
    MainLoop* loop = nullptr;
  };
  std::shared_ptr<LoopHandle> handle_;
};

}  // namespace murvelo
