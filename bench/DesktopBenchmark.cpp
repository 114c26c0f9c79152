// Prints what the desktop program costs while it waits for the talk key: resident memory and CPU
// over an idle stretch, with the speech engine setting on pocketsphinx, and on whisper with a
// base.en-sized model installed (synthetic weights, the real size). Runs its own X server and private
// folders.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "desktop/DesktopTestEnvironment.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace {

using namespace murvelo::test;

long residentKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
  return -1;
}

// User plus system time the process has used, in clock ticks.
long cpuTicks(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), {});
  auto close = text.rfind(')');
  if (close == std::string::npos) return -1;
  std::istringstream fields(text.substr(close + 2));
  std::string field;
  long utime = 0, stime = 0;
  for (int i = 3; fields >> field; ++i) {
    if (i == 14) utime = std::stol(field);
    if (i == 15) {
      stime = std::stol(field);
      break;
    }
  }
  return utime + stime;
}

void idle(const char* label, const std::string& engine, const std::string& model) {
  TempDir home;
  std::filesystem::create_directories(home / "runtime");
  std::filesystem::permissions(home / "runtime", std::filesystem::perms::owner_all);
  std::map<std::string, std::string> env = {{"XDG_CONFIG_HOME", (home / "config").string()},
                                            {"XDG_DATA_HOME", (home / "data").string()},
                                            {"XDG_RUNTIME_DIR", (home / "runtime").string()},
                                            {"HOME", home.path().string()}};
  if (!model.empty()) {
    std::filesystem::create_directories(home / "data" / "murvelo" / "models");
    runProcess(MURVELO_MAKE_MODEL_PATH,
               {"--arch", "base.en", (home / "data/murvelo/models/ggml-base.en.bin").string()});
  }
  for (auto [key, value] : {std::pair{"onboardingComplete", "true"}, std::pair{"onboardingFinished", "true"},
                            std::pair{"openAtLogin", "false"}, std::pair{"speechEngine", engine.c_str()}})
    runProcess(MURVELO_CLI_PATH, {"settings", "set", key, value}, env);
  BackgroundProcess program(MURVELO_PROGRAM_PATH, {}, env, home / "murvelo.log");
  // Let start-up and the model's warm-up settle first.
  std::this_thread::sleep_for(std::chrono::seconds(8));
  long ticks = cpuTicks(program.pid());
  auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(10));
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  double cpu = (cpuTicks(program.pid()) - ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
  std::printf("%-28s resident %6.1f MiB   CPU while idle %.2f %% (%.3f s in %.0f s)\n", label,
              residentKiB(program.pid()) / 1024.0, 100 * cpu / seconds, cpu, seconds);
}

}  // namespace

int main() {
  PrivateDisplay display;
  if (!display.ok()) {
    std::cerr << "cannot start Xvfb\n";
    return 1;
  }
  setenv("DISPLAY", display.name().c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  std::printf("murvelo waiting for the talk key\n");
  idle("pocketsphinx", "pocketsphinx", "");
  idle("whisper, base.en-sized", "whisper", "base.en");
  return 0;
}
