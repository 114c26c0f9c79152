#pragma once

#include <string>

namespace murvelo {

// One input device the audio server offers.
struct MicrophoneInput {
  std::string id;    // the server's unique identifier (the source name)
  std::string name;  // the human-readable description
  bool isBuiltIn = false;

  bool operator==(const MicrophoneInput&) const = default;
};

}  // namespace murvelo
