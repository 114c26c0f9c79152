#include "desktop/DesktopTestEnvironment.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>

#include "support/Pump.h"

namespace murvelo::test {

PrivateDisplay::PrivateDisplay() {
  // -displayfd lets the server pick a free number and tell us which.
  std::string number = xvfb_.startAndReadLine(
      {"Xvfb", "-displayfd", "{fd}", "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"}, {},
      "/dev/null");
  if (!number.empty()) name_ = ":" + number;
}

BackgroundProcess::BackgroundProcess(const std::string& program, const std::vector<std::string>& args,
                                     const std::map<std::string, std::string>& env,
                                     const std::filesystem::path& output) {
  pid_ = fork();
  if (pid_ == 0) {
    int out = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(out, 1);
    dup2(out, 2);
    for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
}

BackgroundProcess::~BackgroundProcess() { terminate(); }

bool BackgroundProcess::running() { return waitExit(0) == -1 && pid_ > 0; }

int BackgroundProcess::waitExit(int timeoutMs) {
  waitUntil(
      [&] {
        int status = 0;
        if (pid_ <= 0 || waitpid(pid_, &status, WNOHANG) != pid_) return pid_ <= 0;
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        pid_ = -1;
        return true;
      },
      std::chrono::milliseconds(timeoutMs));
  return pid_ <= 0 ? exitCode_ : -1;
}

void BackgroundProcess::terminate() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  if (waitExit(3000) == -1) {
    kill(pid_, SIGKILL);
    waitExit(3000);
  }
}

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
         {"XDG_RUNTIME_DIR", (dir / "runtime").string()},
         {"HOME", dir.path().string()}};
}

std::unique_ptr<BackgroundProcess> ProgramHome::start(const std::string& log) {
  return std::make_unique<BackgroundProcess>(MURVELO_PROGRAM_PATH, std::vector<std::string>{}, env,
                                             dir / log);
}

ProcessResult ProgramHome::cli(const std::vector<std::string>& args) const {
  return runProcess(MURVELO_CLI_PATH, args, env);
}

bool ProgramHome::waitForSocket() const {
  return waitUntil([&] { return std::filesystem::exists(socket()); }, std::chrono::seconds(10));
}

}  // namespace murvelo::test
