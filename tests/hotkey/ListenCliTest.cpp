#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "hotkey/XTestKeyboard.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"
#include "support/XvfbServer.h"

namespace murvelo {
namespace {

// `murvelo-cli listen` as a user runs it to check that the key is seen: on a real X server, with
// the key chosen in the settings.
TEST(ListenCli, PrintsTheChosenKeysPressesAndFailsWithAReasonWhereNothingCanListen) {
  test::TempDir home;
  const std::map<std::string, std::string> noDisplay{
      {"XDG_CONFIG_HOME", home.path().string()}, {"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}};
  auto set = test::runProcess(MURVELO_CLI_PATH, {"settings", "set", "hotkey", "rightControl"}, noDisplay);
  ASSERT_EQ(set.exitCode, 0) << set.err;

  if (access("/dev/input", F_OK) != 0) {
    auto nowhere = test::runProcess(MURVELO_CLI_PATH, {"listen", "--seconds", "1"}, noDisplay);
    EXPECT_EQ(nowhere.exitCode, 1);
    EXPECT_NE(nowhere.err.find("cannot be watched"), std::string::npos) << nowhere.err;
  }

  if (!test::XvfbServer::available()) GTEST_SKIP() << "Xvfb is not installed";
  test::XvfbServer server;
  ASSERT_TRUE(server.start());
  test::XTestKeyboard keyboard(server.display());
  const std::string command = "DISPLAY=" + server.display() + " XDG_CONFIG_HOME='" + home.path().string() +
                              "' XDG_SESSION_TYPE=x11 WAYLAND_DISPLAY= " + MURVELO_CLI_PATH +
                              " listen --seconds 2";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<std::string> lines;
  char buffer[512];
  auto next = [&] {
    if (!fgets(buffer, sizeof buffer, pipe)) return false;
    lines.emplace_back(buffer);
    return true;
  };
  ASSERT_TRUE(next());
  EXPECT_EQ(lines[0],
            "listening for rightControl with x11-xinput2 (X11 session on " + server.display() + "): live\n");
  keyboard.key(100, true);  // Right Alt: not the chosen key
  keyboard.key(100, false);
  keyboard.key(97, true);
  keyboard.key(97, false);
  while (next()) {
  }
  const int status = pclose(pipe);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(lines, (std::vector<std::string>{lines[0], "hotkey DOWN\n", "hotkey UP\n"}));
}

}  // namespace
}  // namespace murvelo
