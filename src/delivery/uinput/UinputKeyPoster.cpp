#include "delivery/uinput/UinputKeyPoster.h"

#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>
#include <vector>

namespace murvelo {
namespace {

// Scan codes, not symbols: the compositor maps KEY_V through the user's layout.
bool emit(int fd, unsigned short type, unsigned short code, int value) {
  input_event event{};
  event.type = type;
  event.code = code;
  event.value = value;
  return write(fd, &event, sizeof event) == static_cast<ssize_t>(sizeof event);
}

}  // namespace

int writePasteChord(int fd, PasteKey key) {
  std::vector<unsigned short> chord = {KEY_LEFTCTRL};
  if (key == PasteKey::ctrlShiftV) chord.push_back(KEY_LEFTSHIFT);
  chord.push_back(KEY_V);
  int written = 0;
  for (unsigned short code : chord) {
    if (!emit(fd, EV_KEY, code, 1)) return written;
    ++written;
    emit(fd, EV_SYN, SYN_REPORT, 0);
  }
  for (auto it = chord.rbegin(); it != chord.rend(); ++it) {
    if (!emit(fd, EV_KEY, *it, 0)) return written;
    ++written;
    emit(fd, EV_SYN, SYN_REPORT, 0);
  }
  return written;
}

bool UinputKeyPoster::writable(const std::string& path) { return ::access(path.c_str(), W_OK) == 0; }

std::unique_ptr<UinputKeyPoster> UinputKeyPoster::open(const std::string& path) {
  int fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return std::unique_ptr<UinputKeyPoster>(new UinputKeyPoster(-1));
  bool ok = ioctl(fd, UI_SET_EVBIT, EV_KEY) == 0 && ioctl(fd, UI_SET_EVBIT, EV_SYN) == 0;
  for (int code : {KEY_LEFTCTRL, KEY_LEFTSHIFT, KEY_V}) ok = ok && ioctl(fd, UI_SET_KEYBIT, code) == 0;
  uinput_setup setup{};
  setup.id.bustype = BUS_VIRTUAL;
  setup.id.vendor = 0x1;
  setup.id.product = 0x1;
  std::strncpy(setup.name, "Murvelo virtual keyboard", UINPUT_MAX_NAME_SIZE - 1);
  ok = ok && ioctl(fd, UI_DEV_SETUP, &setup) == 0 && ioctl(fd, UI_DEV_CREATE) == 0;
  if (!ok) {
    close(fd);
    fd = -1;
  }
  return std::unique_ptr<UinputKeyPoster>(new UinputKeyPoster(fd));
}

UinputKeyPoster::~UinputKeyPoster() {
  if (fd_ < 0) return;
  ioctl(fd_, UI_DEV_DESTROY);
  close(fd_);
}

}  // namespace murvelo
