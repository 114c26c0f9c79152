#pragma once

#include <filesystem>
#include <string>

namespace murvelo {

// Where this process keeps recordings and warm-up files: a folder of its own, mode 0700, named after
// the process ("murvelo-audio-<pid>") under $XDG_RUNTIME_DIR, or under a per-user 0700 folder in the
// temp directory when that variable is unset. Preparing it also removes the folders of processes
// that have died, and makes SIGINT, SIGTERM and SIGHUP remove this one before the process ends, so
// no recording outlives the program. The result becomes Paths::tempAudioDir(). On failure the
// error is returned and Paths::tempAudioDir() keeps its default.
struct TempAudio {
  struct Result {
    std::filesystem::path directory;
    std::string error;  // empty on success
  };
  static Result prepare();
};

}  // namespace murvelo
