#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "sim/Scenario.h"

namespace murvelo::sim {

// Runs the real dictation controller on simulated devices and a manual clock, and reports what
// happened, one line per event in virtual time:
//   MS log TEXT | MS status NAME[ "NOTICE"] | MS deliver "TEXT" OUTCOME | MS history "TEXT"
// After the last step the simulation runs on until nothing is pending (at most `settleLimit`).
std::vector<std::string> runScenario(const std::vector<ScenarioStep>& steps,
                                     std::chrono::milliseconds settleLimit = std::chrono::hours(2));

}  // namespace murvelo::sim
