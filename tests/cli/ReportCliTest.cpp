#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/Base64.h"
#include "support/LibrivoxClips.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

// A real dictation lands in the history and the user has a word of their own: the report, on
// standard output or in a file, names the settings and counts both, and holds neither.
TEST(ReportCli, TheReportHoldsNoDictatedWordNorCorrection) {
  auto clips = test::librivoxClips();
  if (clips.empty()) GTEST_SKIP() << "pocketsphinx-testdata is not installed";
  test::TempDir home;
  const std::map<std::string, std::string> env = {{"XDG_CONFIG_HOME", home.path().string()},
                                                  {"XDG_DATA_HOME", (home / "data").string()},
                                                  {"XDG_RUNTIME_DIR", home.path().string()},
                                                  {"MURVELO_LOG_LEVEL", "error"}};
  auto cli = [&](const std::vector<std::string>& args) {
    return test::runProcess(MURVELO_CLI_PATH, args, env);
  };

  auto dictated = cli({"dictate", "--wav", clips[0].file.string(), "--engine", "pocketsphinx"});
  ASSERT_EQ(dictated.exitCode, 0) << dictated.err;
  const std::string text = nlohmann::json::parse(dictated.out).get<std::string>();
  ASSERT_FALSE(text.empty());
  ASSERT_EQ(cli({"words", "add", "marianne dashwood", "Mariannequa"}).exitCode, 0);
  ASSERT_EQ(cli({"settings", "set", "cleanupLevel", "format"}).exitCode, 0);
  // What the program stores after delivering it.
  const std::filesystem::path file = home / "murvelo" / "defaults.json";
  auto stored = nlohmann::json::parse(test::readFile(file));
  const std::string history =
      nlohmann::json::array({{{"id", "0F0C"}, {"text", text}, {"date", "2026-01-01T00:00:00.000Z"}}}).dump();
  stored["recentHistory"] = {
      {"data", base64Encode(std::vector<std::uint8_t>(history.begin(), history.end()))}};
  test::writeFile(file, stored.dump());

  auto printed = cli({"report"});
  ASSERT_EQ(printed.exitCode, 0) << printed.err;
  ASSERT_EQ(cli({"report", (home / "report.txt").string()}).exitCode, 0);
  const std::string saved = test::readFile(home / "report.txt");
  for (const std::string& report : {printed.out, saved}) {
    for (const char* expected : {"== Checks ==", "microphone: ", "posting keys: ", "cleanupLevel: \"format\"",
                                 "corrections (My Words): 1 entries", "recent dictations: 1,",
                                 "Qt: n/a in murvelo-cli", "murvelo-cli keeps no events"})
      EXPECT_NE(report.find(expected), std::string::npos) << expected << "\n" << report;
    EXPECT_EQ(report.find(text), std::string::npos) << report;
    for (const char* secret : {"Mariannequa", "marianne dashwood"})
      EXPECT_EQ(report.find(secret), std::string::npos) << secret;
  }
  EXPECT_EQ(cli({"report", (home / "no-such-dir" / "r.txt").string()}).exitCode, 1);
  EXPECT_EQ(cli({"report", "a", "b"}).exitCode, 2);
}

}  // namespace
}  // namespace murvelo
