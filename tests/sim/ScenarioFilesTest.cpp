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

// Each scenario carries its own expectations in comments: "#> LINE" lines must appear in the
// output in this order; "#! TEXT" must appear in no output line.
struct Expectations {
  std::vector<std::string> inOrder;
  std::vector<std::string> absent;
};

Expectations expectationsOf(const std::string& text) {
  Expectations expected;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("#> ", 0) == 0) expected.inOrder.push_back(line.substr(3));
    if (line.rfind("#! ", 0) == 0) expected.absent.push_back(line.substr(3));
  }
  return expected;
}

std::vector<fs::path> scenarioFiles() {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(fs::path(MURVELO_SOURCE_DIR) / "tests" / "scenarios"))
    if (entry.path().extension() == ".scenario") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

class ScenarioFile : public ::testing::TestWithParam<fs::path> {};

TEST_P(ScenarioFile, ProducesItsExpectedEvents) {
  std::string text = test::readFile(GetParam());
  Expectations expected = expectationsOf(text);
  ASSERT_FALSE(expected.inOrder.empty()) << "a scenario without expectations tests nothing";
  auto steps = parseScenario(text);
  ASSERT_TRUE(steps.ok()) << "line " << steps.error().line << ": " << steps.error().message;
  std::vector<std::string> output = runScenario(steps.value());

  std::string all;
  for (const auto& line : output) all += line + "\n";
  auto at = output.begin();
  for (const auto& wanted : expected.inOrder) {
    auto found = std::find(at, output.end(), wanted);
    ASSERT_NE(found, output.end()) << "missing (or out of order): " << wanted << "\noutput:\n" << all;
    at = found + 1;
  }
  for (const auto& unwanted : expected.absent)
    for (const auto& line : output)
      EXPECT_EQ(line.find(unwanted), std::string::npos) << "unexpected \"" << unwanted << "\" in: " << line;
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
