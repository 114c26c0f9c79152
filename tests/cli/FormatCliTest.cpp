#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

class FormatCliTest : public ::testing::Test {
 protected:
  test::ProcessResult run(const std::vector<std::string>& args, const std::string& input = {}) {
    return test::runProcess(MURVELO_CLI_PATH, args,
                            {{"XDG_CONFIG_HOME", home_.path().string()}, {"MURVELO_LOG_LEVEL", "error"}},
                            input);
  }

  test::TempDir home_;
};

TEST_F(FormatCliTest, CleanAtFormatLevelLaysOutAndThenCorrects) {
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
