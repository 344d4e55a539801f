#include "systemdbus.h"

#include "openbus.h"
#include "processchoice.h"

#include <cstring>
#include <string_view>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/service.h>

namespace {

constexpr char kManagerName[] = "org.freedesktop.systemd1";
constexpr char kManagerPath[] = "/org/freedesktop/systemd1";
constexpr char kManagerInterface[] = "org.freedesktop.systemd1.Manager";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";

kwplat::ProcessChoice g_bus("KWLIB63_SERVICE_BUS", "system");

// The Windows code for a failed call: the caller's rights, the unit, or the bus.
DWORD ErrorOf(const GError* error, DWORD otherwise) {
  if (error->domain == G_IO_ERROR) return RPC_S_SERVER_UNAVAILABLE;
  gchar* remote = g_dbus_error_get_remote_error(error);
  const std::string name = remote != nullptr ? remote : "";
  g_free(remote);
  if (name == "org.freedesktop.DBus.Error.AccessDenied" || name == "org.freedesktop.DBus.Error.AuthFailed" ||
      name == "org.freedesktop.DBus.Error.InteractiveAuthorizationRequired") {
    return ERROR_ACCESS_DENIED;
  }
  if (name == "org.freedesktop.systemd1.NoSuchUnit") return ERROR_SERVICE_DOES_NOT_EXIST;
  if (name == "org.freedesktop.systemd1.UnitMasked" || name == "org.freedesktop.systemd1.OnlyByDependency") {
    return ERROR_SERVICE_DISABLED;
  }
  if (name == "org.freedesktop.DBus.Error.InvalidArgs") return ERROR_INVALID_PARAMETER;
  if (name == "org.freedesktop.DBus.Error.ServiceUnknown" || name == "org.freedesktop.DBus.Error.NameHasNoOwner" ||
      name == "org.freedesktop.DBus.Error.NoReply" || name == "org.freedesktop.DBus.Error.Disconnected" ||
      name == "org.freedesktop.DBus.Error.Timeout" || name.empty()) {
    return RPC_S_SERVER_UNAVAILABLE;
  }
  return otherwise;
}

// The properties of `interface` on the manager's object `path`, as a{sv}; null
// with the last error set.
kwplat::GVariantPtr AllProperties(const kwplat::SystemdBus& bus, const std::string& path, const char* interface) {
  const kwplat::GVariantPtr reply =
      bus.Call(path.c_str(), kProperties, "GetAll", g_variant_new("(s)", interface), "(a{sv})");
  return kwplat::GVariantPtr(reply != nullptr ? g_variant_get_child_value(reply.get(), 0) : nullptr);
}

std::string Text(GVariant* dictionary, const char* key) {
  const char* value = nullptr;
  return g_variant_lookup(dictionary, key, "&s", &value) ? value : "";
}

void AppendAll(GVariant* dictionary, const char* key, std::vector<std::string>& out) {
  GVariantIter* iter = nullptr;
  if (!g_variant_lookup(dictionary, key, "as", &iter)) return;
  const char* name = nullptr;
  while (g_variant_iter_next(iter, "&s", &name)) out.emplace_back(name);
  g_variant_iter_free(iter);
}

}  // namespace

void ServiceSetBusAddress(LPCWSTR address) { g_bus.Set(address); }

namespace kwplat {

std::shared_ptr<SystemdBus> SystemdBus::Connect() {
  GErrorPtr error;
  // "user" is the user's own manager, which is on the session bus.
  GObjectPtr<GDBusConnection> connection =
      OpenBus(g_bus, {{"system", G_BUS_TYPE_SYSTEM}, {"user", G_BUS_TYPE_SESSION}}, error);
  if (connection == nullptr) {
    SetLastError(ErrorOf(error.get(), RPC_S_SERVER_UNAVAILABLE));
    return nullptr;
  }
  auto bus = std::make_shared<SystemdBus>(std::move(connection));
  if (bus->Call(kManagerPath, kProperties, "Get", g_variant_new("(ss)", kManagerInterface, "Version"), "(v)") ==
      nullptr) {
    if (GetLastError() != ERROR_ACCESS_DENIED) SetLastError(RPC_S_SERVER_UNAVAILABLE);
    return nullptr;
  }
  return bus;
}

SystemdBus::~SystemdBus() { g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr); }

GVariantPtr SystemdBus::Call(const char* path, const char* interface, const char* method, GVariant* arguments,
                             const char* replyType, DWORD otherwise) const {
  GErrorPtr error;
  GVariantPtr reply(g_dbus_connection_call_sync(m_connection.get(), kManagerName, path, interface, method, arguments,
                                                G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
                                                ErrorOut(error)));
  if (reply == nullptr) SetLastError(ErrorOf(error.get(), otherwise));
  return reply;
}

std::string SystemdBus::LoadUnit(const std::string& unit) const {
  const GVariantPtr reply =
      Call(kManagerPath, kManagerInterface, "LoadUnit", g_variant_new("(s)", unit.c_str()), "(o)");
  if (reply == nullptr) {
    if (GetLastError() == ERROR_INVALID_PARAMETER) SetLastError(ERROR_INVALID_NAME);
    return {};
  }
  const char* path = nullptr;
  g_variant_get(reply.get(), "(&o)", &path);
  return path;
}

