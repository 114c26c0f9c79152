#include <iostream>
#include <string>
#include <vector>

#include "base/linux/JournalLogSink.h"
#include "cli/Commands.h"

namespace {

void printUsage(std::ostream& out) {
  out << "usage: murvelo-cli COMMAND [ARGS...]   (murvelo-cli COMMAND --help for its arguments)\n\n"
         "Commands:\n";
  for (const auto& command : murvelo::cli::kCommands) {
    std::string name(command.name);
    out << "  " << name << std::string(12 - name.size(), ' ') << command.summary << "\n";
  }
}

}  // namespace

int main(int argc, char** argv) {
  using namespace murvelo::cli;
  // The terminal is for the command's own output; warnings and errors still reach stderr.
  murvelo::Log::setSink(murvelo::makeSystemLogSink(murvelo::LogLevel::warning));

  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    printUsage(std::cerr);
    return kUsageError;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    printUsage(std::cout);
    return kSuccess;
  }
  for (const auto& command : kCommands) {
    if (command.name == args[0]) {
      CommandContext context(args[0], std::vector<std::string>(args.begin() + 1, args.end()), std::cout,
                             std::cerr);
      return command.run(context);
    }
  }
  std::cerr << "murvelo-cli: unknown command \"" << args[0] << "\"\n";
  printUsage(std::cerr);
  return kUsageError;
}
