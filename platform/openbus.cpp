#include "openbus.h"

#include <algorithm>
#include <string>

namespace kwplat {

GObjectPtr<GDBusConnection> OpenBus(const ProcessChoice& choice, std::initializer_list<NamedBus> named,
                                    GErrorPtr& error) {
  std::string address = choice.Get();
  const auto found =
      std::find_if(named.begin(), named.end(), [&address](const NamedBus& bus) { return address == bus.word; });
  if (found != named.end()) {
    gchar* busAddress = g_dbus_address_get_for_bus_sync(found->type, nullptr, ErrorOut(error));
    if (busAddress == nullptr) return nullptr;
    address = busAddress;
    g_free(busAddress);
  }
  // A connection of our own: the shared one of the process would end the process
  // when the bus goes away.
  return GObjectPtr<GDBusConnection>(g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, ErrorOut(error)));
}

}  // namespace kwplat
