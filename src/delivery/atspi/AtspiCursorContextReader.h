#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "delivery/CursorContextReader.h"

namespace murvelo {

class MainLoop;

// Reads the focused field's context through AT-SPI on a worker thread. A read that
// takes longer than `bound` (an application that hangs, a bus that does not answer) gives the
// unavailable context; its late answer is dropped.
class AtspiCursorContextReader : public CursorContextReader {
 public:
  static constexpr std::chrono::milliseconds kDefaultBound{500};

  // `loop` receives the answers of read(); readNow() works without one.
  explicit AtspiCursorContextReader(MainLoop* loop, std::chrono::milliseconds bound = kDefaultBound);
  ~AtspiCursorContextReader() override;

  // The answer arrives on the loop, within the bound.
  void read(std::function<void(CursorContext)> done) override;
  // Blocks the calling thread at most the bound.
  CursorContext readNow();

 private:
  struct Pending;
  struct Owner;
  void start(const std::shared_ptr<Pending>& pending);

  std::chrono::milliseconds bound_;
  std::shared_ptr<Owner> owner_;
};

}  // namespace murvelo
