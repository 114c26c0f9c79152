#pragma once

#include <iosfwd>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/Arguments.h"

namespace murvelo {
class DefaultsStore;
}

namespace murvelo::cli {

enum ExitCode : int { kSuccess = 0, kFailure = 1, kUsageError = 2 };

// What a subcommand gets: its arguments, the output streams and, on demand, the user's store.
class CommandContext {
 public:
  CommandContext(std::string command, std::vector<std::string> args, std::ostream& out, std::ostream& err);
  ~CommandContext();

  const std::string& command() const { return command_; }
  const std::vector<std::string>& args() const { return args_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }

  // The user's defaults store, opened at first use.
  DefaultsStore& defaults();

  // Prints "murvelo-cli <command>: <message>" and the usage on stderr; returns kUsageError.
  int usageError(const std::string& message, const std::string& usage);
  // Prints "murvelo-cli <command>: <message>" on stderr; returns kFailure.
  int failure(const std::string& message);
  // One JSON document on stdout; invalid UTF-8 is replaced, never thrown on.
  void printJson(const nlohmann::ordered_json& json);

  // Parses the arguments; handles --help (prints usage, returns kSuccess) and bad arguments
  // (returns kUsageError). `exitCode` is set and no value returned in those cases.
  std::optional<Arguments> parse(const Arguments::Spec& spec, const std::string& usage, int& exitCode);

 private:
  std::string command_;
  std::vector<std::string> args_;
  std::ostream& out_;
  std::ostream& err_;
  std::unique_ptr<DefaultsStore> defaults_;
};

// Reads a whole file, or standard input for "-".
std::optional<std::string> readTextFile(const std::string& path, std::string& error);

}  // namespace murvelo::cli
