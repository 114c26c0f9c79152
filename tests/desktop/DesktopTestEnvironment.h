#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

struct _XDisplay;

namespace murvelo::test {

// What a user's hands and eyes do on the X display ($DISPLAY): press keys through XTest, see which
// windows are up and which one has the keyboard focus.
class XDesk {
 public:
  XDesk();
  ~XDesk();
  XDesk(const XDesk&) = delete;
  XDesk& operator=(const XDesk&) = delete;

  bool ok() const;  // the display answers and has XTest
  void key(unsigned keycode, bool down);
  // Whether a viewable top-level window of exactly this size is up.
  bool mapped(int width, int height);
  // The top-level window with this title; 0 when none.
  unsigned long titled(const std::string& title);
  // The title of the top-level window that holds the keyboard focus.
  std::string focusedTitle();

 private:
  ::_XDisplay* display_;  // Xlib's Display
};

// Where the screenshots of the test run go: <build>/screenshots.
std::filesystem::path screenshotDir();

// "go forward ten meters" (pocketsphinx-testdata) as samples at 16 kHz; empty when not installed.
std::vector<float> goForward();

// The program as a user starts it, with its own settings and runtime folders.
struct ProgramHome {
  TempDir dir;
  std::map<std::string, std::string> env;
  ProgramHome();
  std::filesystem::path socket() const { return dir / "runtime" / "murvelo" / "instance.sock"; }
  std::unique_ptr<ChildProcess> start(const std::string& log = "murvelo.log");
  ProcessResult cli(const std::vector<std::string>& args) const;
  bool waitForSocket() const;
};

}  // namespace murvelo::test
