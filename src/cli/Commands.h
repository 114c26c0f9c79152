#pragma once

#include <string_view>

#include "cli/CommandContext.h"

namespace murvelo::cli {

struct Command {
  std::string_view name;
  std::string_view summary;
  int (*run)(CommandContext& context);
};

int runWer(CommandContext& context);
int runSettings(CommandContext& context);
int runHistory(CommandContext& context);
int runSimulate(CommandContext& context);
int runClean(CommandContext& context);
int runWords(CommandContext& context);
int runTranscribe(CommandContext& context);
int runDictate(CommandContext& context);
int runModels(CommandContext& context);
int runDevices(CommandContext& context);
int runRecord(CommandContext& context);
int runListen(CommandContext& context);
int runContext(CommandContext& context);
int runPaste(CommandContext& context);
int runTalk(CommandContext& context);
int runReport(CommandContext& context);

// Every subcommand, in the order the usage lists them.
inline constexpr Command kCommands[] = {
    {"wer", "score a transcript against a reference by word error rate", runWer},
    {"settings", "print the settings, or set one", runSettings},
    {"history", "print recent dictations, or clear them", runHistory},
    {"simulate", "run a dictation scenario on simulated devices in virtual time", runSimulate},
    {"clean", "clean up text read on standard input at a cleanup level", runClean},
    {"words", "add, list or remove your corrections (My Words)", runWords},
    {"transcribe", "print the raw transcript of an audio file", runTranscribe},
    {"dictate", "dictate an audio file through the whole program and print the text", runDictate},
    {"models", "list whisper models, or download one", runModels},
    {"devices", "list the audio inputs as JSON", runDevices},
    {"record", "capture from the microphone into a 16 kHz WAV file", runRecord},
    {"listen", "print the talk key's presses and releases, to check it is seen", runListen},
    {"context", "print the focused text field's cursor context as JSON", runContext},
    {"paste", "deliver text at the cursor as a dictation would, and report how", runPaste},
    {"talk", "ask the running murvelo to start or stop dictating (start|stop|toggle)", runTalk},
    {"report", "write the support report to a file or standard output", runReport},
};

}  // namespace murvelo::cli
