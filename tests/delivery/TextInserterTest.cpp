#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <optional>

#include "base/Diagnostics.h"
#include "base/ManualLoop.h"
#include "delivery/ClipboardTextInserter.h"
#include "delivery/PasteKeyChoice.h"
#include "support/RecordingLogSink.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using Outcome = TextInserter::Outcome;

class FakeClipboard : public Clipboard {
 public:
  std::uint64_t changeCount(Deadline deadline) override {
    deadlines.push_back(deadline);
    return count_;
  }
  std::vector<ClipboardItem> readItems() override {
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [&] { return !stalled_; });
    return items_;
  }
  bool writeText(std::string_view text, Deadline deadline) override {
    deadlines.push_back(deadline);
    writeStarted = std::chrono::steady_clock::now();
    std::vector<ClipboardItem> items = {ClipboardItem{{{"text/plain;charset=utf-8", std::string(text)}}}};
    if (!landsInTime) {
      late_ = std::move(items);
      return false;
    }
    set(std::move(items));
    return true;
  }
  bool writeItems(const std::vector<ClipboardItem>& items, Deadline) override {
    set(items);
    return true;
  }
  void afterWrites(std::function<void()> job) override {
    if (late_) return afterLate_.push_back(std::move(job));
    job();
  }
  // The write the main thread stopped waiting for lands.
  void landLate() {
    set(std::move(*late_));
    late_.reset();
    for (auto& job : afterLate_) job();
    afterLate_.clear();
  }

  // Another program takes the clipboard.
  void set(std::vector<ClipboardItem> items) {
    std::lock_guard lock(mutex_);
    items_ = std::move(items);
    ++count_;
  }
  std::string text() {
    std::lock_guard lock(mutex_);
    return items_.empty() ? "" : items_[0].entries[0].second;
  }
  void stall(bool on) {
    {
      std::lock_guard lock(mutex_);
      stalled_ = on;
    }
    opened_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool stalled_ = false;
  std::vector<ClipboardItem> items_;
  std::uint64_t count_ = 0;
  std::optional<std::vector<ClipboardItem>> late_;
  std::vector<std::function<void()>> afterLate_;

 public:
  std::vector<Deadline> deadlines;  // what the main-thread calls were given
  Deadline writeStarted;
  bool landsInTime = true;
};

class FakeKeys : public KeyPoster {
 public:
  bool mayPostEvents() override { return allowed; }
  bool pasteBlockingModifierHeld() override { return held; }
  std::vector<std::string> focusedWindowClasses() override { return {"gedit", "Gedit"}; }
  int postPasteChord(PasteKey key) override {
    chords.push_back(key);
    return key == PasteKey::ctrlV ? 4 : 6;
  }

  bool allowed = true;
  bool held = false;
  std::vector<PasteKey> chords;
};

const std::vector<ClipboardItem> kUserClipboard = {
    {{{"text/plain", "user text"}, {"text/html", "<b>user</b>"}}},
    {{{"image/png", std::string("\x89PNG\0\x01", 6)}}},
};

struct Harness {
  ManualLoop loop;
  FakeClipboard clipboard;
  FakeKeys keys;
  Diagnostics diagnostics;
  ClipboardRestorer restorer{loop, clipboard, diagnostics};
  ClipboardTextInserter inserter{loop, restorer, keys, diagnostics};
  std::vector<ClipboardRestorer::Result> results;

  Harness() {
    clipboard.set(kUserClipboard);
    restorer.setSettledObserver([this](ClipboardRestorer::Result r) { results.push_back(r); });
  }
};

