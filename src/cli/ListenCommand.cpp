#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <charconv>
#include <cmath>
#include <thread>

#include "app/AppSettings.h"
#include "base/EventLoop.h"
#include "cli/Commands.h"
#include "hotkey/HotkeyListener.h"
#include "hotkey/linux/TalkKeyBackend.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli listen [--seconds S]\n"
    "Watches the talk key chosen in the settings (murvelo-cli settings hotkey ...) the way the\n"
    "desktop program does, and prints \"hotkey DOWN\" and \"hotkey UP\" as it goes down and up.\n"
    "The first line names the key, the back-end and whether it is live. Runs for S seconds, or\n"
    "until interrupted. Exits 1, saying what to do, when the key cannot be watched.\n";

constexpr double kMaxSeconds = 24 * 3600;

std::optional<double> parseSeconds(const std::string& text) {
  double value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value) || value <= 0 ||
      value > kMaxSeconds)
    return std::nullopt;
  return value;
}

// Turns SIGINT and SIGTERM into a quit of the loop. Must exist before any other thread starts,
// so every thread inherits the blocked signals and only this one takes them.
class InterruptWatch {
 public:
  explicit InterruptWatch(EventLoop& loop) {
    sigemptyset(&set_);
    sigaddset(&set_, SIGINT);
    sigaddset(&set_, SIGTERM);
    sigaddset(&set_, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &set_, &previous_);
    thread_ = std::thread([this, &loop] {
      int signal = 0;
      sigwait(&set_, &signal);
      if (!done_) loop.quit();
    });
  }
  ~InterruptWatch() {
    done_ = true;
    pthread_kill(thread_.native_handle(), SIGUSR1);
    thread_.join();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }

 private:
  sigset_t set_;
  sigset_t previous_;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace

int runListen(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{"seconds"}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty()) return context.usageError("listen takes no file", kUsage);
  std::optional<double> seconds;
  if (auto text = args->option("seconds")) {
    seconds = parseSeconds(*text);
    if (!seconds)
      return context.usageError("--seconds takes a number of seconds above 0 (at most a day)", kUsage);
  }

  AppSettings settings(context.defaults());
  EventLoop loop;
  InterruptWatch interrupts(loop);
  TalkKeyBackendChoice choice = makeTalkKeySource(loop);
  if (!choice.source) return context.failure(choice.why);

  auto line = [&](const std::string& text) { context.out() << text << std::endl; };
  HotkeyListener listener(
      choice.source.get(), settings.hotkey(), [&] { line("hotkey DOWN"); }, [&] { line("hotkey UP"); });
  if (!listener.start())
    return context.failure(std::string(rawValue(settings.hotkey())) + " with " + choice.source->name() +
                           ": " + choice.source->problem());
  line("listening for " + std::string(rawValue(settings.hotkey())) + " with " + choice.source->name() + " (" +
       choice.why + "): " + (listener.isLive() ? "live" : "not live"));

  if (seconds)
    loop.postAfter(std::chrono::duration_cast<MainLoop::Duration>(std::chrono::duration<double>(*seconds)),
                   [&] { loop.quit(); });
  loop.run();
  listener.stop();
  return kSuccess;
}

}  // namespace murvelo::cli
