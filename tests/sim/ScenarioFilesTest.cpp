#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "sim/Scenario.h"
#include "sim/ScenarioRunner.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

namespace murvelo::sim {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> scenarioFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(fs::path(MURVELO_SOURCE_DIR) / "tests" / "scenarios"))
    if (entry.path().extension() == ".scenario") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

class ScenarioFile : public ::testing::TestWithParam<fs::path> {};

// Each scenario carries its own expectations in comments: "#> LINE" lines must appear in the
// output in this order; "#! TEXT" must appear in no output line.
TEST_P(ScenarioFile, ProducesItsExpectedEvents) {
  const std::string text = test::readFile(GetParam());
  auto steps = parseScenario(text);
  ASSERT_TRUE(steps.ok()) << "line " << steps.error().line << ": " << steps.error().message;
  const std::vector<std::string> output = runScenario(steps.value());
  std::string all;
  for (const auto& line : output) all += line + "\n";
  auto at = output.begin();
  bool expectsSomething = false;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    const std::string wanted = line.substr(std::min<std::size_t>(3, line.size()));
    if (line.rfind("#> ", 0) == 0) {
      expectsSomething = true;
      auto found = std::find(at, output.end(), wanted);
      ASSERT_NE(found, output.end()) << "missing (or out of order): " << wanted << "\noutput:\n" << all;
      at = found + 1;
    } else if (line.rfind("#! ", 0) == 0) {
      EXPECT_EQ(all.find(wanted), std::string::npos) << "unexpected \"" << wanted << "\" in:\n" << all;
    }
  }
  EXPECT_TRUE(expectsSomething) << "a scenario without expectations tests nothing";
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ScenarioFile, ::testing::ValuesIn(scenarioFiles()), [](const auto& info) {
  std::string name = info.param.stem().string();
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST(SimulateCommand, PrintsEventsAndRejectsBadLinesWithTheirNumber) {
  test::TempDir dir;
  test::writeFile(dir / "good.scenario", "stream \"hi\" after 100\nat 0 keydown\nat 500 keyup\n");
  test::writeFile(dir / "bad.scenario", "# fine\nat 0 keydown\nat 10 jump\n");

  auto good = test::runProcess(MURVELO_CLI_PATH, {"simulate", (dir / "good.scenario").string()});
  EXPECT_EQ(good.exitCode, 0);
  EXPECT_NE(good.out.find("600 deliver \"Hi. \" pastedAtCursor\n"), std::string::npos) << good.out;

  auto bad = test::runProcess(MURVELO_CLI_PATH, {"simulate", (dir / "bad.scenario").string()});
  EXPECT_EQ(bad.exitCode, 2);
  EXPECT_NE(bad.err.find("line 3"), std::string::npos) << bad.err;
  EXPECT_TRUE(bad.out.empty());
}

}  // namespace
}  // namespace murvelo::sim
