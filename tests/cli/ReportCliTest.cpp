#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/Base64.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo {
namespace {

// A dictation in the history and a word of the user's own: the report, on standard output or in
// a file, names the settings and counts both, and holds neither.
TEST(ReportCli, TheReportHoldsNoDictatedWordNorCorrection) {
  test::TempDir home;
  const std::map<std::string, std::string> env = {{"XDG_CONFIG_HOME", home.path().string()},
                                                  {"XDG_DATA_HOME", (home / "data").string()},
                                                  {"XDG_RUNTIME_DIR", home.path().string()},
                                                  {"MURVELO_LOG_LEVEL", "error"}};
  auto cli = [&](const std::vector<std::string>& args) {
    return test::runProcess(MURVELO_CLI_PATH, args, env);
  };
  ASSERT_EQ(cli({"words", "add", "marianne dashwood", "Mariannequa"}).exitCode, 0);
  ASSERT_EQ(cli({"settings", "set", "cleanupLevel", "format"}).exitCode, 0);
  // What the program stores after delivering a dictation.
  const std::filesystem::path file = home / "murvelo" / "defaults.json";
  auto stored = nlohmann::json::parse(test::readFile(file));
  const std::string history =
      nlohmann::json::array(
          {{{"id", "0F0C"}, {"text", "Meet Quentaria at the harbour"}, {"date", "2026-01-01T00:00:00.000Z"}}})
          .dump();
  stored["recentHistory"] = {
      {"data", base64Encode(std::vector<std::uint8_t>(history.begin(), history.end()))}};
  test::writeFile(file, stored.dump());

  auto printed = cli({"report"});
  ASSERT_EQ(printed.exitCode, 0) << printed.err;
  ASSERT_EQ(cli({"report", (home / "report.txt").string()}).exitCode, 0);
  for (const std::string& report : {printed.out, test::readFile(home / "report.txt")}) {
    for (const char* expected : {"== Checks ==", "microphone: ", "posting keys: ", "cleanupLevel: \"format\"",
                                 "corrections (My Words): 1 entries", "recent dictations: 1,",
                                 "Qt: n/a in murvelo-cli", "murvelo-cli keeps no events"})
      EXPECT_NE(report.find(expected), std::string::npos) << expected << "\n" << report;
    for (const char* secret : {"Quentaria", "harbour", "Mariannequa", "marianne dashwood"})
      EXPECT_EQ(report.find(secret), std::string::npos) << secret;
  }
  EXPECT_EQ(cli({"report", (home / "no-such-dir" / "r.txt").string()}).exitCode, 1);
  EXPECT_EQ(cli({"report", "a", "b"}).exitCode, 2);
}

}  // namespace
}  // namespace murvelo
