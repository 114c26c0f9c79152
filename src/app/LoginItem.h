#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "base/Status.h"

namespace murvelo {

// Starting the program at login: an XDG autostart entry that exists exactly while the
// `openAtLogin` setting is on.
class LoginItem {
 public:
  static constexpr std::string_view kFileName = "com.murvelo.Murvelo.desktop";

  // `autostartDir` is $XDG_CONFIG_HOME/autostart; `executable` the program to start.
  LoginItem(std::filesystem::path autostartDir, std::string executable)
      : dir_(std::move(autostartDir)), executable_(std::move(executable)) {}

  // Writes the entry (only when its text differs) or removes it.
  Status apply(bool enabled) const;
  bool installed() const;
  std::filesystem::path file() const { return dir_ / kFileName; }

  // The entry's text for `executable`.
  static std::string entry(std::string_view executable);
  // `executable` as one argument of a desktop entry's Exec key.
  static std::string execArgument(std::string_view executable);

 private:
  std::filesystem::path dir_;
  std::string executable_;
};

}  // namespace murvelo
