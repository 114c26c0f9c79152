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
  // $XDG_STATE_HOME/murvelo, else ~/.local/state/murvelo: what the program learns as it runs.
  static std::filesystem::path stateDir();
  // $XDG_RUNTIME_DIR (a private tmpfs), else the system temporary directory.
  static std::filesystem::path runtimeDir();
  // Where recordings and warm-up files go: the folder a program set up for itself (a private one
  // that goes with the process), else runtimeDir().
  static std::filesystem::path tempAudioDir();
  static void setTempAudioDir(std::filesystem::path directory);
  // $XDG_CONFIG_HOME/autostart, else ~/.config/autostart: the session's login items.
  static std::filesystem::path autostartDir();
  // Where the running program listens for a second copy and for `murvelo-cli talk`: a folder
  // only this user can enter, under $XDG_RUNTIME_DIR, else a per-user one in the temp dir.
  static std::filesystem::path instanceDir(unsigned userId);
  static std::filesystem::path instanceSocket(unsigned userId) {
    return instanceDir(userId) / "instance.sock";
  }
};

}  // namespace murvelo
