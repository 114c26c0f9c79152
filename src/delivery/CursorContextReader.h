#pragma once

#include <functional>

#include "delivery/CursorContext.h"

namespace murvelo {

// Reads the context of the focused field off the main thread; the answer arrives on the main loop
// and is never an error (failure gives the unavailable context).
class CursorContextReader {
 public:
  virtual ~CursorContextReader() = default;
  virtual void read(std::function<void(CursorContext)> done) = 0;
};

}  // namespace murvelo
