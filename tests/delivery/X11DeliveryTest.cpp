#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <thread>

#include "base/Diagnostics.h"
#include "base/EventLoop.h"
#include "delivery/ClipboardTextInserter.h"
#include "delivery/x11/X11Clipboard.h"
#include "delivery/x11/X11KeyPoster.h"
#include "support/ChildProcess.h"
#include "support/GtkTextWindow.h"
#include "support/Pump.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"
#include "support/XvfbServer.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

using test::readFile;

bool waitFor(const std::function<bool()>& condition) { return test::waitUntil(condition, 10s); }

class X11Delivery : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    server_ = std::make_unique<test::XvfbServer>();
    if (!test::XvfbServer::available() || !server_->start()) server_.reset();
  }
  static void TearDownTestSuite() { server_.reset(); }
  void SetUp() override {
    if (!server_) GTEST_SKIP() << "no Xvfb";
    env_ = {{"DISPLAY", server_->display()}, {"HOME", dir_.path().string()}};
    childEnv_ = {env_.begin(), env_.end()};
  }
  void TearDown() override { owner_.stop(); }

  // A GTK3 text field with the focus.
  void openField() {
    field_ = std::make_unique<test::GtkTextWindow>();
    ASSERT_TRUE(field_->open(server_->display(), {})) << field_->log();
  }

  // Another program takes the clipboard with these types.
  void ownClipboard(const std::map<std::string, std::string>& types, bool silent = false) {
    std::vector<std::string> argv = {MURVELO_CLIPBOARD_OWNER_PATH};
    if (silent) argv.push_back("--silent");
    int n = 0;
    for (const auto& [type, bytes] : types) {
      fs::path file = dir_ / ("type" + std::to_string(n++));
      test::writeFile(file, bytes);
      argv.push_back(type + "=" + file.string());
    }
    fs::remove(dir_ / "owner.out");
    ASSERT_TRUE(owner_.start(argv, childEnv_, dir_ / "owner.out"));
    ASSERT_TRUE(waitFor([&] { return readFile(dir_ / "owner.out") == "ready\n"; }));
  }

  nlohmann::json paste(const std::vector<std::string>& args, const std::string& input = {}) {
    std::vector<std::string> all = {"paste"};
    all.insert(all.end(), args.begin(), args.end());
    auto result = test::runProcess(MURVELO_CLI_PATH, all, env_, input);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return nlohmann::json::parse(result.out, nullptr, false);
  }

  std::string clip(const std::string& type) {
    return test::runProcess("/usr/bin/xclip", {"-o", "-selection", "clipboard", "-t", type}, env_).out;
  }

  static inline std::unique_ptr<test::XvfbServer> server_;
  test::TempDir dir_;
  std::map<std::string, std::string> env_;
  std::map<std::string, std::optional<std::string>> childEnv_;
  std::unique_ptr<test::GtkTextWindow> field_;
  test::ChildProcess owner_;
};

constexpr int kAttempts = 3;