bool SystemdBus::ReadUnit(const std::string& path, UnitState& state) const {
  const GVariantPtr unit = AllProperties(*this, path, "org.freedesktop.systemd1.Unit");
  if (unit == nullptr) return false;
  state = UnitState{};
  state.load = Text(unit.get(), "LoadState");
  state.active = Text(unit.get(), "ActiveState");
  state.sub = Text(unit.get(), "SubState");
  state.description = Text(unit.get(), "Description");
  guint32 jobId = 0;
  const char* job = nullptr;
  if (g_variant_lookup(unit.get(), "Job", "(u&o)", &jobId, &job) && jobId != 0) state.job = job;
  AppendAll(unit.get(), "RequiredBy", state.dependents);
  AppendAll(unit.get(), "BoundBy", state.dependents);

  // Only services have a main process and time-outs; other units read as none.
  const DWORD error = GetLastError();
  const GVariantPtr service = AllProperties(*this, path, "org.freedesktop.systemd1.Service");
  if (service == nullptr) {
    SetLastError(error);
    return true;
  }
  guint64 timeout = 0;
  if (g_variant_lookup(service.get(), "TimeoutStartUSec", "t", &timeout)) state.startTimeout = timeout;
  if (g_variant_lookup(service.get(), "TimeoutStopUSec", "t", &timeout)) state.stopTimeout = timeout;
  guint32 pid = 0;
  if (g_variant_lookup(service.get(), "MainPID", "u", &pid)) state.mainPid = pid;
  gint32 status = 0;
  if (g_variant_lookup(service.get(), "ExecMainStatus", "i", &status)) state.exitStatus = status;
  return true;
}

std::string SystemdBus::QueueJob(const char* method, const std::string& unit) const {
  const GVariantPtr reply = Call(kManagerPath, kManagerInterface, method,
                                 g_variant_new("(ss)", unit.c_str(), "replace"), "(o)", ERROR_SERVICE_REQUEST_TIMEOUT);
  if (reply == nullptr) return {};
  const char* job = nullptr;
  g_variant_get(reply.get(), "(&o)", &job);
  return job;
}

void SystemdBus::Subscribe() {
  if (m_subscribed.exchange(true)) return;
  // A refusal costs only the signals: the waits read the unit's state as well.
  const DWORD error = GetLastError();
  Call(kManagerPath, kManagerInterface, "Subscribe", nullptr, "()");
  SetLastError(error);
}

UnitWatch::UnitWatch(std::shared_ptr<SystemdBus> bus, std::string unit, const std::string& path)
    : m_bus(std::move(bus)), m_unit(std::move(unit)), m_context(g_main_context_new()) {
  // Signals go to the thread-default context of the moment of subscribing.
  g_main_context_push_thread_default(m_context);
  const auto add = [&](const char* interface, const char* member, const char* objectPath) {
    m_subscriptions.push_back(g_dbus_connection_signal_subscribe(m_bus->Connection(), kManagerName, interface, member,
                                                                 objectPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                                 &UnitWatch::OnSignal, this, &UnitWatch::OnUnsubscribed));
    ++m_live;
  };
  add(kProperties, "PropertiesChanged", path.c_str());
  add(kManagerInterface, "JobRemoved", kManagerPath);
  g_main_context_pop_thread_default(m_context);
}

UnitWatch::~UnitWatch() {
  for (guint id : m_subscriptions) g_dbus_connection_signal_unsubscribe(m_bus->Connection(), id);
  // A subscription is gone once its last delivery has run in our context.
  while (m_live > 0) g_main_context_iteration(m_context, TRUE);
  g_main_context_unref(m_context);
}

void UnitWatch::Pump() {
  while (g_main_context_iteration(m_context, FALSE)) {
  }
}

std::string UnitWatch::JobResult(const std::string& job) const {
  const auto found = m_finished.find(job);
  return found != m_finished.end() ? found->second : std::string();
}

void UnitWatch::OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* signal,
                         GVariant* parameters, gpointer self) {
  auto* watch = static_cast<UnitWatch*>(self);
  if (std::strcmp(signal, "JobRemoved") == 0) {
    guint32 id = 0;
    const char* job = nullptr;
    const char* unit = nullptr;
    const char* result = nullptr;
    g_variant_get(parameters, "(u&o&s&s)", &id, &job, &unit, &result);
    if (watch->m_unit == unit) {
      watch->m_finished[job] = result;
      ++watch->m_progress;
    }
    return;
  }
  const GVariantPtr changed(g_variant_get_child_value(parameters, 1));
  GVariantIter* invalidated = nullptr;
  g_variant_get_child(parameters, 2, "as", &invalidated);
  bool progress = false;
  for (const char* name : {"ActiveState", "SubState", "Job"}) {
    if (GVariantPtr(g_variant_lookup_value(changed.get(), name, nullptr)) != nullptr) progress = true;
  }
  const char* name = nullptr;
  while (g_variant_iter_next(invalidated, "&s", &name)) {
    const std::string_view n = name;
    progress = progress || n == "ActiveState" || n == "SubState" || n == "Job";
  }
  g_variant_iter_free(invalidated);
  if (progress) ++watch->m_progress;
}

void UnitWatch::OnUnsubscribed(gpointer self) { --static_cast<UnitWatch*>(self)->m_live; }

}  // namespace kwplat
