#include <cstdlib>
#include <fstream>

#include "app/SupportReport.h"
#include "app/linux/SystemProbes.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli report [FILE]\n"
    "Writes the support report (build facts, the checks of this session, the audio inputs, the model\n"
    "and the settings) to FILE, or to standard output. It holds no dictated words, corrections,\n"
    "audio or clipboard contents. Recent events are kept by the running murvelo: save its report\n"
    "from the tray menu to include them.\n";

}  // namespace

int runReport(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({}, kUsage, exitCode);
  if (!args) return exitCode;
  if (args->positionals().size() > 1) return context.usageError("give at most one FILE", kUsage);

  SupportReport::Facts facts;
  facts.createdAt = std::chrono::system_clock::now();
  facts.program = "murvelo-cli";
  facts.build = SupportReport::buildFacts("n/a in murvelo-cli (murvelo is built with " +
                                          std::string(SupportReport::qtBuildVersion()) + ")");
  facts.sessionType = SupportReport::sessionType([](const char* name) { return std::getenv(name); });
  auto probes = SystemProbes::run();
  facts.probes = std::move(probes.probes);
  facts.devices = std::move(probes.devices);
  SupportReport::readStore(context.defaults(), facts);
  facts.eventsNote = "murvelo-cli keeps no events; the running murvelo's report has them";
  const std::string report = SupportReport::render(facts);

  if (args->positionals().empty()) {
    context.out() << report;
    return kSuccess;
  }
  const std::string& path = args->positionals()[0];
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!(file << report) || !file.flush()) return context.failure("cannot write " + path);
  return kSuccess;
}

}  // namespace murvelo::cli
