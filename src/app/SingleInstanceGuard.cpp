#include "app/SingleInstanceGuard.h"

#include "base/DefaultsStore.h"
#include "base/Diagnostics.h"
#include "base/Log.h"

namespace murvelo {
namespace {

const Logger kLog("app");

bool under(std::string_view path, std::string_view dir) {
  if (dir.empty()) return false;
  while (dir.size() > 1 && dir.back() == '/') dir.remove_suffix(1);
  return path.size() > dir.size() && path.substr(0, dir.size()) == dir && path[dir.size()] == '/';
}

}  // namespace

SingleInstanceGuard::SingleInstanceGuard(DefaultsStore& defaults, Process process, EpochClock clock,
                                         Spawner spawner)
    : defaults_(defaults),
      process_(std::move(process)),
      clock_(std::move(clock)),
      spawner_(std::move(spawner)) {}

bool SingleInstanceGuard::isTranslocated() const {
  // The AppImage runtime mounts the image under /tmp/.mount_* and says so in $APPDIR.
  return !process_.appImage.empty() || under(process_.programPath, process_.appDir) ||
         process_.programPath.starts_with("/tmp/.mount_");
}

std::string SingleInstanceGuard::relaunchTarget() const {
  return process_.appImage.empty() ? process_.programPath : process_.appImage;
}

bool SingleInstanceGuard::canRelaunch() {
  double last = defaults_.real(kLastRelaunchEpochKey).value_or(0);
  if (clock_() - last <= kBurstSeconds)
    return defaults_.integer(kRelaunchCountKey).value_or(0) < kMaxRelaunchesPerBurst;
  defaults_.setInteger(kRelaunchCountKey, 0);
  return true;
}

void SingleInstanceGuard::recordRelaunch() {
  defaults_.setDouble(kLastRelaunchEpochKey, clock_());
  defaults_.setInteger(kRelaunchCountKey, defaults_.integer(kRelaunchCountKey).value_or(0) + 1);
}

std::string SingleInstanceGuard::shellQuote(std::string_view value) {
  std::string quoted = "'";
  for (char c : value) {
    if (c == '\'')
      quoted += "'\\''";
    else
      quoted += c;
  }
  return quoted + "'";
}

std::string SingleInstanceGuard::waiterScript(int pid, std::string_view path) {
  return "while /bin/kill -0 " + std::to_string(pid) + " 2>/dev/null; do /bin/sleep 0.1; done\nexec " +
         shellQuote(path);
}

std::string SingleInstanceGuard::waiterCommand(int pid, std::string_view path) {
  return "/usr/bin/nohup /bin/sh -c " + shellQuote(waiterScript(pid, path)) + " >/dev/null 2>&1 &";
}

bool SingleInstanceGuard::relaunchSelf() {
  // A translocated copy is reopened through its real file; without one it would start the same
  // read-only mount that is about to go away.
  if (isTranslocated() && process_.appImage.empty()) {
    kLog.notice("relaunchSelf refused: translocated");
    return false;
  }
  if (!canRelaunch()) {
    kLog.notice("relaunchSelf refused: relaunch loop guard");
    return false;
  }
  Status spawned = spawner_("/bin/sh", {"-c", waiterCommand(process_.pid, relaunchTarget())});
  if (!spawned) {
    kLog.error("relaunchSelf spawn failed: " + spawned.message());
    return false;
  }
  recordRelaunch();
  defaults_.setBool(kResumeOnboardingKey, true);
  Diagnostics::shared().record("app", "relaunch", "pid=" + std::to_string(process_.pid));
  kLog.notice("relaunchSelf armed pid=" + std::to_string(process_.pid));
  return true;
}

}  // namespace murvelo
