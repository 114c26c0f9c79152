#pragma once

#include "base/Timer.h"

namespace murvelo {

// The main thread as the core sees it. The controller, settings, HUD model and delivery run only
// in jobs of this loop; workers post their results back to it. Its delayed jobs run on the loop.
class MainLoop : public Timer {
 public:
  // Runs `job` on the loop soon. Safe from any thread.
  virtual void post(Job job) = 0;
};

}  // namespace murvelo
