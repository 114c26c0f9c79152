#include <gtest/gtest.h>
#include <sndfile.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "support/PulseTestServer.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

using namespace std::chrono_literals;
using test::PulseTestServer;

class AudioCliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!PulseTestServer::available())
      GTEST_SKIP() << "pulseaudio is not installed (scripts/setup.sh installs it)";
    server = std::make_unique<PulseTestServer>(48000);
    ASSERT_TRUE(server->start()) << server->log();
  }

  test::ProcessResult run(const std::vector<std::string>& args, const std::string& pulseServer = {}) {
    return test::runProcess(MURVELO_CLI_PATH, args,
                            {{"XDG_CONFIG_HOME", home.path().string()},
                             {"MURVELO_LOG_LEVEL", "error"},
                             {"PULSE_SERVER", pulseServer.empty() ? server->address() : pulseServer}});
  }

  test::TempDir home;
  std::unique_ptr<PulseTestServer> server;
};

TEST_F(AudioCliTest, RecordCapturesWritesTheFileAndFeedsTheStartupHistory) {
  auto speech = PulseTestServer::synthesize("testing one two three, this is a recording", 48000);
  ASSERT_FALSE(speech.empty());
  std::atomic<bool> feeding{true};
  // The command's stream connects at some point in here; whatever came before it is lost.
  std::thread feeder([&] {
    for (int i = 0; i < 2 && feeding; ++i) server->feed(speech, true);
  });
  auto out = home / "out.wav";
  auto result = run({"record", "--seconds", "1.5", "--device", "speech", out.string()});
  feeding = false;
  feeder.join();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  auto summary = nlohmann::json::parse(result.out);
  EXPECT_EQ(summary["device"], "speech");
  EXPECT_GT(summary["peakRMS"].get<double>(), 0.01);
  auto frames = summary["frames"].get<std::int64_t>();
  EXPECT_GT(frames, 48000 / 2);
  // 1.5 s, plus what waited in the FIFO (at most its 64 KiB) when the stream connected.
  EXPECT_LE(frames, 48000 * 3 / 2 + 65536 / 4 + 4800);

  SF_INFO info{};
  SNDFILE* file = sf_open(out.c_str(), SFM_READ, &info);
  ASSERT_TRUE(file);
  sf_close(file);
  EXPECT_NEAR(static_cast<double>(info.frames), frames / 3.0, 2);

  // Inputs only (the output's monitor is not one), with the default marked.
  auto devices = nlohmann::json::parse(run({"devices"}).out);
  ASSERT_EQ(devices.size(), 2u) << devices;
  for (const auto& input : devices) {
    EXPECT_EQ(input["isDefault"], input["id"] == "speech");
    EXPECT_EQ(input["startupMedianMs"], input["id"] == "speech" ? summary["startupMs"] : nlohmann::json());
  }
}

// Bad arguments: the command line's own test.
TEST_F(AudioCliTest, NoServerIsAnError) {
  std::string nowhere = "unix:" + (home / "no-socket").string();
  EXPECT_EQ(run({"devices"}, nowhere).exitCode, 1);
  EXPECT_EQ(run({"record", "--seconds", "1", (home / "x.wav").string()}, nowhere).exitCode, 1);
}

}  // namespace
}  // namespace murvelo
