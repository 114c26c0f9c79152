#include <ostream>

#include "accuracy/WER.h"
#include "app/AppSettings.h"
#include "base/Paths.h"
#include "cli/Commands.h"
#include "history/HistoryStore.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli demo\n"
    "Loads the settings and history as the program does and scores a sample transcript.\n";

constexpr const char* kReference = "It's $1,200.50! Send the report to Maria on Tuesday.";
constexpr const char* kHypothesis = "its 1200 dollars 50 cents send the report to marie on tuesday";

}  // namespace

int runDemo(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({}, kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty()) return context.usageError("unexpected argument", kUsage);

  AppSettings settings(context.defaults());
  HistoryStore history(context.defaults());
  history.load();

  std::ostream& out = context.out();
  out << "Murvelo — push-to-talk dictation\n\n"
      << "Settings file:   " << Paths::defaultsFile().string() << "\n"
      << "Cleanup level:   " << rawValue(settings.cleanupLevel()) << "\n"
      << "Talk key:        " << rawValue(settings.hotkey()) << " (" << rawValue(settings.recordingMode())
      << " mode)\n"
      << "Microphone:      " << settings.microphoneSelection().storedString() << "\n"
      << "History:         " << history.items().size() << " recent dictation(s)\n\n";

  WER::Result result = WER::score(kReference, kHypothesis);
  out << "Word error rate of a sample transcript\n"
      << "  reference:  " << kReference << "\n"
      << "  transcript: " << kHypothesis << "\n"
      << "  hits " << result.hits << ", substitutions " << result.substitutions << ", deletions "
      << result.deletions << ", insertions " << result.insertions << " -> WER " << result.errorRate() * 100
      << " %\n";
  return kSuccess;
}

}  // namespace murvelo::cli
