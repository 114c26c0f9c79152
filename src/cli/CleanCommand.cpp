#include "base/TextTrim.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"
#include "cleanup/DeterministicFormat.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli clean --level none|light|format [--mid-sentence] [--developer-vocab] [--json]\n"
    "Reads UTF-8 text on standard input, cleans it at the level, applies the corrections (My Words and\n"
    "the vocabulary packs) and prints the text. --mid-sentence: the text continues a sentence.\n"
    "--json prints {\"text\",\"edits\":[{\"rule\",\"before\",\"after\"}],\"rejection\"} instead.\n";

}  // namespace

int runClean(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({{"level"}, {"mid-sentence", "developer-vocab", "json"}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty())
    return context.usageError("unexpected argument " + args->positionals()[0], kUsage);
  const auto levelText = args->option("level");
  if (!levelText) return context.usageError("give --level", kUsage);
  const auto level = parseCleanupLevel(*levelText);
  if (!level) return context.usageError("unknown level " + *levelText, kUsage);

  std::string error;
  auto input = readTextFile("-", error);
  if (!input) return context.failure(error);
  // The controller trims what the recogniser hands it before cleanup; so does this.
  const std::string raw = trimWhitespaceAndNewlines(*input);

  CorrectionsDictionary corrections(context.defaults());
  corrections.load();
  const cleanup::DeterministicFormat format;
  const CleanupStep step(&format, corrections);
  const CleanedTranscript cleaned =
      step.clean(raw, *level, !args->flag("mid-sentence"), args->flag("developer-vocab"));

  if (!args->flag("json")) {
    context.out() << cleaned.text << '\n';
    return kSuccess;
  }
  nlohmann::ordered_json json;
  json["text"] = cleaned.text;
  json["edits"] = nlohmann::ordered_json::array();
  for (const auto& edit : cleaned.edits) {
    json["edits"].push_back({{"rule", edit.rule}, {"before", edit.before}, {"after", edit.after}});
  }
  // "format-unchanged" is an outcome, not a refusal.
  if (cleaned.fallback && *cleaned.fallback != "format-unchanged") {
    json["rejection"] = *cleaned.fallback;
  } else {
    json["rejection"] = nullptr;
  }
  context.printJson(json);
  return kSuccess;
}

}  // namespace murvelo::cli
