#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace murvelo {

// What another process asks the running program over the single-instance socket: one line
// in, one line back ("ok", or "error: " and why).
enum class InstanceRequest {
  activate,    // a second copy started: show the settings
  talkStart,   // act as the talk key going down
  talkStop,    // ... going up
  talkToggle,  // start a recording, or stop the one running
};

std::string_view requestLine(InstanceRequest request);
// Accepts the line with or without its trailing newline.
std::optional<InstanceRequest> parseRequestLine(std::string_view line);

}  // namespace murvelo
