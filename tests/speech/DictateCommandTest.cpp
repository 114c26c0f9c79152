// murvelo-cli transcribe and dictate, end to end: synthesised speech through the real controller,
// the streaming engine and its fallback, and both recognisers.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "audio/AudioFile.h"
#include "support/ChildProcess.h"
#include "support/Pump.h"
#include "support/RunProcess.h"
#include "support/SharedModel.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

constexpr const char* kSentence = "The meeting is on Tuesday at three o'clock in the afternoon.";

class DictateCommandTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = &test::sharedModelDir();
    // A speaker who pauses half a second before and after the sentence.
    auto spoken = test::runProcess(
        "/usr/bin/espeak-ng", {"-v", "en-us", "-s", "140", "-w", (*dir_ / "spoken.wav").string(), kSentence});
    ASSERT_EQ(spoken.exitCode, 0) << spoken.err;
    auto converted =
        test::runProcess("/usr/bin/sox", {"-q", (*dir_ / "spoken.wav").string(), "-r", "16000", "-c", "1",
                                          "-b", "16", sample().string(), "pad", "0.5", "0.5"});
    ASSERT_EQ(converted.exitCode, 0) << converted.err;
  }
  static std::filesystem::path model() { return test::tinyModel(); }
  static std::filesystem::path sample() { return *dir_ / "sample.wav"; }

  std::map<std::string, std::string> env() const {
    const std::string home = home_.path().string();
    return {{"XDG_CONFIG_HOME", home},
            {"XDG_DATA_HOME", home},
            {"XDG_RUNTIME_DIR", home},
            {"MURVELO_LOG_LEVEL", "error"}};
  }
  test::ProcessResult run(const std::vector<std::string>& args) {
    return test::runProcess(MURVELO_CLI_PATH, args, env());
  }

  static inline const test::TempDir* dir_ = nullptr;
  test::TempDir home_;
};

// pocketsphinx through the whole program: the desktop dictation test.
TEST_F(DictateCommandTest, WhisperDictatesAtRealPaceAndTheCursorDecidesTheLeadingSpace) {
  auto result = run({"dictate", "--wav", sample().string(), "--engine", "whisper", "--model",
                     model().string(), "--before-cursor", "Notes:", "--realtime"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  auto json = nlohmann::json::parse(result.out, nullptr, false);
  ASSERT_TRUE(json.is_string()) << result.out;
  std::string text = json.get<std::string>();
  ASSERT_GT(text.size(), 2u);
  EXPECT_EQ(text.front(), ' ') << "after \"Notes:\" the text needs a space";
  EXPECT_NE(result.err.find("engine whisper, path "), std::string::npos) << result.err;
}

TEST_F(DictateCommandTest, SilenceFallsBackToTheFileAndDeliversNothing) {
  auto silence = home_ / "silence.wav";
  ASSERT_TRUE(writePcm16Wav(silence, std::vector<float>(32000, 0.0f), 16000));
  auto result =
      run({"dictate", "--wav", silence.string(), "--engine", "whisper", "--model", model().string()});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("path file fallback"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("no words recognised"), std::string::npos) << result.err;
}

TEST_F(DictateCommandTest, ABrokenWhisperModelFallsBackToPocketSphinx) {
  auto broken = home_ / "ggml-base.en.bin";
  test::writeFile(broken, "truncated download");
  auto result = run({"transcribe", sample().string(), "--engine", "whisper", "--model", broken.string()});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("not a whisper model"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("engine pocketsphinx"), std::string::npos) << result.err;
  EXPECT_FALSE(result.out.empty());
}

TEST_F(DictateCommandTest, TranscribeFindsAnInstalledModelAndRefusesBadArguments) {
  std::filesystem::create_directories(home_ / "murvelo" / "models");
  std::filesystem::copy_file(model(), home_ / "murvelo" / "models" / "ggml-tiny.en.bin");
  auto result = run({"transcribe", sample().string()});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("engine whisper"), std::string::npos) << result.err;

  const std::vector<std::vector<std::string>> bad = {
      {"transcribe", sample().string(), "--engine", "kaldi"},
      {"dictate"},
      {"dictate", "--wav", sample().string(), "--level", "medium"},
  };
  for (const auto& args : bad) EXPECT_EQ(run(args).exitCode, 2) << ::testing::PrintToString(args);

  // The audio is looked at before any recogniser is loaded: a bad file costs no model load.
  test::writeFile(home_ / "notes.txt", "not audio");
  const std::pair<std::string, std::string> inputs[] = {{(home_ / "missing.wav").string(), "not found"},
                                                        {home_.path().string(), "is a folder"},
                                                        {(home_ / "notes.txt").string(), "cannot read"}};
  for (const auto& [input, reason] : inputs) {
    auto refused = run({"transcribe", input, "--engine", "whisper", "--model", home_.path().string()});
    EXPECT_EQ(refused.exitCode, 1) << input;
    EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
    EXPECT_EQ(refused.err.find("model"), std::string::npos) << refused.err;
  }
}

// Recordings live in a folder of the process's own: gone when it ends, also by a signal, and a dead
// process's folder is removed by the next run.
TEST_F(DictateCommandTest, RecordingsGoWithTheProcessThatMadeThem) {
  pid_t dead = fork();
  if (dead == 0) _exit(0);
  waitpid(dead, nullptr, 0);
  auto stale = home_.path() / ("murvelo-audio-" + std::to_string(dead));
  std::filesystem::create_directory(stale);
  std::ofstream(stale / "qlx-left.wav") << "RIFF";

  auto result = run({"transcribe", sample().string(), "--engine", "pocketsphinx"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_FALSE(std::filesystem::exists(stale)) << "a dead process's recordings are removed";
  for (const auto& entry : std::filesystem::directory_iterator(home_.path()))
    EXPECT_EQ(entry.path().filename().string().rfind("murvelo-audio-", 0), std::string::npos) << entry.path();

  test::ChildProcess dictate;
  const auto vars = env();
  ASSERT_TRUE(dictate.start(
      {MURVELO_CLI_PATH, "dictate", "--wav", sample().string(), "--engine", "pocketsphinx", "--realtime"},
      {vars.begin(), vars.end()}, home_.path() / "dictate.log"));
  auto own = home_.path() / ("murvelo-audio-" + std::to_string(dictate.pid()));
  ASSERT_TRUE(test::waitUntil([&] { return std::filesystem::exists(own); }, std::chrono::seconds(20)));
  EXPECT_EQ(std::filesystem::status(own).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_all);
  std::ofstream(own / "qlx-recording.wav") << "RIFF";
  kill(dictate.pid(), SIGTERM);
  EXPECT_TRUE(test::waitUntil([&] { return !dictate.running(); }, std::chrono::seconds(10)));
  EXPECT_FALSE(std::filesystem::exists(own)) << "an interrupted dictation leaves no recording behind";
}

}  // namespace
}  // namespace murvelo
