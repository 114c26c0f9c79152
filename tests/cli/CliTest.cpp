#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/Base64.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

class CliTest : public ::testing::Test {
 protected:
  test::ProcessResult run(const std::vector<std::string>& args, const std::string& input = {}) {
    return test::runProcess(MURVELO_CLI_PATH, args,
                            {{"XDG_CONFIG_HOME", home_.path().string()}, {"MURVELO_LOG_LEVEL", "error"}},
                            input);
  }
  std::filesystem::path defaultsFile() const { return home_.path() / "murvelo" / "defaults.json"; }

  test::TempDir home_;
};

TEST_F(CliTest, WerPrintsOneJsonObjectFromTextsOrFiles) {
  auto inline_ = run({"wer", "--reference", "a b c d", "--hypothesis", "a x c"});
  ASSERT_EQ(inline_.exitCode, 0) << inline_.err;
  EXPECT_EQ(inline_.out,
            "{\"substitutions\":1,\"deletions\":1,\"insertions\":0,\"hits\":2,\"wer\":0.5,"
            "\"missedReferencePositions\":[1,3]}\n");

  test::writeFile(home_ / "ref.txt", "It's $1,200.50!");
  auto files = run({"wer", "--reference-file", (home_ / "ref.txt").string(), "--hypothesis-file", "-"},
                   "its 1200 dollars 50 cents");
  ASSERT_EQ(files.exitCode, 0) << files.err;
  EXPECT_EQ(nlohmann::json::parse(files.out)["wer"], 0.0);
}

TEST_F(CliTest, SettingsPrintsEveryKeyAfterMigrationAndWritesBack) {
  test::writeFile(defaultsFile(), R"({"cleanupLevel":"medium","useDictationEngine":true})");
  auto result = run({"settings"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  auto json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json["speechEngine"], "auto");
  EXPECT_EQ(json["cleanupLevel"], "format");
  EXPECT_EQ(json["useDictationEngine"], false);
  auto stored = nlohmann::json::parse(test::readFile(defaultsFile()));
  EXPECT_EQ(stored["cleanupLevel"], "format");
}

TEST_F(CliTest, SettingsSetValidatesAndRefusedValuesWriteNothing) {
  ASSERT_EQ(run({"settings", "set", "recordingMode", "toggle"}).exitCode, 0);
  ASSERT_EQ(run({"settings", "set", "dictationMicrophoneSelection", "device:usb-mic"}).exitCode, 0);
  const std::string before = test::readFile(defaultsFile());

  const std::vector<std::pair<std::string, std::string>> refused = {
      {"cleanupLevel", "medium"},
      {"hotkey", "leftOption"},
      {"autoPaste", "yes"},
      {"dictationMicrophoneSelection", "device:"},
      {"deviceID", "abc"},
      {"speechEngine", "Whisper"},
      {"microphoneStartupHistory", "[1]"},
      {"noSuchKey", "1"},
      {"dictationMicrophoneSelection", "device:\xff"},
  };
  for (const auto& [key, value] : refused) {
    auto result = run({"settings", "set", key, value});
    EXPECT_EQ(result.exitCode, 2) << key << "=" << value;
    EXPECT_NE(result.err.find(key), std::string::npos) << "the message names the key";
    EXPECT_EQ(test::readFile(defaultsFile()), before) << key << "=" << value;
  }

  auto json = nlohmann::json::parse(run({"settings"}).out);
  EXPECT_EQ(json["recordingMode"], "toggle");
  EXPECT_EQ(json["dictationMicrophoneSelection"], "device:usb-mic");
}

// Bad arguments give the usage and status 2; a write that fails is an error, status 1. Neither
// prints anything or changes the stored settings.
TEST_F(CliTest, BadArgumentsAndFailedWritesAreErrors) {
  ASSERT_EQ(run({"words", "add", "teh", "the"}).exitCode, 0);
  const std::string before = test::readFile(defaultsFile());
  std::filesystem::permissions(defaultsFile().parent_path(), std::filesystem::perms(0500));
  const std::pair<std::vector<std::string>, int> cases[] = {
      {{}, 2},
      {{"frobnicate"}, 2},
      {{"wer", "--reference", "a"}, 2},
      {{"wer", "--reference", "a", "--reference-file", "x", "--hypothesis", "b"}, 2},
      {{"settings", "set", "hotkey"}, 2},
      {{"history", "purge"}, 2},
      {{"clean", "--level", "loud"}, 2},
      {{"words", "add", "x"}, 2},
      {{"words", "frob"}, 2},
      {{"record", "--seconds", "abc", "x.wav"}, 2},
      {{"settings", "set", "hotkey", "fn"}, 1},
      {{"words", "add", "a", "b"}, 1},
      {{"words", "remove", "teh"}, 1},
      {{"history", "clear"}, 1},
  };
  for (const auto& [args, status] : cases) {
    auto result = run(args);
    EXPECT_EQ(result.exitCode, status) << testing::PrintToString(args);
    EXPECT_NE(result.err.find(status == 2 ? "usage" : "read-only"), std::string::npos) << result.err;
    EXPECT_TRUE(result.out.empty()) << result.out;
  }
  EXPECT_EQ(test::readFile(defaultsFile()), before);
  std::filesystem::permissions(defaultsFile().parent_path(), std::filesystem::perms(0700));
}

TEST_F(CliTest, HistoryPrintsNewestFirstAndClears) {
  // Entries as the program stores them: data under "recentHistory".
  std::string items = R"([{"id":"B","text":"newer","date":"2099-01-02T00:00:00.000Z"},)"
                      R"({"id":"A","text":"older","date":"2099-01-01T00:00:00.000Z","cleanup":"light"}])";
  std::string base64 = base64Encode(std::vector<std::uint8_t>(items.begin(), items.end()));
  test::writeFile(defaultsFile(), nlohmann::json{{"recentHistory", {{"data", base64}}}}.dump());

  auto listed = run({"history"});
  ASSERT_EQ(listed.exitCode, 0) << listed.err;
  auto json = nlohmann::json::parse(listed.out);
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0]["text"], "newer");

  EXPECT_EQ(run({"history", "clear"}).exitCode, 0);
  EXPECT_EQ(run({"history"}).out, "[]\n");
}

