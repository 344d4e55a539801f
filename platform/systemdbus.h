// systemd's manager on D-Bus, as the service calls use it: a connection chosen by
// ServiceSetBusAddress, method calls whose errors become Windows error codes, a
// unit's state in one read, and the signals about one unit.
#pragma once

#include <gio/gio.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <kwlib63/framework/wintypes.h>

#include "glibptr.h"

namespace kwplat {

// What the service calls read of a unit.
struct UnitState {
  std::string load;         // LoadState: "loaded", "not-found", "masked", ...
  std::string active;       // ActiveState
  std::string sub;          // SubState
  std::string job;          // the pending job's object path, empty for none
  std::string description;  // Description
  std::vector<std::string> dependents;  // RequiredBy and BoundBy
  std::uint64_t startTimeout = 0;       // microseconds
  std::uint64_t stopTimeout = 0;
  DWORD mainPid = 0;
  int exitStatus = 0;  // of the main process
};

class SystemdBus {
 public:
  // A connection of its own to the chosen manager, which must answer; null with
  // the last error set.
  static std::shared_ptr<SystemdBus> Connect();
  explicit SystemdBus(GObjectPtr<GDBusConnection> connection) : m_connection(std::move(connection)) {}
  ~SystemdBus();
  SystemdBus(const SystemdBus&) = delete;
  SystemdBus& operator=(const SystemdBus&) = delete;

  GDBusConnection* Connection() const { return m_connection.get(); }
  // Calls `method` on the manager's object `path`; the reply, or null with the
  // last error set (`otherwise` for an error that has no closer code).
  GVariantPtr Call(const char* path, const char* interface, const char* method, GVariant* arguments,
                 const char* replyType, DWORD otherwise = ERROR_INVALID_FUNCTION) const;
  // The unit's object path (loading the unit), empty with the last error set.
  std::string LoadUnit(const std::string& unit) const;
  bool ReadUnit(const std::string& path, UnitState& state) const;
  // StartUnit or StopUnit in "replace" mode: the job's path, empty with the last
  // error set.
  std::string QueueJob(const char* method, const std::string& unit) const;
  // Asks the manager for its signals, once for the connection.
  void Subscribe();

 private:
  GObjectPtr<GDBusConnection> m_connection;
  std::atomic<bool> m_subscribed{false};
};

// The signals about one unit, delivered to a context of the watch's own, so that
// they are counted whenever the handle's user looks, on whichever thread that is.
class UnitWatch {
 public:
  UnitWatch(std::shared_ptr<SystemdBus> bus, std::string unit, const std::string& path);
  ~UnitWatch();
  UnitWatch(const UnitWatch&) = delete;
  UnitWatch& operator=(const UnitWatch&) = delete;

  // Takes in the signals that have arrived, without waiting.
  void Pump();
  // How many changes of state, sub-state or job have been seen.
  unsigned Progress() const { return m_progress; }
  // A finished job's result ("done", "failed", ...), empty while it runs.
  std::string JobResult(const std::string& job) const;

 private:
  static void OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* signal,
                       GVariant* parameters, gpointer self);
  static void OnUnsubscribed(gpointer self);

  std::shared_ptr<SystemdBus> m_bus;
  std::string m_unit;
  GMainContext* m_context;
  std::vector<guint> m_subscriptions;
  unsigned m_live = 0;  // subscriptions whose last delivery is still to come
  unsigned m_progress = 0;
  std::map<std::string, std::string> m_finished;
};

}  // namespace kwplat
