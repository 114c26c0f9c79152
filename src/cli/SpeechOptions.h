#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/CommandContext.h"
#include "speech/Recognizer.h"

namespace murvelo::cli {

// The recogniser chosen by --engine and --model, else by the user's "speechEngine" setting. No
// recogniser (and `exitCode` set) when the options are bad.
std::shared_ptr<Recognizer> recognizerFromOptions(CommandContext& context, const Arguments& args,
                                                  const std::string& usage, int& exitCode);

}  // namespace murvelo::cli