const std::map<std::string, std::string> kUserClipboard = {
    {"text/plain", "the user's own clipboard"},
    {"text/html", "<p>the <b>user's</b> own clipboard</p>"},
    {"image/png", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff\xfe", 18)},
};

// Emoji, combining marks and right-to-left text, 8,000 characters in all.
std::string awkwardText() {
  const std::string unit = "e\u0301 \U0001F600 \u05E9\u05DC\u05D5\u05DD ab ";  // 10 characters
  std::string text;
  for (int i = 0; i < 800; ++i) text += unit;
  return text;
}

TEST_F(X11Delivery, CopyMadeRightAfterThePasteSurvives) {
  nlohmann::json json;
  for (int attempt = 0; attempt < kAttempts && json["clipboard"] != "skipped"; ++attempt) {
    openField();
    ownClipboard(kUserClipboard);
    test::ChildProcess cli;
    const fs::path out = dir_ / "cli.json";
    ASSERT_TRUE(cli.start({"/bin/sh", "-c", "exec \"$0\" paste 'dictated ' >" + out.string() + " 2>/dev/null",
                           MURVELO_CLI_PATH},
                          childEnv_, dir_ / "cli.out"));
    ASSERT_TRUE(waitFor([&] { return field_->contents() == "dictated "; }));
    // xclip stays behind holding the clipboard; its first process returns at once.
    test::runProcess(
        "/bin/sh", {"-c", "printf 'copied meanwhile' | xclip -i -selection clipboard >/dev/null 2>&1"}, env_);
    ASSERT_TRUE(waitFor([&] { return !cli.running(); }));
    json = nlohmann::json::parse(readFile(out), nullptr, false);
  }
  EXPECT_EQ(json["clipboard"], "skipped");
  EXPECT_EQ(clip("UTF8_STRING"), "copied meanwhile");
}

TEST_F(X11Delivery, ASilentOwnerOrAutoPasteOffLeaveTheTextOnTheClipboard) {
  struct Case {
    const char* name;
    bool silentOwner;
    std::vector<std::string> args;
    const char *outcome, *clipboard, *field;
  };
  const Case cases[] = {
      {"silent owner", true, {"still lands "}, "pastedAtCursor", "nothingToRestore", "still lands "},
      {"auto-paste off", false, {"--no-auto-paste", "copied "}, "copiedToClipboard", "notTouched", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    openField();
    ownClipboard(kUserClipboard, c.silentOwner);
    auto json = paste(c.args);
    EXPECT_EQ(json["outcome"], c.outcome);
    EXPECT_EQ(json["clipboard"], c.clipboard);
    EXPECT_TRUE(waitFor([&] { return field_->contents() == c.field; })) << field_->contents();
    EXPECT_EQ(clip("UTF8_STRING"), c.args.back());
  }
}

TEST_F(X11Delivery, ARealXtermGetsCtrlShiftVAndTheText) {
  if (!fs::exists("/usr/bin/xterm")) GTEST_SKIP() << "xterm is not installed";
  // Stock xterm binds no paste chord; this one is set up as its users do for Ctrl+Shift+V. It
  // covers the pointer, so it has the keyboard without a window manager; the shell writes the
  // line it reads.
  const fs::path out = dir_ / "xterm.txt";
  test::ChildProcess term;
  ASSERT_TRUE(
      term.start({"/usr/bin/xterm", "-geometry", "220x70+0+0", "-xrm",
                  "XTerm*VT100.translations: #override Ctrl Shift <Key>V: insert-selection(CLIPBOARD)", "-e",
                  "/bin/sh", "-c", "IFS= read -r line; printf %s \"$line\" > " + out.string()},
                 childEnv_, dir_ / "xterm.out"));
  auto keys = X11KeyPoster::open(server_->display().c_str());
  ASSERT_TRUE(keys);
  ASSERT_TRUE(waitFor([&] {
    return keys->focusedWindowClasses() == std::vector<std::string>{"xterm", "XTerm"};
  }));
  std::this_thread::sleep_for(300ms);  // the shell starts reading
  auto json = paste({"pasted into xterm\n"});
  EXPECT_EQ(json["pasteKey"], "ctrl+shift+v");
  EXPECT_TRUE(waitFor([&] { return readFile(out) == "pasted into xterm"; })) << readFile(out);
}

TEST_F(X11Delivery, LargeClipboardTravelsInChunksOrIsSkipped) {
  openField();
  // Our own copy-only delivery holds it, served in INCR chunks to whoever reads it.
  std::string big(50 * 1024 * 1024, 'x');
  for (std::size_t i = 0; i < big.size(); i += 4096) big[i] = static_cast<char>('a' + (i / 4096) % 26);
  ASSERT_EQ(paste({"--no-auto-paste"}, big)["outcome"], "copiedToClipboard");
  ASSERT_EQ(clip("UTF8_STRING"), big);
  auto json = paste({"small "});
  EXPECT_EQ(json["outcome"], "pastedAtCursor");
  if (json["clipboard"] == "restored")
    EXPECT_EQ(clip("UTF8_STRING"), big);
  else
    EXPECT_EQ(json["clipboard"], "nothingToRestore");

  // Another process serves a megabyte in chunks; a read without a time limit gets all of it.
  std::string mid(1024 * 1024, 'm');
  mid.back() = 'z';
  ASSERT_EQ(paste({"--no-auto-paste"}, mid)["outcome"], "copiedToClipboard");
  auto clipboard = X11Clipboard::open(server_->display().c_str(), 60s);
  ASSERT_TRUE(clipboard);
  auto items = clipboard->readItems();
  ASSERT_EQ(items.size(), 1u);
  EXPECT_TRUE(std::ranges::any_of(
      items[0].entries, [&](auto& entry) { return entry.first == "UTF8_STRING" && entry.second == mid; }));
}

// The second paste, of awkward text, comes before the first one's restore; every type the user had
// comes back.
TEST_F(X11Delivery, TwoPastesInQuickSuccessionRestoreTheClipboardFromBeforeTheFirst) {
  const std::string text = awkwardText();
  const std::vector expected = {ClipboardRestorer::Result::superseded, ClipboardRestorer::Result::restored};
  std::vector<ClipboardRestorer::Result> results;
  auto clipboard = X11Clipboard::open(server_->display().c_str());
  auto keys = X11KeyPoster::open(server_->display().c_str());
  ASSERT_TRUE(clipboard && keys);
  for (int attempt = 0; attempt < kAttempts && results != expected; ++attempt) {
    openField();
    ownClipboard(kUserClipboard);
    EventLoop loop;
    Diagnostics diagnostics;
    ClipboardRestorer restorer(loop, *clipboard, diagnostics);
    ClipboardTextInserter inserter(loop, restorer, *keys, diagnostics);
    results.clear();
    restorer.setSettledObserver([&](ClipboardRestorer::Result r) {
      results.push_back(r);
      if (results.size() == 2) loop.quit();
    });
    loop.post([&] { inserter.insert("one ", true, 1); });
    loop.postAfter(200ms, [&] { inserter.insert(text, true, 2); });
    loop.postAfter(5s, [&] { loop.quit(); });
    loop.run();
    EXPECT_TRUE(waitFor([&] { return field_->contents() == "one " + text; }))
        << field_->contents().size() << " bytes";
  }
  EXPECT_EQ(results, expected);
  for (const auto& [type, bytes] : kUserClipboard) EXPECT_EQ(clip(type), bytes) << type;
}

}  // namespace
}  // namespace murvelo
