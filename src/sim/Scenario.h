#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/Result.h"

namespace murvelo::sim {

// One line of a scenario file, parsed.
struct ScenarioStep {
  enum class Kind {
    keyDown,         // at MS keydown
    keyUp,           // at MS keyup
    keyRepeat,       // at MS repeat           (an auto-repeat of the held key)
    resync,          // at MS resync up|down   (the key's state read after a gap in events)
    stream,          // stream "TEXT" after MS | stream hang
    file,            // file "TEXT" after MS | file hang
    micFail,         // mic fail
    micSilent,       // mic silent
    micBluetooth,    // mic bluetooth "NAME"
    micSubstituted,  // mic substituted "NAME"
    level,           // level none|light|format
    cursor,          // cursor "TEXT BEFORE THE CURSOR"
    autoPaste,       // autopaste on|off
    pasteDenied,     // paste denied | paste allowed
    mode,            // mode hold|toggle
    runUntil,        // run until MS
    finalizeLimit,   // stream limit on|off    (race finalisation against 3 s, with quarantine)
  };

  Kind kind = Kind::keyDown;
  int line = 0;
  std::int64_t atMs = 0;  // timed lines and "run until"
  std::string text;       // quoted text, or the keyword argument
  std::int64_t afterMs = 0;
  bool hang = false;
  bool flag = false;  // on/down/denied
};

struct ScenarioError {
  int line = 0;
  std::string message;
};

// Parses a scenario; lines are separate steps, "#" starts a comment, blank lines are skipped.
// Times of timed lines may not go back.
Result<std::vector<ScenarioStep>, ScenarioError> parseScenario(std::string_view text);

}  // namespace murvelo::sim
