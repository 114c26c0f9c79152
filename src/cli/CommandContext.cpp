#include "cli/CommandContext.h"

#include <fstream>
#include <iostream>
#include <sstream>

#include "base/linux/FileDefaultsStore.h"
#include "base/Paths.h"

namespace murvelo::cli {

CommandContext::CommandContext(std::string command, std::vector<std::string> args, std::ostream& out,
                               std::ostream& err)
    : command_(std::move(command)), args_(std::move(args)), out_(out), err_(err) {}

CommandContext::~CommandContext() = default;

DefaultsStore& CommandContext::defaults() {
  if (!defaults_) defaults_ = FileDefaultsStore::open(Paths::defaultsFile());
  return *defaults_;
}

int CommandContext::usageError(const std::string& message, const std::string& usage) {
  err_ << "murvelo-cli " << command_ << ": " << message << "\n" << usage;
  return kUsageError;
}

int CommandContext::failure(const std::string& message) {
  err_ << "murvelo-cli " << command_ << ": " << message << "\n";
  return kFailure;
}

void CommandContext::printJson(const nlohmann::ordered_json& json) {
  out_ << json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

std::optional<Arguments> CommandContext::parse(const Arguments::Spec& spec, const std::string& usage,
                                               int& exitCode) {
  Arguments::Spec withHelp = spec;
  withHelp.flags.insert("help");
  std::string error;
  auto parsed = Arguments::parse(args_, withHelp, error);
  if (!parsed) {
    exitCode = usageError(error, usage);
    return std::nullopt;
  }
  if (parsed->flag("help")) {
    out_ << usage;
    exitCode = kSuccess;
    return std::nullopt;
  }
  return parsed;
}

std::optional<std::string> readTextFile(const std::string& path, std::string& error) {
  std::ostringstream contents;
  if (path == "-") {
    contents << std::cin.rdbuf();
    return contents.str();
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    error = "cannot read " + path;
    return std::nullopt;
  }
  contents << file.rdbuf();
  if (file.bad()) {
    error = "cannot read " + path;
    return std::nullopt;
  }
  return contents.str();
}

}  // namespace murvelo::cli
