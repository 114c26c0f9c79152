#include "delivery/atspi/AtspiStatus.h"

#include <gio/gio.h>

#include <memory>
#include <string>

namespace murvelo {
namespace {

constexpr const char* kService = "org.a11y.Bus";
constexpr const char* kPath = "/org/a11y/bus";
constexpr const char* kInterface = "org.a11y.Status";

struct Unref {
  void operator()(GDBusConnection* connection) const {
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
  }
  void operator()(GVariant* value) const { g_variant_unref(value); }
};

// A connection of our own each time: the shared one of GIO would keep the first bus it met.
std::unique_ptr<GDBusConnection, Unref> sessionBus(std::string& problem) {
  GError* error = nullptr;
  gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error);
  if (!address) {
    problem = error ? error->message : "no session bus";
    g_clear_error(&error);
    return nullptr;
  }
  GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error);
  g_free(address);
  if (!connection) {
    problem = error ? error->message : "cannot connect to the session bus";
    g_clear_error(&error);
    return nullptr;
  }
  g_dbus_connection_set_exit_on_close(connection, FALSE);
  return std::unique_ptr<GDBusConnection, Unref>(connection);
}

}  // namespace

std::optional<bool> AtspiStatus::enabled(int timeoutMs) {
  std::string problem;
  auto bus = sessionBus(problem);
  if (!bus) return std::nullopt;
  GVariant* reply =
      g_dbus_connection_call_sync(bus.get(), kService, kPath, "org.freedesktop.DBus.Properties", "Get",
                                  g_variant_new("(ss)", kInterface, "IsEnabled"), G_VARIANT_TYPE("(v)"),
                                  G_DBUS_CALL_FLAGS_NO_AUTO_START, timeoutMs, nullptr, nullptr);
  if (!reply) return std::nullopt;
  std::unique_ptr<GVariant, Unref> owned(reply);
  GVariant* boxed = nullptr;
  g_variant_get(reply, "(v)", &boxed);
  std::unique_ptr<GVariant, Unref> value(boxed);
  if (!g_variant_is_of_type(boxed, G_VARIANT_TYPE_BOOLEAN)) return std::nullopt;
  return g_variant_get_boolean(boxed) != FALSE;
}

Status AtspiStatus::setEnabled(bool on, int timeoutMs) {
  std::string problem;
  auto bus = sessionBus(problem);
  if (!bus) return Status::error(problem);
  GError* error = nullptr;
  GVariant* reply =
      g_dbus_connection_call_sync(bus.get(), kService, kPath, "org.freedesktop.DBus.Properties", "Set",
                                  g_variant_new("(ssv)", kInterface, "IsEnabled", g_variant_new_boolean(on)),
                                  nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, timeoutMs, nullptr, &error);
  if (!reply) {
    Status failed = Status::error(error ? error->message : "no answer from the accessibility bus");
    g_clear_error(&error);
    return failed;
  }
  g_variant_unref(reply);
  return Status::ok();
}

}  // namespace murvelo