// A copy-only delivery must not be undone by the restore still pending from an earlier paste.
TEST(TextInserter, CopiesWithoutAChordWhenItMayNotPasteAndTouchesNothingForNoText) {
  struct Case {
    const char* name;
    const char* text;
    bool autoPaste, allowed;
    const char* clipboardAfter;
  };
  const Case cases[] = {
      {"auto-paste off", "copied ", false, true, "copied "},
      {"posting not permitted", "copied ", true, false, "copied "},
      {"no text", "", true, true, "user text"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Harness h;
    h.inserter.insert("first ", true, 1);
    h.keys.chords.clear();
    h.keys.allowed = c.allowed;
    EXPECT_EQ(h.inserter.insert(c.text, c.autoPaste, 2), Outcome::copiedToClipboard);
    EXPECT_TRUE(h.keys.chords.empty());
    h.loop.advance(1s);
    EXPECT_EQ(h.clipboard.text(), c.clipboardAfter);
  }
}

TEST(TextInserter, OneDeadlineBoundsEveryWaitOfAnInsert) {
  struct Case {
    const char* name;
    bool pendingFirst;  // a second paste checks the pending snapshot's count first
    bool stalled;       // the snapshot never answers
  };
  for (const Case& c :
       {Case{"fresh", false, false}, Case{"reuse", true, false}, Case{"stalled", false, true}}) {
    Harness h;
    if (c.pendingFirst) h.inserter.insert("one ", true, 1);
    h.clipboard.stall(c.stalled);
    h.clipboard.deadlines.clear();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(h.inserter.insert("two ", true, 2), Outcome::pastedAtCursor) << c.name;
    auto& seen = h.clipboard.deadlines;
    ASSERT_GE(seen.size(), c.pendingFirst ? 3u : 2u) << c.name;
    for (auto deadline : seen) EXPECT_EQ(deadline, seen.front()) << c.name;
    EXPECT_LT(seen.front() - start, ClipboardTextInserter::kMainThreadLimit + 5ms) << c.name;
    // Even a snapshot that never answers leaves the write time before the deadline.
    EXPECT_LT(h.clipboard.writeStarted, seen.front()) << c.name;
    h.clipboard.stall(false);
    h.restorer.captureQueue().drain();  // an answer that comes too late is dropped
    EXPECT_EQ(h.clipboard.text(), "two ") << c.name;
  }
}

TEST(TextInserter, ChordWaitsForAWriteThatLandsLateAndNothingOfTheTextIsLogged) {
  Harness h;
  test::ScopedLogCapture logs;
  h.clipboard.landsInTime = false;
  EXPECT_EQ(h.inserter.insert("late ", true, 1), Outcome::pastedAtCursor);
  h.loop.advance(1s);
  EXPECT_TRUE(h.keys.chords.empty());  // the clipboard still holds the user's contents
  EXPECT_EQ(h.clipboard.text(), "user text");
  h.clipboard.landLate();
  h.loop.runUntilIdle();
  EXPECT_EQ(h.keys.chords.size(), 1u);
  EXPECT_EQ(h.clipboard.text(), "late ");
  h.loop.advance(600ms);
  EXPECT_EQ(h.clipboard.text(), "user text");
  EXPECT_EQ(h.results, std::vector{ClipboardRestorer::Result::restored});
  for (const auto& event : h.diagnostics.snapshot())
    for (const char* secret : {"late", "user"}) EXPECT_EQ(event.detail.find(secret), std::string::npos);
  for (const auto& message : logs.sink().messages())
    for (const char* secret : {"late", "user"}) EXPECT_EQ(message.find(secret), std::string::npos);
}

// A held Alt would turn the chord into another shortcut: it waits a moment, then posts once anyway.
TEST(TextInserter, HeldAltDelaysTheChordOnce) {
  Harness h;
  h.keys.held = true;
  h.inserter.insert("x ", true, 1);
  EXPECT_TRUE(h.keys.chords.empty());
  h.loop.advance(1s);
  EXPECT_EQ(h.keys.chords.size(), 1u);
}

TEST(PasteKeyChoice, TerminalsGetCtrlShiftV) {
  struct Case {
    std::vector<std::string> classes;
    std::vector<std::string> extra;
    PasteKey expected;
  };
  const Case cases[] = {
      {{"gnome-terminal-server", "Gnome-terminal"}, {}, PasteKey::ctrlShiftV},
      {{"Alacritty"}, {}, PasteKey::ctrlShiftV},
      {{"firefox", "Firefox"}, {}, PasteKey::ctrlV},
      {{"stterm-like"}, {}, PasteKey::ctrlV},  // no prefix matching
      {{"", ""}, {""}, PasteKey::ctrlV},
      {{"myterm", "MyTerm"}, {"MYTERM"}, PasteKey::ctrlShiftV},
  };
  for (const auto& c : cases) EXPECT_EQ(choosePasteKey(c.classes, c.extra), c.expected) << c.classes.size();
}

}  // namespace
}  // namespace murvelo
