#pragma once
// What the fault drivers share: their options, a scratch folder in memory where possible, the round
// clock, and a step that a hang ends with SIGALRM instead of stalling CI.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <utility>

namespace murvelo::fault {

struct Options {
  double seconds = 10;
  long rounds = 0;
  unsigned seed = 1;
  long loads = 0;  // --loads: accepted models loaded in whisper.cpp
};

// Reads "--seconds S --rounds N --seed N --loads N".
inline Options parse(int argc, char** argv, Options options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    std::string flag = argv[i];
    if (flag == "--seconds") options.seconds = std::stod(argv[i + 1]);
    if (flag == "--rounds") options.rounds = std::stol(argv[i + 1]);
    if (flag == "--seed") options.seed = static_cast<unsigned>(std::stoul(argv[i + 1]));
    if (flag == "--loads") options.loads = std::stol(argv[i + 1]);
  }
  return options;
}

// A new folder "murvelo-fault-<name>-XXXXXX": memory-backed when possible, since the rounds test
// interleaving, not the disk. Empty on failure.
inline std::filesystem::path scratchFolder(const std::string& name) {
  std::string pattern = (std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp") +
                        std::string("/murvelo-fault-") + name + "-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) return {};
  return pattern;
}

// True while the run still has time for another round.
class RoundClock {
 public:
  explicit RoundClock(double seconds) : seconds_(seconds) {}
  bool timeLeft() const { return elapsed() <= seconds_; }
  double elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  double seconds_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// Prints a fault on standard error; 1, to add to the failure count.
__attribute__((format(printf, 1, 2))) inline int fail(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vfprintf(stderr, format, args);
  va_end(args);
  return 1;
}

// Runs `step`, storing its duration in `took`; a step still running after 10 s ends the process.
template <typename Step>
auto timedStep(Step&& step, double& took) {
  ::alarm(10);  // a hang ends the run with SIGALRM, which CI reports
  const auto before = std::chrono::steady_clock::now();
  auto result = std::forward<Step>(step)();
  took = std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
  ::alarm(0);
  return result;
}

}  // namespace murvelo::fault
