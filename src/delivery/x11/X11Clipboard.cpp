#include "delivery/x11/X11Clipboard.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <map>
#include <optional>

#include "delivery/x11/XlibSetup.h"

namespace murvelo {
namespace {

using Clock = std::chrono::steady_clock;

// Targets that describe the selection rather than hold its contents.
bool isMetaTarget(const std::string& name) {
  static const char* const kMeta[] = {
      "TARGETS",          "MULTIPLE",        "TIMESTAMP",         "SAVE_TARGETS",     "DELETE",
      "INSERT_SELECTION", "INSERT_PROPERTY", "_GTK_SELECTION_ID", "CLIPBOARD_MANAGER"};
  return std::any_of(std::begin(kMeta), std::end(kMeta), [&](const char* m) { return name == m; });
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Waits until the connection has something to read, or the deadline passes.
bool waitReadable(Display* display, Clock::time_point deadline) {
  if (XPending(display) > 0) return true;
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  if (left <= 0) return false;
  pollfd p{ConnectionNumber(display), POLLIN, 0};
  poll(&p, 1, static_cast<int>(left));
  return XPending(display) > 0 || Clock::now() < deadline;
}

}  // namespace

struct X11Clipboard::State {
  using Data = std::shared_ptr<const std::string>;
  struct Offer {
    std::vector<std::pair<Atom, Data>> types;
    Time since = CurrentTime;
  };
  struct Transfer {
    Window requestor;
    Atom property;
    Atom type;
    Data data;
    std::size_t offset = 0;
    Clock::time_point lastActivity;
  };

  Display* owner = nullptr;  // the worker's connection
  Window window = None;
  Display* reader = nullptr;  // the capture thread's connection
  Window readerWindow = None;
  int fixesEvent = 0;
  Atom clipboard = None, targets = None, timestamp = None, incr = None, utf8 = None, textPlain = None,
       textPlainUtf8 = None, readProperty = None, stampProperty = None;
  std::size_t chunk = 0;
  std::chrono::milliseconds readLimit{1000};
  int wake = -1;

  std::atomic<std::uint64_t> count{0};
  std::mutex mutex;  // guards jobs, quitting, offer (the reader copies our own offer)
  std::deque<std::function<void()>> jobs;
  bool quitting = false;
  std::shared_ptr<const Offer> offer;
  std::map<std::pair<Window, Atom>, Transfer> transfers;
  std::thread thread;

  ~State() {
    if (owner) XCloseDisplay(owner);
    if (reader) XCloseDisplay(reader);
    if (wake >= 0) close(wake);
  }

  std::string atomName(Display* display, Atom atom) {
    char* name = XGetAtomName(display, atom);
    if (!name) return {};
    std::string out(name);
    XFree(name);
    return out;
  }

  // --- worker ---

  void run() {
    while (true) {
      std::deque<std::function<void()>> ready;
      {
        std::lock_guard lock(mutex);
        if (quitting) return;
        ready.swap(jobs);
      }
      for (auto& job : ready) job();
      drainEvents();
      pollfd fds[2] = {{ConnectionNumber(owner), POLLIN, 0}, {wake, POLLIN, 0}};
      poll(fds, 2, transfers.empty() ? -1 : 1000);
      if (fds[1].revents & POLLIN) {
        std::uint64_t ignored;
        [[maybe_unused]] auto n = ::read(wake, &ignored, sizeof ignored);
      }
      dropStaleTransfers();
    }
  }

  void drainEvents() {
    while (XPending(owner) > 0) {
      XEvent event;
      XNextEvent(owner, &event);
      handle(event);
    }
  }

  void handle(const XEvent& event) {
    if (event.type == fixesEvent + XFixesSelectionNotify) {
      auto& notify = reinterpret_cast<const XFixesSelectionNotifyEvent&>(event);
      if (notify.selection == clipboard) ++count;
      return;
    }
    switch (event.type) {
      case SelectionRequest: serve(event.xselectionrequest); break;
      case SelectionClear:
        if (event.xselectionclear.selection == clipboard) {
          std::lock_guard lock(mutex);
          offer.reset();
        }
        break;
      case PropertyNotify:
        if (event.xproperty.state == PropertyDelete)
          continueTransfer(event.xproperty.window, event.xproperty.atom);
        break;
      default: break;
    }
  }

