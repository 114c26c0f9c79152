#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "app/InstanceRequest.h"
#include "app/LoginItem.h"
#include "app/SingleInstanceGuard.h"
#include "base/DefaultsStore.h"
#include "support/ChildProcess.h"
#include "support/Pump.h"
#include "support/RecordingLogSink.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using Guard = SingleInstanceGuard;

struct Fixture {
  InMemoryDefaultsStore defaults;
  double clock = 1'700'000'000;
  std::vector<std::vector<std::string>> spawned;  // the arguments of each spawn
  Status spawnResult = Status::ok();
  Guard guard(Guard::Process process = {4242, "/usr/bin/murvelo", "", ""}) {
    return Guard(
        defaults, process, [this] { return clock; },
        [this](const std::string&, const std::vector<std::string>& args) {
          spawned.push_back(args);
          return spawnResult;
        });
  }
};

TEST(SingleInstanceGuard, LoopGuardAllowsTwoRelaunchesPerBurst) {
  Fixture f;
  Guard guard = f.guard();
  // Seconds since the previous request, and whether the relaunch goes ahead.
  const std::pair<double, bool> steps[] = {{0, true},  {5, true}, {5, false},  {20, false},
                                           {31, true}, {1, true}, {29, false}, {30.5, true}};
  for (auto [wait, allowed] : steps) {
    f.clock += wait;
    EXPECT_EQ(guard.relaunchSelf(), allowed) << "after " << wait << " s";
  }
  EXPECT_EQ(f.spawned.size(), 5u);
}

TEST(SingleInstanceGuard, RefusalsAndFailuresLeaveTheProgramRunning) {
  struct Case {
    const char* name;
    Guard::Process process;
    Status spawn;
    bool armed;
    std::string target;
  };
  const Case cases[] = {
      {"appimage reopens its file",
       {7, "/tmp/.mount_Murv1/usr/bin/murvelo", "/home/u/Murvelo.AppImage", "/tmp/.mount_Murv1"},
       Status::ok(),
       true,
       "/home/u/Murvelo.AppImage"},
      {"mount without its file",
       {7, "/tmp/.mount_Murv1/usr/bin/murvelo", "", "/tmp/.mount_Murv1"},
       Status::ok(),
       false,
       ""},
      {"spawn fails", {7, "/opt/m/murvelo", "", ""}, Status::error("no /bin/sh"), false, "/opt/m/murvelo"},
  };
  for (const auto& c : cases) {
    Fixture f;
    f.spawnResult = c.spawn;
    test::ScopedLogCapture log;
    Guard guard = f.guard(c.process);
    EXPECT_EQ(guard.relaunchSelf(), c.armed) << c.name;
    EXPECT_EQ(f.defaults.boolean(Guard::kResumeOnboardingKey).has_value(), c.armed) << c.name;
    EXPECT_EQ(f.defaults.integer(Guard::kRelaunchCountKey).value_or(0), c.armed ? 1 : 0) << c.name;
    if (!c.target.empty()) {
      ASSERT_EQ(f.spawned.size(), 1u) << c.name;
      EXPECT_EQ(f.spawned[0], (std::vector<std::string>{"-c", Guard::waiterCommand(7, c.target)}));
    }
  }
}

// The waiter for real: it waits for the process to end, then starts a program whose path has
// spaces and single quotes.
TEST(SingleInstanceGuard, WaiterStartsTheProgramOnceTheProcessHasEnded) {
  test::TempDir dir;
  auto folder = dir / "it's a \"dir\" $x";
  std::filesystem::create_directories(folder);
  auto program = folder / "mur velo's";
  auto marker = dir / "started";
  test::writeFile(program, "#!/bin/sh\necho \"$$\" > '" + marker.string() + "'\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);

  test::ChildProcess sleeper;
  ASSERT_TRUE(sleeper.start({"/bin/sleep", "0.6"}, {}, "/dev/null"));
  auto run = test::runProcess("/bin/sh", {"-c", Guard::waiterCommand(sleeper.pid(), program.string())});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_FALSE(std::filesystem::exists(marker)) << "started while the process still ran";
  ASSERT_TRUE(test::waitUntil([&] { return !sleeper.running(); }));  // reaps it
  EXPECT_TRUE(test::waitUntil([&] { return std::filesystem::exists(marker); }));
}

TEST(LoginItem, ExecArgumentEscapes) {
  const std::pair<std::string, std::string> cases[] = {
      {"/usr/bin/murvelo", "/usr/bin/murvelo"}, {"/a b/m", "\"/a b/m\""},     {"/a\"b/m", "\"/a\\\\\"b/m\""},
      {"/a\\b/m", "\"/a\\\\\\\\b/m\""},         {"/a$b/m", "\"/a\\\\$b/m\""}, {"/100%/m", "/100%%/m"},
  };
  for (const auto& [raw, quoted] : cases) EXPECT_EQ(LoginItem::execArgument(raw), quoted) << raw;
}

// The requests themselves are seen passing between the program and murvelo-cli.
TEST(InstanceRequest, StrangersAreRefused) {
  EXPECT_EQ(parseRequestLine("talk start\r\n"), InstanceRequest::talkStart);
  for (const char* line : {"", "talk", "talk  start", "TALK START", "talk start now", "activate\n\n"})
    EXPECT_FALSE(parseRequestLine(line)) << line;
}

}  // namespace
}  // namespace murvelo
