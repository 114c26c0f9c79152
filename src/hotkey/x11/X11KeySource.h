#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "base/MainLoop.h"
#include "hotkey/KeySource.h"

namespace murvelo {

// The talk key on X11: XInput2 raw key events of every master keyboard, selected on the root
// window. Listen-only: no grab, nothing to allow. A worker thread owns its own connection and
// sleeps in poll() until the server or stop() wakes it; reports are posted to the main loop.
// A lost server is retried with a growing pause, and every gap ends with a keymap reading.
class X11KeySource : public KeySource {
 public:
  // `display` as in DISPLAY; empty means $DISPLAY.
  X11KeySource(MainLoop& loop, std::string display = {});
  ~X11KeySource() override;

  bool start(int keyCode, Handler handler) override;
  void stop() override;
  void requestState() override;
  bool isLive() const override;
  bool mayListen() const override { return true; }
  std::string problem() const override { return problem_; }
  std::string name() const override { return "x11-xinput2"; }

  // Whether an X server answers on `display` and offers XInput 2.
  static bool serverAvailable(const std::string& display, std::string* why = nullptr);

  // How much processor time the worker thread has used; for the idle benchmark.
  std::chrono::nanoseconds workerCpuTime() const;

 private:
  struct Delivery;
  struct Worker;

  MainLoop& loop_;
  std::string display_;
  std::string problem_;
  std::shared_ptr<Delivery> delivery_;
  std::unique_ptr<Worker> worker_;
  std::thread thread_;
};

}  // namespace murvelo
