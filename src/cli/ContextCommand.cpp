#include "cli/Commands.h"
#include "delivery/atspi/AtspiCursorContextReader.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli context\n"
    "Reads the focused text field through the accessibility bus (AT-SPI) and prints one JSON object:\n"
    "{\"available\",\"atStart\",\"precedingChar\",\"secondPrecedingChar\",\"sentencePredecessor\",\n"
    "\"followingChar\",\"startsSentence\",\"needsLeadingSpace\"}; characters are strings or null.\n"
    "Without an accessibility bus or a focused field the context is unavailable.\n";

nlohmann::ordered_json character(const std::optional<std::string>& c) {
  return c ? nlohmann::ordered_json(*c) : nlohmann::ordered_json(nullptr);
}

}  // namespace

int runContext(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty())
    return context.usageError("unexpected argument " + args->positionals()[0], kUsage);

  AtspiCursorContextReader reader(nullptr);
  CursorContext cursor = reader.readNow();
  nlohmann::ordered_json json;
  json["available"] = cursor.available;
  json["atStart"] = cursor.atStart;
  json["precedingChar"] = character(cursor.precedingChar);
  json["secondPrecedingChar"] = character(cursor.secondPrecedingChar);
  json["sentencePredecessor"] = character(cursor.sentencePredecessor);
  json["followingChar"] = character(cursor.followingChar);
  json["startsSentence"] = cursor.startsSentence();
  json["needsLeadingSpace"] = cursor.needsLeadingSpace();
  context.printJson(json);
  return kSuccess;
}

}  // namespace murvelo::cli