  void serve(const XSelectionRequestEvent& request) {
    XSelectionEvent reply{};
    reply.type = SelectionNotify;
    reply.display = request.display;
    reply.requestor = request.requestor;
    reply.selection = request.selection;
    reply.target = request.target;
    reply.time = request.time;
    reply.property = None;
    Atom property = request.property == None ? request.target : request.property;

    std::shared_ptr<const Offer> current;
    {
      std::lock_guard lock(mutex);
      current = offer;
    }
    if (current && request.selection == clipboard) {
      if (request.target == targets) {
        std::vector<long> atoms = {static_cast<long>(targets), static_cast<long>(timestamp)};
        for (const auto& [type, data] : current->types) atoms.push_back(static_cast<long>(type));
        XChangeProperty(owner, request.requestor, property, XA_ATOM, 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(atoms.data()), static_cast<int>(atoms.size()));
        reply.property = property;
      } else if (request.target == timestamp) {
        long since = static_cast<long>(current->since);
        XChangeProperty(owner, request.requestor, property, XA_INTEGER, 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(&since), 1);
        reply.property = property;
      } else {
        for (const auto& [type, data] : current->types) {
          if (type != request.target) continue;
          if (data->size() <= chunk) {
            XChangeProperty(owner, request.requestor, property, type, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(data->data()),
                            static_cast<int>(data->size()));
          } else {
            // Too large for one request: announce the size, then hand out chunks each time the
            // requestor deletes the property.
            XSelectInput(owner, request.requestor, PropertyChangeMask);
            long size = static_cast<long>(data->size());
            XChangeProperty(owner, request.requestor, property, incr, 32, PropModeReplace,
                            reinterpret_cast<unsigned char*>(&size), 1);
            transfers[{request.requestor, property}] =
                Transfer{request.requestor, property, type, data, 0, Clock::now()};
          }
          reply.property = property;
          break;
        }
      }
    }
    XEvent out{};
    out.xselection = reply;
    XSendEvent(owner, request.requestor, False, NoEventMask, &out);
    XFlush(owner);
  }

  void continueTransfer(Window requestor, Atom property) {
    auto it = transfers.find({requestor, property});
    if (it == transfers.end()) return;
    Transfer& transfer = it->second;
    std::size_t size = std::min(chunk, transfer.data->size() - transfer.offset);
    XChangeProperty(owner, requestor, property, transfer.type, 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(transfer.data->data() + transfer.offset),
                    static_cast<int>(size));
    transfer.offset += size;
    transfer.lastActivity = Clock::now();
    if (size == 0) finishTransfer(it);  // the empty chunk ends it
    XFlush(owner);
  }

  void finishTransfer(std::map<std::pair<Window, Atom>, Transfer>::iterator it) {
    Window requestor = it->first.first;
    transfers.erase(it);
    bool more =
        std::any_of(transfers.begin(), transfers.end(), [&](auto& t) { return t.first.first == requestor; });
    if (!more) XSelectInput(owner, requestor, NoEventMask);
  }

  void dropStaleTransfers() {
    for (auto it = transfers.begin(); it != transfers.end();) {
      auto next = std::next(it);
      if (Clock::now() - it->second.lastActivity > std::chrono::seconds(5)) finishTransfer(it);
      it = next;
    }
  }

  // A server timestamp for taking the selection: append nothing to a property and wait for the
  // notification.
  Time serverTime() {
    XChangeProperty(owner, window, stampProperty, XA_STRING, 8, PropModeAppend, nullptr, 0);
    XEvent event;
    XIfEvent(
        owner, &event,
        [](Display*, XEvent* e, XPointer arg) -> Bool {
          auto* self = reinterpret_cast<State*>(arg);
          return e->type == PropertyNotify && e->xproperty.window == self->window &&
                 e->xproperty.atom == self->stampProperty;
        },
        reinterpret_cast<XPointer>(this));
    return event.xproperty.time;
  }

  void own(std::shared_ptr<Offer> next) {
    next->since = serverTime();
    {
      std::lock_guard lock(mutex);
      offer = next;
    }
    XSetSelectionOwner(owner, clipboard, window, next->since);
    // Our own owner change must be counted before anyone reads the count.
    XSync(owner, False);
    drainEvents();
  }

  // --- reader (capture thread) ---