TEST_F(CliTest, CleanReadsStandardInputAndAnswersTextOrJson) {
  const std::string said = "um we meet at 3 PM. no wait, we meet at 4 PM.\n";
  EXPECT_EQ(run({"clean", "--level", "none"}, said).out, said);
  EXPECT_EQ(run({"clean", "--level", "light"}, said).out, "We meet at 4 PM.\n");
  EXPECT_EQ(run({"clean", "--level", "light", "--mid-sentence"}, "and then we left").out,
            "and then we left.\n");

  auto json = nlohmann::json::parse(run({"clean", "--level", "light", "--json"}, said).out);
  EXPECT_EQ(json["text"], "We meet at 4 PM.");
  EXPECT_NE(json["edits"].dump().find("\"explicit-repeated-lead-correction\""), std::string::npos);
  json = nlohmann::json::parse(run({"clean", "--level", "format", "--json"}, "Go. if it rains. we stay").out);
  EXPECT_EQ(json["text"], "Go. if it rains. we stay");
  EXPECT_EQ(json["rejection"], "ambiguous-tidy-conditional-join");
}

TEST_F(CliTest, WordsAreKeptAndAppliedAtEveryLevel) {
  ASSERT_EQ(run({"words", "add", "teh", "the"}).exitCode, 0);
  ASSERT_EQ(run({"words", "add", "Teh", "THE"}).exitCode, 0);  // replaces the entry above
  auto listed = nlohmann::json::parse(run({"words", "list"}).out);
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0]["wrong"], "Teh");
  EXPECT_EQ(listed[0]["right"], "THE");

  EXPECT_EQ(run({"clean", "--level", "none"}, "teh end").out, "THE end\n");
  EXPECT_EQ(run({"clean", "--level", "none"}, "push to github").out, "push to github\n");
  EXPECT_EQ(run({"clean", "--level", "none", "--developer-vocab"}, "push to github").out, "push to GitHub\n");
  // The user's own spellings apply after layout.
  EXPECT_EQ(run({"clean", "--level", "format"}, "hi john, thanks for the update. talk soon. teh").out,
            "Hi John,\n\nThanks for the update.\n\nTalk soon,\nTHE\n");

  EXPECT_EQ(run({"words", "remove", "TEH"}).exitCode, 0);
  EXPECT_EQ(run({"words", "remove", "teh"}).exitCode, 1);
  EXPECT_EQ(run({"words", "list"}).out, "[]\n");
}

}  // namespace
}  // namespace murvelo
