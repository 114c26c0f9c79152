#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <sstream>
#include <thread>

#include "app/AppSettings.h"
#include "base/Diagnostics.h"
#include "base/EventLoop.h"
#include "cli/Commands.h"
#include "delivery/ClipboardTextInserter.h"
#include "delivery/uinput/UinputKeyPoster.h"
#include "delivery/x11/X11Clipboard.h"
#include "delivery/x11/X11KeyPoster.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli paste [--no-auto-paste] [TEXT]\n"
    "Delivers TEXT (standard input when absent) exactly as a dictation would: onto the clipboard and,\n"
    "with auto-paste on in the settings and unless --no-auto-paste, pasted at the cursor, the earlier\n"
    "clipboard put back 600 ms later. Waits for that, then prints\n"
    "{\"outcome\",\"pasteKey\",\"clipboard\"}: outcome pastedAtCursor | copiedToClipboard; clipboard\n"
    "restored | skipped | nothingToRestore | notTouched. A process stays behind, holding the clipboard,\n"
    "until another program takes it (X11 forgets a clipboard whose owner exits).\n";

struct Delivery {
  std::string outcome;
  std::optional<std::string> pasteKey;
  std::string clipboard = "notTouched";
  int exitCode = kSuccess;
  std::string error;
};

Delivery deliver(const std::string& text, bool autoPaste, const std::vector<std::string>& terminals,
                 std::unique_ptr<X11Clipboard>& clipboard) {
  Delivery result;
  clipboard = X11Clipboard::open();
  if (!clipboard) {
    result.exitCode = kFailure;
    result.error = "no X display with XFixes for the clipboard (DISPLAY is not usable)";
    return result;
  }
  std::unique_ptr<KeyPoster> keys;
  if (std::getenv("WAYLAND_DISPLAY"))
    keys = UinputKeyPoster::open();
  else
    keys = X11KeyPoster::open();
  if (!keys) keys = UinputKeyPoster::open();

  EventLoop loop;
  Diagnostics diagnostics;
  ClipboardRestorer restorer(loop, *clipboard, diagnostics);
  ClipboardTextInserter inserter(loop, restorer, *keys, diagnostics);
  inserter.setExtraTerminalClasses(terminals);
  bool posted = false, settled = false;
  auto finishWhenDone = [&] {
    if (posted && settled) loop.quit();
  };
  inserter.setPostedObserver([&](PasteKey key, int) {
    result.pasteKey = std::string(pasteKeyName(key));
    posted = true;
    finishWhenDone();
  });
  restorer.setSettledObserver([&](ClipboardRestorer::Result settledAs) {
    result.clipboard = std::string(restoreResultName(settledAs));
    settled = true;
    finishWhenDone();
  });
  loop.post([&] {
    auto outcome = inserter.insert(text, autoPaste, 0);
    result.outcome = std::string(outcomeName(outcome));
    if (outcome == TextInserter::Outcome::copiedToClipboard) loop.quit();
  });
  // The restore is due 600 ms after the paste; this only guards against a wedged display.
  loop.postAfter(std::chrono::seconds(5), [&] { loop.quit(); });
  loop.run();
  return result;
}

}  // namespace

int runPaste(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{}, {"no-auto-paste"}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (args->positionals().size() > 1) return context.usageError("give at most one TEXT", kUsage);
  std::string text;
  if (args->positionals().empty()) {
    std::string error;
    auto input = readTextFile("-", error);
    if (!input) return context.failure(error);
    text = std::move(*input);
  } else {
    text = args->positionals()[0];
  }
  AppSettings settings(context.defaults());
  const bool autoPaste = settings.autoPaste() && !args->flag("no-auto-paste");
  const std::vector<std::string> terminals = settings.terminalWindowClasses();

  // The work happens in a child that outlives this process while it holds the clipboard; no
  // thread exists yet, so forking is safe.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) return context.failure("cannot create a pipe");
  context.out().flush();
  context.err().flush();
  pid_t child = fork();
  if (child < 0) return context.failure("cannot fork");
  if (child == 0) {
    close(report[0]);
    setsid();
    std::unique_ptr<X11Clipboard> clipboard;
    Delivery result = deliver(text, autoPaste, terminals, clipboard);
    nlohmann::ordered_json json;
    json["exitCode"] = result.exitCode;
    json["error"] = result.error;
    json["outcome"] = result.outcome;
    json["pasteKey"] = result.pasteKey ? nlohmann::ordered_json(*result.pasteKey) : nlohmann::ordered_json();
    json["clipboard"] = result.clipboard;
    std::string line = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    [[maybe_unused]] auto n = write(report[1], line.data(), line.size());
    close(report[1]);
    int devnull = open("/dev/null", O_RDWR);
    if (devnull >= 0) {
      dup2(devnull, STDIN_FILENO);
      dup2(devnull, STDOUT_FILENO);
      dup2(devnull, STDERR_FILENO);
    }
    while (clipboard && clipboard->owned()) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    _exit(0);
  }
  close(report[1]);
  std::string line;
  char buffer[4096];
  ssize_t n;
  while ((n = read(report[0], buffer, sizeof buffer)) > 0) line.append(buffer, static_cast<std::size_t>(n));
  close(report[0]);
  auto parsed = nlohmann::ordered_json::parse(line, nullptr, false);
  if (parsed.is_discarded()) {
    waitpid(child, nullptr, 0);
    return context.failure("the delivery ended without a result");
  }
  if (parsed["exitCode"] != kSuccess) return context.failure(parsed["error"].get<std::string>());
  nlohmann::ordered_json out;
  out["outcome"] = parsed["outcome"];
  out["pasteKey"] = parsed["pasteKey"];
  out["clipboard"] = parsed["clipboard"];
  context.printJson(out);
  return kSuccess;
}

}  // namespace murvelo::cli