  // Asks the owner for one target; the bytes, or nothing when it refused or did not answer.
  std::optional<std::string> convert(Atom target, Clock::time_point deadline) {
    XEvent event;
    while (XCheckWindowEvent(reader, readerWindow, PropertyChangeMask, &event)) {
    }
    XDeleteProperty(reader, readerWindow, readProperty);
    XConvertSelection(reader, clipboard, target, readProperty, readerWindow, CurrentTime);
    XFlush(reader);
    while (true) {
      if (XCheckTypedWindowEvent(reader, readerWindow, SelectionNotify, &event)) break;
      if (!waitReadable(reader, deadline)) return std::nullopt;
    }
    if (event.xselection.property == None) return std::nullopt;

    auto fetch = [&](Atom& type, int& format) -> std::optional<std::string> {
      unsigned long count = 0, after = 0;
      unsigned char* data = nullptr;
      if (XGetWindowProperty(reader, readerWindow, readProperty, 0, LONG_MAX / 4, True, AnyPropertyType,
                             &type, &format, &count, &after, &data) != Success)
        return std::nullopt;
      std::string bytes;
      if (data && format == 8) bytes.assign(reinterpret_cast<char*>(data), count);
      if (data && format == 32 && type == incr && count > 0) bytes = "incr";
      if (data) XFree(data);
      return bytes;
    };
    Atom type = None;
    int format = 0;
    auto first = fetch(type, format);
    if (!first || type == None) return std::nullopt;
    if (type != incr) {
      if (format != 8) return std::nullopt;  // atom lists and the like are not contents
      return first;
    }
    // INCR: every new value is the next chunk; an empty one ends the transfer.
    std::string whole;
    while (true) {
      if (XCheckWindowEvent(reader, readerWindow, PropertyChangeMask, &event)) {
        if (event.xproperty.atom != readProperty || event.xproperty.state != PropertyNewValue) continue;
        auto part = fetch(type, format);
        if (!part) return std::nullopt;
        if (type == None) continue;
        if (part->empty()) return whole;
        whole += *part;
        continue;
      }
      if (!waitReadable(reader, deadline)) return std::nullopt;
    }
  }

  std::vector<ClipboardItem> read() {
    Window current = XGetSelectionOwner(reader, clipboard);
    if (current == None) return {};
    if (current == window) {
      std::shared_ptr<const Offer> mine;
      {
        std::lock_guard lock(mutex);
        mine = offer;
      }
      if (!mine) return {};
      ClipboardItem item;
      for (const auto& [type, data] : mine->types) item.entries.emplace_back(atomName(reader, type), *data);
      return {item};
    }
    const auto deadline = Clock::now() + readLimit;
    std::vector<Atom> offered;
    if (auto list = convertAtoms(deadline)) {
      offered = *list;
    } else {
      offered = {utf8, XA_STRING};
    }
    ClipboardItem item;
    for (Atom target : offered) {
      std::string name = atomName(reader, target);
      if (name.empty() || isMetaTarget(name)) continue;
      if (std::any_of(item.entries.begin(), item.entries.end(), [&](auto& e) { return e.first == name; }))
        continue;
      auto bytes = convert(target, deadline);
      if (Clock::now() >= deadline) return {};
      if (bytes) item.entries.emplace_back(std::move(name), std::move(*bytes));
    }
    if (item.entries.empty()) return {};
    return {item};
  }

