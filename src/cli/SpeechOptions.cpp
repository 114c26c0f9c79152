#include "cli/SpeechOptions.h"

#include "app/AppSettings.h"
#include "speech/engines/RecognizerFactory.h"

namespace murvelo::cli {

std::shared_ptr<Recognizer> recognizerFromOptions(CommandContext& context, const Arguments& args,
                                                  const std::string& usage, int& exitCode) {
  SpeechEngineChoice choice;
  if (auto engine = args.option("engine")) {
    auto parsed = parseSpeechEngineChoice(*engine);
    if (!parsed) {
      exitCode =
          context.usageError("unknown engine \"" + *engine + "\" (auto, whisper or pocketsphinx)", usage);
      return nullptr;
    }
    choice = *parsed;
  } else {
    choice = AppSettings(context.defaults()).speechEngine();
  }
  std::optional<std::filesystem::path> model;
  if (auto path = args.option("model")) model = std::filesystem::path(*path);
  return makeRecognizer(choice, model);
}

}  // namespace murvelo::cli
