#pragma once

#include <optional>
#include <vector>

#include "app/SupportReport.h"

namespace murvelo {

// What this session lets the program do, asked of the real services: the audio server and its
// inputs, how the talk key can be watched, the accessibility bus, and how a paste key can be
// posted. Each probe is bounded (about a second at most); a missing service is a failed probe,
// never an error. Call it off the GUI thread.
struct SystemProbes {
  std::vector<SupportReport::Probe> probes;
  std::optional<DeviceList> devices;  // none when the audio server did not answer

  static SystemProbes run();
};

}  // namespace murvelo
