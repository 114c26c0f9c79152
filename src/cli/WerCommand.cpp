#include "accuracy/WER.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli wer (--reference TEXT | --reference-file PATH)\n"
    "                       (--hypothesis TEXT | --hypothesis-file PATH)\n"
    "Prints {\"substitutions\",\"deletions\",\"insertions\",\"hits\",\"wer\",\"missedReferencePositions\"}\n"
    "as one JSON object. A PATH of - reads standard input.\n";

// The alignment table is quadratic; past this many cells it would not fit in memory.
constexpr double kMaxCells = 2e8;

}  // namespace

int runWer(CommandContext& context) {
  int exitCode = kSuccess;
  auto args =
      context.parse({{"reference", "reference-file", "hypothesis", "hypothesis-file"}, {}}, kUsage, exitCode);
  if (!args) return exitCode;
  if (!args->positionals().empty())
    return context.usageError("unexpected argument " + args->positionals()[0], kUsage);

  std::string texts[2];
  const char* names[2] = {"reference", "hypothesis"};
  for (int i = 0; i < 2; ++i) {
    auto text = args->option(names[i]);
    auto file = args->option(std::string(names[i]) + "-file");
    if (text.has_value() == file.has_value()) {
      return context.usageError(
          std::string("give exactly one of --") + names[i] + " and --" + names[i] + "-file", kUsage);
    }
    if (file) {
      std::string error;
      auto contents = readTextFile(*file, error);
      if (!contents) return context.failure(error);
      texts[i] = std::move(*contents);
    } else {
      texts[i] = std::move(*text);
    }
  }

  double cells = (static_cast<double>(WER::normalize(texts[0]).size()) + 1) *
                 (static_cast<double>(WER::normalize(texts[1]).size()) + 1);
  if (cells > kMaxCells)
    return context.failure("the texts are too long to align (at most about 14,000 words each)");

  WER::Result result = WER::score(texts[0], texts[1]);
  nlohmann::ordered_json json;
  json["substitutions"] = result.substitutions;
  json["deletions"] = result.deletions;
  json["insertions"] = result.insertions;
  json["hits"] = result.hits;
  json["wer"] = result.errorRate();
  json["missedReferencePositions"] = result.missedReferencePositions;
  context.printJson(json);
  return kSuccess;
}

}  // namespace murvelo::cli
