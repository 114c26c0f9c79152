#include "cleanup/CorrectionsDictionary.h"
#include "cli/Commands.h"

namespace murvelo::cli {
namespace {

constexpr const char* kUsage =
    "usage: murvelo-cli words add WRONG RIGHT   correct WRONG to RIGHT from now on (any case of WRONG)\n"
    "       murvelo-cli words list              print your corrections as JSON\n"
    "       murvelo-cli words remove WRONG      forget the correction of WRONG\n";

}  // namespace

int runWords(CommandContext& context) {
  int exitCode = kSuccess;
  auto args = context.parse({}, kUsage, exitCode);
  if (!args) return exitCode;
  const auto& words = args->positionals();
  const std::string action = words.empty() ? "" : words[0];
  const bool valid = (action == "add" && words.size() == 3) || (action == "list" && words.size() == 1) ||
                     (action == "remove" && words.size() == 2);
  if (!valid) return context.usageError(words.empty() ? "give add, list or remove" : "bad arguments", kUsage);

  CorrectionsDictionary dictionary(context.defaults());
  dictionary.load();
  if (action == "list") {
    context.printJson(nlohmann::ordered_json::parse(CorrectionsDictionary::encode(dictionary.entries())));
    return kSuccess;
  }
  if (action == "add") {
    if (words[1].empty() || words[2].empty())
      return context.usageError("WRONG and RIGHT must not be empty", kUsage);
    if (Status status = dictionary.add(words[1], words[2]); !status) return context.failure(status.message());
    return kSuccess;
  }
  Status saved = Status::ok();
  if (!dictionary.remove(words[1], saved)) return context.failure("no correction for " + words[1]);
  if (!saved) return context.failure(saved.message());
  return kSuccess;
}

}  // namespace murvelo::cli
