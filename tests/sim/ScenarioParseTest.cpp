#include <gtest/gtest.h>

#include "sim/Scenario.h"

namespace murvelo::sim {
namespace {

TEST(ScenarioParse, NamesTheLineOfEachMistake) {
  struct Case {
    const char* text;
    int line;
  };
  const Case cases[] = {
      {"at ten keydown", 1},    {"at 10 keydown\nat 5 keyup", 2},
      {"mic loud", 1},          {"level medium", 1},
      {"cursor here", 1},       {"autopaste maybe", 1},
      {"paste now", 1},         {"mode push", 1},
      {"# ok\n\nrun until", 3}, {"dance", 1},
  };
  for (const auto& c : cases) {
    auto steps = parseScenario(c.text);
    ASSERT_FALSE(steps.ok()) << c.text;
    EXPECT_EQ(steps.error().line, c.line) << c.text;
    EXPECT_FALSE(steps.error().message.empty());
  }
}

}  // namespace
}  // namespace murvelo::sim
