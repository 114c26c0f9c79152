// Another program's clipboard for tests: owns CLIPBOARD on $DISPLAY with the given types, each
// read from a file, and answers requests until the selection is taken. With --silent it owns the
// selection but never answers. Prints "ready" once it owns it.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

int main(int argc, char** argv) {
  bool silent = false;
  std::vector<std::pair<std::string, std::string>> types;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--silent") {
      silent = true;
      continue;
    }
    auto eq = arg.find('=');
    if (eq == std::string::npos) return 2;
    std::ifstream in(arg.substr(eq + 1), std::ios::binary);
    types.emplace_back(arg.substr(0, eq), std::string(std::istreambuf_iterator<char>(in), {}));
  }
  Display* d = XOpenDisplay(nullptr);
  if (!d) return 1;
  Window w = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 1, 1, 0, 0, 0);
  Atom clipboard = XInternAtom(d, "CLIPBOARD", False);
  Atom targets = XInternAtom(d, "TARGETS", False);
  XSetSelectionOwner(d, clipboard, w, CurrentTime);
  if (XGetSelectionOwner(d, clipboard) != w) return 1;
  std::printf("ready\n");
  std::fflush(stdout);
  while (true) {
    XEvent e;
    XNextEvent(d, &e);
    if (e.type == SelectionClear) return 0;
    if (e.type != SelectionRequest || silent) continue;
    XSelectionRequestEvent& r = e.xselectionrequest;
    XEvent reply{};
    reply.xselection = {SelectionNotify, 0, True, d, r.requestor, r.selection, r.target, None, r.time};
    if (r.target == targets) {
      std::vector<Atom> list = {targets};
      for (auto& [name, bytes] : types) list.push_back(XInternAtom(d, name.c_str(), False));
      XChangeProperty(d, r.requestor, r.property, XA_ATOM, 32, PropModeReplace,
                      reinterpret_cast<unsigned char*>(list.data()), static_cast<int>(list.size()));
      reply.xselection.property = r.property;
    } else {
      for (auto& [name, bytes] : types) {
        if (XInternAtom(d, name.c_str(), False) != r.target) continue;
        XChangeProperty(d, r.requestor, r.property, r.target, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
        reply.xselection.property = r.property;
      }
    }
    XSendEvent(d, r.requestor, False, NoEventMask, &reply);
    XFlush(d);
  }
}
