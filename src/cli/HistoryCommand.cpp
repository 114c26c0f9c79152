#include "cli/Commands.h"
#include "history/HistoryStore.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli history          print recent dictations as JSON, newest first\n"
    "       murvelo-cli history clear    forget them all\n";

nlohmann::ordered_json toJson(const std::vector<HistoryStore::Item>& items) {
  // The stored form is the interface: print exactly what is kept.
  return nlohmann::ordered_json::parse(HistoryStore::encode(items));
}

}  // namespace

int runHistory(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({}, kUsage, exitCode);
  if (!args) return exitCode;
  const auto& words = args->positionals();
  if (words.size() > 1 || (words.size() == 1 && words[0] != "clear")) {
    return context.usageError("unknown arguments", kUsage);
  }
  HistoryStore history(context.defaults());
  history.load();
  if (words.empty()) {
    context.printJson(toJson(history.items()));
  } else if (Status status = history.clear(); !status) {
    return context.failure(status.message());
  }
  return kSuccess;
}

}  // namespace murvelo::cli
