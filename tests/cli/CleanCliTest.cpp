#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

class CleanCliTest : public ::testing::Test {
 protected:
  test::ProcessResult run(const std::vector<std::string>& args, const std::string& input = {}) {
    return test::runProcess(MURVELO_CLI_PATH, args,
                            {{"XDG_CONFIG_HOME", home_.path().string()}, {"MURVELO_LOG_LEVEL", "error"}},
                            input);
  }

  test::TempDir home_;
};

TEST_F(CleanCliTest, CleansStandardInputAtEachLevel) {
  const std::string said = "um we meet at 3 PM. no wait, we meet at 4 PM.\n";
  EXPECT_EQ(run({"clean", "--level", "light"}, said).out, "We meet at 4 PM.\n");
  EXPECT_EQ(run({"clean", "--level", "none"}, said).out, "um we meet at 3 PM. no wait, we meet at 4 PM.\n");
  EXPECT_EQ(run({"clean", "--level", "light", "--mid-sentence"}, "and then we left").out,
            "and then we left.\n");

  auto json = nlohmann::json::parse(run({"clean", "--level", "light", "--json"}, said).out);
  EXPECT_EQ(json["text"], "We meet at 4 PM.");
  EXPECT_TRUE(json["rejection"].is_null());
  bool corrected = false;
  for (const auto& edit : json["edits"]) corrected |= edit["rule"] == "explicit-repeated-lead-correction";
  EXPECT_TRUE(corrected);

  // A check that falls back names itself, and the raw text is what comes out.
  json = nlohmann::json::parse(run({"clean", "--level", "light", "--json"}, "Go. if it rains. we stay").out);
  EXPECT_EQ(json["text"], "Go. if it rains. we stay");
  EXPECT_EQ(json["rejection"], "ambiguous-tidy-conditional-join");
}

TEST_F(CleanCliTest, WordsAreKeptAndAppliedAtEveryLevel) {
  ASSERT_EQ(run({"words", "add", "teh", "the"}).exitCode, 0);
  ASSERT_EQ(run({"words", "add", "Teh", "THE"}).exitCode, 0);  // replaces the entry above
  auto listed = nlohmann::json::parse(run({"words", "list"}).out);
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_EQ(listed[0]["wrong"], "Teh");
  EXPECT_EQ(listed[0]["right"], "THE");

  EXPECT_EQ(run({"clean", "--level", "none"}, "teh end").out, "THE end\n");
  EXPECT_EQ(run({"clean", "--level", "none"}, "push to github").out, "push to github\n");
  EXPECT_EQ(run({"clean", "--level", "none", "--developer-vocab"}, "push to github").out, "push to GitHub\n");

  EXPECT_EQ(run({"words", "remove", "TEH"}).exitCode, 0);
  EXPECT_EQ(run({"words", "remove", "teh"}).exitCode, 1);
  EXPECT_EQ(run({"words", "list"}).out, "[]\n");
}

TEST_F(CleanCliTest, BadArgumentsGiveUsage) {
  const std::vector<std::vector<std::string>> cases = {
      {"clean"},        {"clean", "--level", "loud"}, {"clean", "--level", "light", "extra"},
      {"words"},        {"words", "add", "x"},        {"words", "remove"},
      {"words", "frob"}};
  for (const auto& args : cases) {
    auto result = run(args);
    EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(args);
    EXPECT_NE(result.err.find("usage"), std::string::npos);
  }
  for (const char* command : {"clean", "words"}) EXPECT_EQ(run({command, "--help"}).exitCode, 0);
}

TEST_F(CleanCliTest, FormatLevelLaysOutAndThenCorrects) {
  const std::string said = "hi john, thanks for the update. talk soon. ben\n";
  EXPECT_EQ(run({"clean", "--level", "format"}, said).out,
            "Hi John,\n\nThanks for the update.\n\nTalk soon,\nBen\n");

  auto json = nlohmann::json::parse(run({"clean", "--level", "format", "--json"}, said).out);
  EXPECT_EQ(json["text"], "Hi John,\n\nThanks for the update.\n\nTalk soon,\nBen");
  EXPECT_TRUE(json["rejection"].is_null());
  bool greeted = false;
  for (const auto& edit : json["edits"]) greeted |= edit["rule"] == "email-greeting";
  EXPECT_TRUE(greeted);

  // The user's own spellings apply after layout.
  ASSERT_EQ(run({"words", "add", "Ben", "Benedikt"}).exitCode, 0);
  EXPECT_EQ(run({"clean", "--level", "format"}, said).out,
            "Hi John,\n\nThanks for the update.\n\nTalk soon,\nBenedikt\n");

  // A guard that refuses names itself; the raw text comes out.
  json = nlohmann::json::parse(run({"clean", "--level", "format", "--json"}, "Go. if it rains. we stay").out);
  EXPECT_EQ(json["text"], "Go. if it rains. we stay");
  EXPECT_EQ(json["rejection"], "ambiguous-tidy-conditional-join");
}

}  // namespace
}  // namespace murvelo
