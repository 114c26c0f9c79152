#include "delivery/x11/X11KeyPoster.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <mutex>

#include "delivery/x11/XlibSetup.h"

namespace murvelo {
struct X11KeyPoster::State {
  Display* display = nullptr;
  bool xtest = false;
  std::vector<unsigned long> heldKeysyms;

  ~State() {
    if (display) XCloseDisplay(display);
  }

  std::vector<std::string> classesOf(Window window) {
    XClassHint hint{};
    if (!XGetClassHint(display, window, &hint)) return {};
    std::vector<std::string> out;
    if (hint.res_name) out.emplace_back(hint.res_name);
    if (hint.res_class) out.emplace_back(hint.res_class);
    if (hint.res_name) XFree(hint.res_name);
    if (hint.res_class) XFree(hint.res_class);
    return out;
  }
};

std::unique_ptr<X11KeyPoster> X11KeyPoster::open(const char* display,
                                                 std::vector<unsigned long> talkKeysyms) {
  prepareXlib();
  auto state = std::make_unique<State>();
  state->display = XOpenDisplay(display);
  if (!state->display) return nullptr;
  int event = 0, error = 0, major = 0, minor = 0;
  state->xtest = XTestQueryExtension(state->display, &event, &error, &major, &minor);
  // Right Alt is usually AltGr (ISO_Level3_Shift) in layouts that have it.
  state->heldKeysyms = {XK_Alt_L, XK_Alt_R, XK_Meta_L, XK_Meta_R, XK_ISO_Level3_Shift};
  state->heldKeysyms.insert(state->heldKeysyms.end(), talkKeysyms.begin(), talkKeysyms.end());
  return std::unique_ptr<X11KeyPoster>(new X11KeyPoster(std::move(state)));
}

X11KeyPoster::X11KeyPoster(std::unique_ptr<State> state) : state_(std::move(state)) {}
X11KeyPoster::~X11KeyPoster() = default;

bool X11KeyPoster::mayPostEvents() { return state_->xtest; }

bool X11KeyPoster::pasteBlockingModifierHeld() {
  char keys[32] = {};
  XQueryKeymap(state_->display, keys);
  for (unsigned long keysym : state_->heldKeysyms) {
    KeyCode code = XKeysymToKeycode(state_->display, keysym);
    if (code != 0 && (keys[code / 8] & (1 << (code % 8)))) return true;
  }
  return false;
}

std::vector<std::string> X11KeyPoster::focusedWindowClasses() {
  Display* d = state_->display;
  Window focus = None;
  int revert = 0;
  XGetInputFocus(d, &focus, &revert);
  Window root = DefaultRootWindow(d);
  if (focus == None || focus == PointerRoot || focus == root) {
    // Keys go to the window under the pointer.
    Window rootReturn = None, child = None;
    int rx, ry, wx, wy;
    unsigned int mask;
    if (!XQueryPointer(d, root, &rootReturn, &child, &rx, &ry, &wx, &wy, &mask) || child == None) return {};
    focus = child;
  }
  // The focus may sit on a child of the client window, or on a window manager's frame above it.
  for (Window w = focus; w != None && w != root;) {
    if (auto classes = state_->classesOf(w); !classes.empty()) return classes;
    Window rootReturn = None, parent = None;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(d, w, &rootReturn, &parent, &children, &count)) break;
    for (unsigned int i = 0; i < count; ++i) {
      if (auto classes = state_->classesOf(children[i]); !classes.empty()) {
        XFree(children);
        return classes;
      }
    }
    if (children) XFree(children);
    w = parent;
  }
  return {};
}

int X11KeyPoster::postPasteChord(PasteKey key) {
  if (!state_->xtest) return 0;
  Display* d = state_->display;
  KeyCode control = XKeysymToKeycode(d, XK_Control_L);
  KeyCode shift = XKeysymToKeycode(d, XK_Shift_L);
  KeyCode v = XKeysymToKeycode(d, XK_v);
  if (v == 0 || control == 0) return 0;
  std::vector<KeyCode> chord = {control};
  if (key == PasteKey::ctrlShiftV && shift != 0) chord.push_back(shift);
  chord.push_back(v);
  int posted = 0;
  for (KeyCode code : chord) posted += XTestFakeKeyEvent(d, code, True, CurrentTime) ? 1 : 0;
  for (auto it = chord.rbegin(); it != chord.rend(); ++it)
    posted += XTestFakeKeyEvent(d, *it, False, CurrentTime) ? 1 : 0;
  XSync(d, False);
  return posted;
}

}  // namespace murvelo
