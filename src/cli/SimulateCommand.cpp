#include "cli/Commands.h"
#include "sim/Scenario.h"
#include "sim/ScenarioRunner.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli simulate FILE\n"
    "Runs a dictation scenario on simulated devices in virtual time and prints what happened,\n"
    "one line per event: MS log TEXT | MS status NAME[ \"NOTICE\"] | MS deliver \"TEXT\" OUTCOME |\n"
    "MS history \"TEXT\". A FILE of - reads standard input.\n"
    "Scenario lines (# starts a comment):\n"
    "  at MS keydown|keyup|repeat        the talk key (repeat: an auto-repeat)\n"
    "  at MS resync up|down              the key's state read after a gap in key events\n"
    "  stream \"TEXT\" after MS | stream hang   the next run's streaming finalisation\n"
    "  stream limit on|off               race finalisation against 3 s, quarantining a stuck one\n"
    "  file \"TEXT\" after MS | file hang       the next file transcription\n"
    "  mic fail | mic silent | mic bluetooth \"NAME\" | mic substituted \"NAME\"   the next capture\n"
    "  level none|light|format   cursor \"TEXT BEFORE THE CURSOR\"   autopaste on|off\n"
    "  paste denied|allowed      mode hold|toggle                  run until MS\n";

}  // namespace

int runSimulate(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (args->positionals().size() != 1) return context.usageError("expected one scenario FILE", kUsage);

  std::string error;
  auto text = readTextFile(args->positionals()[0], error);
  if (!text) return context.failure(error);
  auto steps = sim::parseScenario(*text);
  if (!steps.ok()) {
    context.err() << "murvelo-cli simulate: " << args->positionals()[0] << ": line " << steps.error().line
                  << ": " << steps.error().message << "\n";
    return kUsageError;
  }
  for (const auto& line : sim::runScenario(steps.value())) context.out() << line << "\n";
  return kSuccess;
}

}  // namespace murvelo::cli
