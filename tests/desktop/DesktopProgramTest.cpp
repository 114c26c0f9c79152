#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "desktop/DesktopTestEnvironment.h"
#include "support/Pump.h"
#include "support/XvfbServer.h"

namespace murvelo::test {
namespace {

TEST(DesktopProgram, SecondCopyHandsOverAndTheFirstKeepsRunning) {
  ProgramHome home;
  auto first = home.start();
  ASSERT_TRUE(home.waitForSocket());
  auto second = home.start("second.log");
  EXPECT_EQ(second->waitExit(std::chrono::seconds(5)), 0) << readFile(home.dir / "second.log");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_TRUE(first->running());

  // A copy that died without cleaning up leaves a socket file but no lock: the next one runs.
  kill(first->pid(), SIGKILL);
  first->waitExit(std::chrono::seconds(3));
  ASSERT_TRUE(std::filesystem::exists(home.socket()));
  auto third = home.start("third.log");
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_TRUE(third->running()) << readFile(home.dir / "third.log");
}

TEST(DesktopProgram, FaultsAtStartAreClearMessagesNotCrashes) {
  {
    ProgramHome home;
    auto talk = home.cli({"talk", "start"});
    EXPECT_EQ(talk.exitCode, 1);
    EXPECT_NE(talk.err.find("murvelo is not running"), std::string::npos) << talk.err;
  }
  {
    ProgramHome home;
    home.env["DISPLAY"] = ":999";
    auto run = runProcess(MURVELO_PROGRAM_PATH, {}, home.env);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("no display"), std::string::npos) << run.err;
  }
  {
    // A settings file that does not parse is kept aside, and the program starts on defaults.
    ProgramHome home;
    writeFile(home.dir / "config" / "murvelo" / "defaults.json", "{\"cleanupLevel\": \"format\",");
    auto program = home.start();
    ASSERT_TRUE(home.waitForSocket());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_TRUE(program->running()) << readFile(home.dir / "murvelo.log");
    int keptAside = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home.dir / "config" / "murvelo"))
      keptAside += entry.path().filename().string().starts_with("defaults.json.corrupt-");
    EXPECT_EQ(keptAside, 1);
  }
}

TEST(DesktopProgram, SlowAudioServerTalkKeyWithoutBackEndAndLostDisplay) {
  {
    // An audio server that accepts and never answers: a full wait would hold the launch 3 s.
    ProgramHome home;
    int hung = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (home.dir / "pulse").string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(hung, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(hung, 4), 0);
    home.env["PULSE_SERVER"] = "unix:" + (home.dir / "pulse").string();
    auto started = std::chrono::steady_clock::now();
    auto program = home.start();
    waitUntil([&] { return readFile(home.dir / "murvelo.log").find("launch pid=") != std::string::npos; },
              std::chrono::seconds(10));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(2500));
    EXPECT_NE(readFile(home.dir / "murvelo.log").find("mic=false"), std::string::npos);
    EXPECT_TRUE(program->running());
    close(hung);
  }
  {
    // A Wayland session without access to the keyboards: the key cannot be watched, the
    // compositor's binding still dictates.
    ProgramHome home;
    home.env["WAYLAND_DISPLAY"] = "murvelo-test-absent";
    auto program = home.start();
    ASSERT_TRUE(home.waitForSocket());
    for (const char* request : {"start", "stop"})
      EXPECT_EQ(home.cli({"talk", request}).exitCode, 0) << request;
    EXPECT_TRUE(program->running());
    EXPECT_NE(readFile(home.dir / "murvelo.log").find("murvelo-cli talk"), std::string::npos);
  }
  {
    XvfbServer display;
    ASSERT_TRUE(display.start());
    ProgramHome home;
    home.env["DISPLAY"] = display.display();
    auto program = home.start();
    ASSERT_TRUE(home.waitForSocket());
    display.stop();
    EXPECT_EQ(program->waitExit(std::chrono::seconds(10)), 1);
    EXPECT_NE(readFile(home.dir / "murvelo.log").find("exiting"), std::string::npos);
  }
}

TEST(DesktopProgram, OnlyTheLaunchTurnsStreamingOff) {
  ProgramHome home;
  auto stored = [&] { return readFile(home.dir / "config" / "murvelo" / "defaults.json"); };
  ASSERT_EQ(home.cli({"settings", "set", "useDictationEngine", "true"}).exitCode, 0);
  EXPECT_NE(stored().find("\"useDictationEngine\": true"), std::string::npos) << stored();
  // The launch writes false; the engine's warm-up, a while later, turns it on again.
  auto program = home.start();
  EXPECT_TRUE(waitUntil([&] { return stored().find("\"useDictationEngine\": false") != std::string::npos; }));
}

}  // namespace
}  // namespace murvelo::test
