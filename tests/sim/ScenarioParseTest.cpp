#include <gtest/gtest.h>

#include "sim/Scenario.h"

namespace murvelo::sim {
namespace {

TEST(ScenarioParse, NamesTheLineOfEachMistake) {
  // A scenario, and the line its mistake is on.
  const std::pair<const char*, int> cases[] = {
      {"at ten keydown", 1},    {"at 10 keydown\nat 5 keyup", 2},
      {"mic loud", 1},          {"level medium", 1},
      {"cursor here", 1},       {"autopaste maybe", 1},
      {"paste now", 1},         {"mode push", 1},
      {"# ok\n\nrun until", 3}, {"dance", 1},
  };
  for (const auto& [text, line] : cases) {
    auto steps = parseScenario(text);
    ASSERT_FALSE(steps.ok()) << text;
    EXPECT_EQ(steps.error().line, line) << text;
    EXPECT_FALSE(steps.error().message.empty());
  }
}

}  // namespace
}  // namespace murvelo::sim
