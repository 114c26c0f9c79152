#include "cli/Arguments.h"

namespace murvelo::cli {

std::optional<Arguments> Arguments::parse(const std::vector<std::string>& args, const Spec& spec,
                                          std::string& error) {
  Arguments parsed;
  bool onlyPositionals = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (onlyPositionals || arg.size() < 2 || arg.rfind("--", 0) != 0) {
      if (!onlyPositionals && arg.size() > 1 && arg[0] == '-' && arg != "-") {
        error = "unknown option " + arg;
        return std::nullopt;
      }
      parsed.positionals_.push_back(arg);
      continue;
    }
    if (arg == "--") {
      onlyPositionals = true;
      continue;
    }
    std::string name = arg.substr(2);
    std::optional<std::string> inlineValue;
    if (auto eq = name.find('='); eq != std::string::npos) {
      inlineValue = name.substr(eq + 1);
      name.resize(eq);
    }
    if (spec.flags.count(name) != 0) {
      if (inlineValue) {
        error = "--" + name + " takes no value";
        return std::nullopt;
      }
      parsed.flags_.insert(name);
    } else if (spec.options.count(name) != 0) {
      if (parsed.options_.count(name) != 0) {
        error = "--" + name + " given twice";
        return std::nullopt;
      }
      if (inlineValue) {
        parsed.options_[name] = *inlineValue;
      } else if (i + 1 < args.size()) {
        parsed.options_[name] = args[++i];
      } else {
        error = "--" + name + " needs a value";
        return std::nullopt;
      }
    } else {
      error = "unknown option --" + name;
      return std::nullopt;
    }
  }
  return parsed;
}

std::optional<std::string> Arguments::option(const std::string& name) const {
  auto found = options_.find(name);
  if (found == options_.end()) return std::nullopt;
  return found->second;
}

}  // namespace murvelo::cli
