#pragma once

#include <filesystem>

namespace murvelo {

// Where the program keeps its files, following the XDG base directory rules.
struct Paths {
  // $XDG_CONFIG_HOME/murvelo, else ~/.config/murvelo.
  static std::filesystem::path configDir();
  // configDir()/defaults.json: settings and history.
  static std::filesystem::path defaultsFile();
  // $XDG_DATA_HOME/murvelo, else ~/.local/share/murvelo.
  static std::filesystem::path dataDir();
  // $XDG_RUNTIME_DIR (a private tmpfs), else the system temporary directory.
  static std::filesystem::path runtimeDir();
};

}  // namespace murvelo
