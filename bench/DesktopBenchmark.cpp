// Prints what the desktop program costs while it waits for the talk key: resident memory and CPU
// over an idle stretch, with the speech engine setting on pocketsphinx, and on whisper with a
// base.en-sized model installed (synthetic weights, the real size). Then the talk key's latencies
// over several dictations of recorded speech into a GTK field: Right Alt down (XTest) -> recording
// started, and Right Alt up -> text in the field. Runs its own X server and private folders.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "desktop/DesktopTestEnvironment.h"
#include "support/AtspiSession.h"
#include "support/GtkTextWindow.h"
#include "support/PulseTestServer.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"
#include "support/XvfbServer.h"

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

// The program's private home, with its own data folder for models.
void idle(const char* label, const std::string& engine, const std::string& model) {
  // With a microphone, as a user has one: without, the launch opens the first-start guide, whose
  // live checks are not the idle program.
  PulseTestServer pulse(16000);
  if (PulseTestServer::available() && !pulse.start())
    std::printf("%s: the private audio server did not start\n", label);
  ProgramHome program_home;
  const TempDir& home = program_home.dir;
  auto env = program_home.env;
  if (!model.empty()) {
    std::filesystem::create_directories(home / "data" / "murvelo" / "models");
    runProcess(MURVELO_MAKE_MODEL_PATH,
               {"--arch", "base.en", (home / "data/murvelo/models/ggml-base.en.bin").string()});
  }
  for (auto [key, value] : {std::pair{"onboardingComplete", "true"}, std::pair{"onboardingFinished", "true"},
                            std::pair{"openAtLogin", "false"}, std::pair{"speechEngine", engine.c_str()}})
    runProcess(MURVELO_CLI_PATH, {"settings", "set", key, value}, env);
  ChildProcess program;
  program.start({MURVELO_PROGRAM_PATH}, {env.begin(), env.end()}, home / "murvelo.log");
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

using Clock = std::chrono::steady_clock;

double ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

// Polls `done` every millisecond; the time it became true, or none after `limit`.
std::optional<Clock::time_point> when(const std::function<bool()>& done, std::chrono::seconds limit) {
  auto deadline = Clock::now() + limit;
  while (Clock::now() < deadline) {
    if (done()) return Clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return std::nullopt;
}

std::size_t occurrences(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

void dictations(int runs) {
  const std::filesystem::path clipFile = "/usr/share/pocketsphinx/test/data/goforward.raw";
  if (!std::filesystem::exists(clipFile) || !PulseTestServer::available() || !AtspiSession::available() ||
      !GtkTextWindow::available()) {
    std::printf(
        "talk key latencies: pocketsphinx-testdata, pulseaudio, the AT-SPI bus or python3-gi missing\n");
    return;
  }
  std::vector<float> clip;
  {
    std::ifstream in(clipFile, std::ios::binary);
    unsigned char b[2];
    while (in.read(reinterpret_cast<char*>(b), 2))
      clip.push_back(static_cast<float>(static_cast<std::int16_t>(b[0] | b[1] << 8)) / 32768.0f);
  }
  PulseTestServer pulse(16000);
  AtspiSession atspi;
  XDesk desk;
  if (!pulse.start() || !atspi.start() || !desk.ok()) {
    std::printf("talk key latencies: the private audio server, accessibility bus or XTest did not start\n");
    return;
  }
  ProgramHome program_home;
  const TempDir& home = program_home.dir;
  auto env = program_home.env;
  env["MURVELO_LOG_LEVEL"] = "info";
  for (auto [key, value] : {std::pair{"onboardingComplete", "true"}, std::pair{"onboardingFinished", "true"},
                            std::pair{"openAtLogin", "false"}, std::pair{"speechEngine", "pocketsphinx"}})
    runProcess(MURVELO_CLI_PATH, {"settings", "set", key, value}, env);
  GtkTextWindow window;
  if (!window.open(std::getenv("DISPLAY"), {})) {
    std::printf("talk key latencies: the GTK field did not open\n");
    return;
  }
  const auto log = home / "murvelo.log";
  ChildProcess program;
  program.start({MURVELO_PROGRAM_PATH}, {env.begin(), env.end()}, log);
  std::this_thread::sleep_for(std::chrono::seconds(5));  // launch and the engine's warm-up

  constexpr unsigned kRightAlt = 108;
  std::vector<double> starts, lands;
  int missed = 0;
  for (int i = 0; i < runs; ++i) {
    const std::size_t started = occurrences(readFile(log), "recording started");
    const std::string before = window.contents();
    auto down = Clock::now();
    desk.key(kRightAlt, true);
    auto recording = when([&] { return occurrences(readFile(log), "recording started") > started; },
                          std::chrono::seconds(5));
    pulse.feed(clip, true);
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    auto up = Clock::now();
    desk.key(kRightAlt, false);
    auto landed = when([&] { return window.contents() != before; }, std::chrono::seconds(15));
    if (recording) starts.push_back(ms(*recording - down));
    if (landed)
      lands.push_back(ms(*landed - up));
    else
      ++missed;
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));  // the clipboard restore
  }
  std::printf("talk key, %d dictations of a 2.8 s recording with pocketsphinx (%d without text)\n", runs,
              missed);
  std::printf("  key down -> recording started: first %.1f ms, p50 %.1f ms (warm capture session)\n",
              starts.empty() ? 0 : starts.front(), median(starts));
  std::printf("  key up -> text in the GTK field: p50 %.1f ms, max %.1f ms\n", median(lands),
              lands.empty() ? 0 : *std::max_element(lands.begin(), lands.end()));
}

}  // namespace

int main() {
  XvfbServer display;
  if (!display.start()) {
    std::cerr << "cannot start Xvfb\n";
    return 1;
  }
  setenv("DISPLAY", display.display().c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  std::printf("murvelo waiting for the talk key\n");
  idle("pocketsphinx", "pocketsphinx", "");
  idle("whisper, base.en-sized", "whisper", "base.en");
  dictations(6);
  return 0;
}
