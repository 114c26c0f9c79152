#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace murvelo::cli {

// The arguments of one subcommand: "--name value" options, "--flag" switches and positionals.
// Which names take a value is declared up front, so "--level --json" is an error, not a value.
class Arguments {
 public:
  struct Spec {
    std::set<std::string> options;  // take a value
    std::set<std::string> flags;    // take none
  };

  // Parses `args`; on a bad argument returns no value and sets `error`.
  static std::optional<Arguments> parse(const std::vector<std::string>& args, const Spec& spec,
                                        std::string& error);

  std::optional<std::string> option(const std::string& name) const;
  bool flag(const std::string& name) const { return flags_.count(name) != 0; }
  const std::vector<std::string>& positionals() const { return positionals_; }

 private:
  std::map<std::string, std::string> options_;
  std::set<std::string> flags_;
  std::vector<std::string> positionals_;
};

}  // namespace murvelo::cli
