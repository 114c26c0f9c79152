#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <thread>

#include "desktop/DesktopTestEnvironment.h"
#include "support/AtspiSession.h"
#include "support/GtkTextWindow.h"
#include "support/PulseTestServer.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo::test {
namespace {

// "go forward ten meters": 16 kHz, 16-bit little-endian mono.
const std::filesystem::path kGoForward = "/usr/share/pocketsphinx/test/data/goforward.raw";
constexpr double kClipRate = 16000;

std::vector<float> readClip() {
  std::ifstream in(kGoForward, std::ios::binary);
  std::vector<float> samples;
  unsigned char bytes[2];
  while (in.read(reinterpret_cast<char*>(bytes), 2))
    samples.push_back(static_cast<float>(static_cast<std::int16_t>(bytes[0] | bytes[1] << 8)) / 32768.0f);
  return samples;
}

bool waitFor(const std::function<bool()>& done, std::chrono::seconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return true;
}

// The whole program for real: the microphone is a private PulseAudio server playing a recording,
// the focused field a GTK window read over a private accessibility bus, and the talk key a
// compositor's binding to murvelo-cli talk.
TEST(DesktopDictation, SpokenWordsLandInTheFocusedField) {
  if (!std::filesystem::exists(kGoForward)) GTEST_SKIP() << "pocketsphinx-testdata is not installed";
  if (!PulseTestServer::available() || !AtspiSession::available() || !GtkTextWindow::available())
    GTEST_SKIP() << "pulseaudio, the AT-SPI bus or python3-gi is not installed";
  PulseTestServer pulse(kClipRate);
  ASSERT_TRUE(pulse.start()) << pulse.log();
  AtspiSession atspi;
  ASSERT_TRUE(atspi.start());
  GtkTextWindow window;
  ASSERT_TRUE(window.open(std::getenv("DISPLAY"), {})) << window.log();

  TempDir home;
  std::filesystem::create_directories(home / "runtime");
  std::filesystem::permissions(home / "runtime", std::filesystem::perms::owner_all);
  const std::map<std::string, std::string> env = {{"XDG_CONFIG_HOME", (home / "config").string()},
                                                  {"XDG_RUNTIME_DIR", (home / "runtime").string()},
                                                  {"HOME", home.path().string()}};
  auto cli = [&](const std::vector<std::string>& args) { return runProcess(MURVELO_CLI_PATH, args, env); };
  for (auto [key, value] : {std::pair{"onboardingComplete", "true"}, std::pair{"onboardingFinished", "true"},
                            std::pair{"speechEngine", "pocketsphinx"}})
    ASSERT_EQ(cli({"settings", "set", key, value}).exitCode, 0) << key;

  BackgroundProcess program(MURVELO_PROGRAM_PATH, {}, env, home / "murvelo.log");
  ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(home / "runtime" / "murvelo" / "instance.sock"); },
                      std::chrono::seconds(10)))
      << readFile(home / "murvelo.log");

  auto start = cli({"talk", "start"});
  ASSERT_EQ(start.exitCode, 0) << start.err;
  ASSERT_TRUE(pulse.feed(readClip(), true));
  // A little room after the last word, as a speaker leaves before letting go.
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  auto stop = cli({"talk", "stop"});
  ASSERT_EQ(stop.exitCode, 0) << stop.err;

  auto heard = [&] {
    std::string text = window.contents();
    for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text.find("forward") != std::string::npos || text.find("ten") != std::string::npos;
  };
  EXPECT_TRUE(waitFor(heard, std::chrono::seconds(15))) << "field: " << window.contents() << "\n"
                                                        << readFile(home / "murvelo.log");
  EXPECT_TRUE(program.running());
  // The engine warmed at launch, so this launch streams.
  const std::string stored = readFile(home / "config" / "murvelo" / "defaults.json");
  EXPECT_NE(stored.find("\"useDictationEngine\": true"), std::string::npos) << stored;
}

}  // namespace
}  // namespace murvelo::test
