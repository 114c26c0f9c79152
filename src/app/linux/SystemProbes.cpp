#include "app/linux/SystemProbes.h"

#include <gio/gio.h>
#include <grp.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "audio/pulse/PulseCaptureSession.h"
#include "delivery/uinput/UinputKeyPoster.h"
#include "delivery/x11/X11KeyPoster.h"
#include "hotkey/linux/TalkKeyBackend.h"
#include "hotkey/x11/X11KeySource.h"

namespace murvelo {
namespace {

constexpr int kBusTimeoutMs = 1000;

SupportReport::Probe microphone(std::optional<DeviceList>& devices) {
  PulseCaptureSession::Options options;
  options.clientName = "Murvelo probe";
  options.connectTimeoutMs = 1000;
  PulseCaptureSession session(options);
  if (!session.serverReachable())
    return {"microphone", false, "the audio server does not answer (is PulseAudio or PipeWire running?)"};
  devices = session.discover();
  if (devices->devices.empty())
    return {"microphone", false, "the audio server answers but offers no input; plug in a microphone"};
  return {"microphone", true,
          "the audio server answers; " + std::to_string(devices->devices.size()) + " input(s)"};
}

bool inGroup(const char* name) {
  const group* found = getgrnam(name);
  if (!found) return false;
  if (getegid() == found->gr_gid) return true;
  gid_t groups[256];
  int count = getgroups(256, groups);
  for (int i = 0; i < count; ++i)
    if (groups[i] == found->gr_gid) return true;
  return false;
}

SupportReport::Probe talkKey() {
  auto env = [](const char* name) { return static_cast<const char*>(std::getenv(name)); };
  const char* display = std::getenv("DISPLAY");
  std::string why;
  const bool xAnswers = display && *display && X11KeySource::serverAvailable({}, &why);
  if (talkKeyBackendFor(env, xAnswers) == TalkKeyBackend::x11)
    return {"talk key", true, std::string("X11 on ") + display + ": read with XInput2, no permission needed"};
  int readable = 0, total = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/input", error)) {
    if (entry.path().filename().string().rfind("event", 0) != 0) continue;
    ++total;
    if (access(entry.path().c_str(), R_OK) == 0) ++readable;
  }
  const std::string group = inGroup("input") ? "in group input" : "not in group input";
  if (total == 0)
    return {"talk key", false, "no /dev/input devices here; bind a key to `murvelo-cli talk toggle`"};
  std::string detail = "evdev: " + std::to_string(readable) + " of " + std::to_string(total) +
                       " input devices readable, " + group;
  if (readable == 0) detail += "; fix: sudo usermod -aG input $USER, then log out and in";
  return {"talk key", readable > 0, detail};
}

// Without an address GLib may start a bus of its own (autolaunch), which outlives the probe.
bool sessionBusKnown() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address && *address) return true;
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  std::error_code error;
  return runtime && *runtime && std::filesystem::exists(std::filesystem::path(runtime) / "bus", error);
}

SupportReport::Probe accessibility() {
  if (!sessionBusKnown())
    return {"accessibility", false, "no session bus (DBUS_SESSION_BUS_ADDRESS is not set)"};
  GError* error = nullptr;
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
  if (!bus) {
    std::string why = error ? error->message : "unknown";
    if (error) g_error_free(error);
    return {"accessibility", false, "no session bus: " + why};
  }
  GVariant* reply = g_dbus_connection_call_sync(
      bus, "org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Get",
      g_variant_new("(ss)", "org.a11y.Status", "IsEnabled"), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE,
      kBusTimeoutMs, nullptr, &error);
  g_object_unref(bus);
  if (!reply) {
    std::string why = error ? error->message : "no answer";
    if (error) g_error_free(error);
    return {"accessibility", false,
            "the AT-SPI bus does not answer (" + why + "); install at-spi2-core and log in again"};
  }
  GVariant* value = nullptr;
  g_variant_get(reply, "(v)", &value);
  const bool enabled =
      value && g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(value);
  if (value) g_variant_unref(value);
  g_variant_unref(reply);
  if (enabled) return {"accessibility", true, "the AT-SPI bus is enabled"};
  return {"accessibility", false,
          "the AT-SPI bus runs but is not enabled; fix: gsettings set org.gnome.desktop.interface "
          "toolkit-accessibility true"};
}

SupportReport::Probe postingKeys() {
  const char* wayland = std::getenv("WAYLAND_DISPLAY");
  if (!(wayland && *wayland)) {
    if (auto x11 = X11KeyPoster::open(); x11 && x11->mayPostEvents())
      return {"posting keys", true, "XTest is present"};
  }
  if (auto uinput = UinputKeyPoster::open(); uinput && uinput->mayPostEvents())
    return {"posting keys", true, "/dev/uinput is writable"};
  return {"posting keys", false,
          std::string("neither XTest nor a writable /dev/uinput; dictations stay on the clipboard. Fix: the "
                      "udev rule ") +
              kUinputUdevRule + " and group input"};
}

}  // namespace

SystemProbes SystemProbes::run() {
  SystemProbes out;
  out.probes.push_back(microphone(out.devices));
  out.probes.push_back(talkKey());
  out.probes.push_back(accessibility());
  out.probes.push_back(postingKeys());
  return out;
}

}  // namespace murvelo
