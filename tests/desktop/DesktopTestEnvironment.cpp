#include "desktop/DesktopTestEnvironment.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <chrono>
#include <fstream>
#include <functional>

#include "support/Pump.h"

namespace murvelo::test {

namespace {

std::string nameOf(Display* display, Window w) {
  char* name = nullptr;
  if (!XFetchName(display, w, &name) || !name) return {};
  std::string out(name);
  XFree(name);
  return out;
}

Window findTop(Display* display, const std::function<bool(Window, const XWindowAttributes&)>& match) {
  Window root = None, parent = None, *children = nullptr;
  unsigned count = 0;
  Window found = None;
  if (!XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) return None;
  for (unsigned i = 0; i < count && found == None; ++i) {
    XWindowAttributes a;
    if (XGetWindowAttributes(display, children[i], &a) && match(children[i], a)) found = children[i];
  }
  if (children) XFree(children);
  return found;
}

}  // namespace

XDesk::XDesk() : display_(XOpenDisplay(nullptr)) {}
XDesk::~XDesk() {
  if (display_) XCloseDisplay(display_);
}

bool XDesk::ok() const {
  int ignored = 0;
  return display_ && XTestQueryExtension(display_, &ignored, &ignored, &ignored, &ignored);
}

void XDesk::key(unsigned keycode, bool down) {
  XTestFakeKeyEvent(display_, keycode, down, CurrentTime);
  XSync(display_, False);
}

bool XDesk::mapped(int width, int height) {
  return findTop(display_, [&](Window, const XWindowAttributes& a) {
           return a.map_state == IsViewable && a.width == width && a.height == height;
         }) != None;
}

unsigned long XDesk::titled(const std::string& title) {
  return findTop(display_, [&](Window w, const XWindowAttributes&) { return nameOf(display_, w) == title; });
}

std::string XDesk::focusedTitle() {
  Window focus = None;
  int revert = 0;
  XGetInputFocus(display_, &focus, &revert);
  for (Window w = focus; w != None && w != PointerRoot && w != DefaultRootWindow(display_);) {
    if (auto name = nameOf(display_, w); !name.empty()) return name;
    Window root = None, parent = None, *children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(display_, w, &root, &parent, &children, &count)) break;
    if (children) XFree(children);
    w = parent;
  }
  return {};
}

std::filesystem::path screenshotDir() {
  std::filesystem::path dir = std::filesystem::path(MURVELO_BINARY_DIR) / "screenshots";
  std::filesystem::create_directories(dir);
  return dir;
}

std::vector<float> goForward() {
  std::ifstream in("/usr/share/pocketsphinx/test/data/goforward.raw", std::ios::binary);
  std::vector<float> samples;
  unsigned char bytes[2];
  while (in.read(reinterpret_cast<char*>(bytes), 2))
    samples.push_back(static_cast<float>(static_cast<std::int16_t>(bytes[0] | bytes[1] << 8)) / 32768.0f);
  return samples;
}

ProgramHome::ProgramHome() {
  std::filesystem::create_directories(dir / "runtime");
  std::filesystem::permissions(dir / "runtime", std::filesystem::perms::owner_all);
  env = {{"XDG_CONFIG_HOME", (dir / "config").string()},
         {"XDG_DATA_HOME", (dir / "data").string()},
         {"XDG_RUNTIME_DIR", (dir / "runtime").string()},
         {"HOME", dir.path().string()}};
}

std::unique_ptr<ChildProcess> ProgramHome::start(const std::string& log) {
  auto program = std::make_unique<ChildProcess>();
  program->start({MURVELO_PROGRAM_PATH}, {env.begin(), env.end()}, dir / log);
  return program;
}

ProcessResult ProgramHome::cli(const std::vector<std::string>& args) const {
  return runProcess(MURVELO_CLI_PATH, args, env);
}

bool ProgramHome::waitForSocket() const {
  return waitUntil([&] { return std::filesystem::exists(socket()); }, std::chrono::seconds(10));
}

}  // namespace murvelo::test
