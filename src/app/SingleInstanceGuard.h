#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Status.h"

namespace murvelo {

class DefaultsStore;

// Relaunching the program after a change that only a new process picks up, guarded against
// loops: at most two relaunches in any 30-second burst. The claim of the single instance itself
// is the desktop shell's; this is the part that needs no platform.
class SingleInstanceGuard {
 public:
  static constexpr std::string_view kRelaunchCountKey = "QLX.relaunchCount";
  static constexpr std::string_view kLastRelaunchEpochKey = "QLX.lastRelaunchEpoch";
  static constexpr std::string_view kResumeOnboardingKey = "QLX.resumeOnboarding";
  static constexpr double kBurstSeconds = 30;
  static constexpr std::int64_t kMaxRelaunchesPerBurst = 2;

  struct Process {
    int pid = 0;
    std::string programPath;  // the running executable
    std::string appImage;     // $APPIMAGE: the real file behind an AppImage mount, else empty
    std::string appDir;       // $APPDIR: the AppImage's mount point, else empty
  };
  // Seconds since 1970, from the wall clock (a manual one in tests).
  using EpochClock = std::function<double()>;
  // Starts `program` with `args` as a child that may outlive this process.
  using Spawner = std::function<Status(const std::string& program, const std::vector<std::string>& args)>;

  SingleInstanceGuard(DefaultsStore& defaults, Process process, EpochClock clock, Spawner spawner);

  // Running from a read-only AppImage mount.
  bool isTranslocated() const;
  bool canRelaunch();
  void recordRelaunch();
  // Arms a detached waiter that starts the program again once this process has exited; true
  // when armed, and the caller then quits. Refused by the loop guard, for a translocated copy
  // with no real file to reopen, or when the waiter cannot be started (logged).
  bool relaunchSelf();

  // What the waiter starts: the AppImage file when there is one, else the executable.
  std::string relaunchTarget() const;

  // `value` in single quotes for /bin/sh, each inner quote written as '\''.
  static std::string shellQuote(std::string_view value);
  // The waiter's own script: poll until `pid` is gone, then exec `path`.
  static std::string waiterScript(int pid, std::string_view path);
  // The detached command run through /bin/sh -c.
  static std::string waiterCommand(int pid, std::string_view path);

 private:
  DefaultsStore& defaults_;
  Process process_;
  EpochClock clock_;
  Spawner spawner_;
};

}  // namespace murvelo
