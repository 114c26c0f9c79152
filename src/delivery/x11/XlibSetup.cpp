#include "delivery/x11/XlibSetup.h"

#include <X11/Xlib.h>
#include <unistd.h>

#include <cstring>
#include <mutex>

namespace murvelo {
namespace {

int ignoreXError(Display*, XErrorEvent*) { return 0; }

int displayLost(Display*) {
  static const char kMessage[] = "murvelo: the X display went away; exiting\n";
  [[maybe_unused]] auto n = write(STDERR_FILENO, kMessage, std::strlen(kMessage));
  _exit(1);
}

}  // namespace

void prepareXlib() {
  static std::once_flag once;
  std::call_once(once, [] {
    XInitThreads();
    XSetErrorHandler(ignoreXError);
    XSetIOErrorHandler(displayLost);
  });
}

}  // namespace murvelo