  std::optional<std::vector<Atom>> convertAtoms(Clock::time_point deadline) {
    XEvent event;
    XDeleteProperty(reader, readerWindow, readProperty);
    XConvertSelection(reader, clipboard, targets, readProperty, readerWindow, CurrentTime);
    XFlush(reader);
    while (!XCheckTypedWindowEvent(reader, readerWindow, SelectionNotify, &event)) {
      if (!waitReadable(reader, deadline)) return std::nullopt;
    }
    if (event.xselection.property == None) return std::nullopt;
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(reader, readerWindow, readProperty, 0, 65536, True, AnyPropertyType, &type,
                           &format, &count, &after, &data) != Success)
      return std::nullopt;
    std::vector<Atom> atoms;
    if (data && format == 32) {
      auto* values = reinterpret_cast<long*>(data);
      for (unsigned long i = 0; i < count; ++i) atoms.push_back(static_cast<Atom>(values[i]));
    }
    if (data) XFree(data);
    if (atoms.empty()) return std::nullopt;
    return atoms;
  }
};

std::unique_ptr<X11Clipboard> X11Clipboard::open(const char* display, std::chrono::milliseconds readLimit) {
  prepareXlib();
  auto state = std::make_unique<State>();
  state->readLimit = readLimit;
  state->owner = XOpenDisplay(display);
  state->reader = XOpenDisplay(display);
  if (!state->owner || !state->reader) return nullptr;
  int errorBase = 0;
  if (!XFixesQueryExtension(state->owner, &state->fixesEvent, &errorBase)) return nullptr;
  Display* d = state->owner;
  state->clipboard = XInternAtom(d, "CLIPBOARD", False);
  state->targets = XInternAtom(d, "TARGETS", False);
  state->timestamp = XInternAtom(d, "TIMESTAMP", False);
  state->incr = XInternAtom(d, "INCR", False);
  state->utf8 = XInternAtom(d, "UTF8_STRING", False);
  state->textPlain = XInternAtom(d, "text/plain", False);
  state->textPlainUtf8 = XInternAtom(d, "text/plain;charset=utf-8", False);
  state->readProperty = XInternAtom(d, "MURVELO_CLIPBOARD_READ", False);
  state->stampProperty = XInternAtom(d, "MURVELO_TIMESTAMP", False);
  long maxRequest = XExtendedMaxRequestSize(d) > 0 ? XExtendedMaxRequestSize(d) : XMaxRequestSize(d);
  state->chunk = static_cast<std::size_t>(std::min<long>(maxRequest * 4 - 1024, 256 * 1024));

  XSetWindowAttributes attributes{};
  attributes.event_mask = PropertyChangeMask;
  state->window = XCreateWindow(d, DefaultRootWindow(d), 0, 0, 1, 1, 0, CopyFromParent, InputOnly,
                                CopyFromParent, CWEventMask, &attributes);
  XFixesSelectSelectionInput(d, state->window, state->clipboard,
                             XFixesSetSelectionOwnerNotifyMask | XFixesSelectionWindowDestroyNotifyMask |
                                 XFixesSelectionClientCloseNotifyMask);
  Display* r = state->reader;
  state->readerWindow = XCreateWindow(r, DefaultRootWindow(r), 0, 0, 1, 1, 0, CopyFromParent, InputOnly,
                                      CopyFromParent, CWEventMask, &attributes);
  XSync(d, False);
  XSync(r, False);
  state->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (state->wake < 0) return nullptr;
  State* raw = state.get();
  state->thread = std::thread([raw] { raw->run(); });
  return std::unique_ptr<X11Clipboard>(new X11Clipboard(std::move(state)));
}

X11Clipboard::X11Clipboard(std::unique_ptr<State> state) : state_(std::move(state)) {}

X11Clipboard::~X11Clipboard() {
  {
    std::lock_guard lock(state_->mutex);
    state_->quitting = true;
  }
  std::uint64_t one = 1;
  [[maybe_unused]] auto n = write(state_->wake, &one, sizeof one);
  if (state_->thread.joinable()) state_->thread.join();
}

void X11Clipboard::enqueue(std::function<void()> job) {
  {
    std::lock_guard lock(state_->mutex);
    state_->jobs.push_back(std::move(job));
  }
  std::uint64_t one = 1;
  [[maybe_unused]] auto n = write(state_->wake, &one, sizeof one);
}

bool X11Clipboard::onWorker(std::function<void()> job, Deadline deadline) {
  auto done = std::make_shared<std::pair<std::mutex, std::condition_variable>>();
  auto finished = std::make_shared<bool>(false);
  enqueue([job = std::move(job), done, finished] {
    job();
    std::lock_guard lock(done->first);
    *finished = true;
    done->second.notify_all();
  });
  std::unique_lock lock(done->first);
  return done->second.wait_until(lock, deadline, [&] { return *finished; });
}

// The worker runs jobs in order, so this one comes after every write already handed over.
void X11Clipboard::afterWrites(std::function<void()> job) { enqueue(std::move(job)); }

std::uint64_t X11Clipboard::changeCount(Deadline deadline) {
  State* s = state_.get();
  // Bring in every owner change the server has seen so far. A write that returned true has counted
  // itself already, so past the deadline this can only miss other programs' changes.
  if (Clock::now() < deadline) {
    onWorker(
        [s] {
          XSync(s->owner, False);
          s->drainEvents();
        },
        deadline);
  }
  return s->count.load();
}

bool X11Clipboard::owned() {
  changeCount(Clock::now() + std::chrono::milliseconds(100));  // brings in a SelectionClear on its way
  std::lock_guard lock(state_->mutex);
  return state_->offer != nullptr;
}

std::vector<ClipboardItem> X11Clipboard::readItems() { return state_->read(); }

bool X11Clipboard::writeText(std::string_view text, Deadline deadline) {
  State* s = state_.get();
  auto data = std::make_shared<const std::string>(text);
  auto offer = std::make_shared<State::Offer>();
  offer->types = {{s->utf8, data}, {s->textPlainUtf8, data}};
  // STRING is Latin-1; only plain ASCII is the same bytes there.
  if (isAscii(text)) {
    offer->types.emplace_back(XA_STRING, data);
    offer->types.emplace_back(s->textPlain, data);
  }
  return onWorker([s, offer] { s->own(offer); }, deadline);
}

bool X11Clipboard::writeItems(const std::vector<ClipboardItem>& items, Deadline deadline) {
  State* s = state_.get();
  // One selection holds one item: the types of all items together, the first of each type kept.
  auto offer = std::make_shared<State::Offer>();
  std::vector<std::pair<std::string, State::Data>> named;
  for (const ClipboardItem& item : items)
    for (const auto& [type, bytes] : item.entries)
      if (std::none_of(named.begin(), named.end(), [&](auto& n) { return n.first == type; }))
        named.emplace_back(type, std::make_shared<const std::string>(bytes));
  return onWorker(
      [s, offer, named = std::move(named)] {
        for (const auto& [type, data] : named)
          offer->types.emplace_back(XInternAtom(s->owner, type.c_str(), False), data);
        s->own(offer);
      },
      deadline);
}

}  // namespace murvelo
