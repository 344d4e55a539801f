#include <kwlib63/platform/service.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/clock.h>
#include <kwlib63/platform/lasterror.h>

#include "servicehandle.h"

namespace kwplat {
namespace {

// How long a start or stop may take to begin, as the Windows manager waits for a
// service to answer.
constexpr unsigned long long kBeginLimit = 30000;
// How often the state is read again while a job is awaited.
constexpr DWORD kRecheck = 100;

BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

bool HasUnitSuffix(const std::string& name) {
  static constexpr const char* kSuffixes[] = {".service", ".socket", ".target", ".device", ".mount", ".automount",
                                              ".swap",    ".timer",  ".path",   ".slice",  ".scope"};
  return std::any_of(std::begin(kSuffixes), std::end(kSuffixes), [&](const char* suffix) {
    const std::size_t n = std::strlen(suffix);
    return name.size() > n && name.compare(name.size() - n, n, suffix) == 0;
  });
}

// The name a service is known by: its unit name without ".service".
std::string ServiceName(const std::string& unit) {
  constexpr std::string_view kService = ".service";
  return unit.ends_with(kService) ? unit.substr(0, unit.size() - kService.size()) : unit;
}

DWORD StateOf(const std::string& active) {
  if (active == "active" || active == "reloading" || active == "refreshing") return SERVICE_RUNNING;
  if (active == "activating") return SERVICE_START_PENDING;
  if (active == "deactivating") return SERVICE_STOP_PENDING;
  return SERVICE_STOPPED;
}

DWORD Milliseconds(std::uint64_t microseconds) {
  if (microseconds == UINT64_MAX) return INFINITE;
  return static_cast<DWORD>(std::min<std::uint64_t>(microseconds / 1000, INFINITE - 1));
}

void FillStatus(const UnitState& unit, DWORD checkPoint, SERVICE_STATUS_PROCESS& status) {
  status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = StateOf(unit.active);
  status.dwControlsAccepted = status.dwCurrentState == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
  if (unit.active == "failed") {
    status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
    status.dwServiceSpecificExitCode = static_cast<DWORD>(unit.exitStatus);
  }
  status.dwCheckPoint = checkPoint;
  if (status.dwCurrentState == SERVICE_START_PENDING) status.dwWaitHint = Milliseconds(unit.startTimeout);
  if (status.dwCurrentState == SERVICE_STOP_PENDING) status.dwWaitHint = Milliseconds(unit.stopTimeout);
  status.dwProcessId = unit.mainPid;
}

// Reads the unit and moves the check point: it starts at 1 when a pending state
// begins and advances with every change systemd reports while it lasts.
bool ReadStatus(ServiceObject& service, UnitState& unit, SERVICE_STATUS_PROCESS& status) {
  service.watch.Pump();
  if (!service.bus->ReadUnit(service.path, unit)) return false;
  const DWORD state = StateOf(unit.active);
  const bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  if (!pending) {
    service.checkPoint = 0;
  } else if (state != service.pending) {
    service.checkPoint = 1;
  } else if (service.watch.Progress() != service.progressSeen || unit.sub != service.subSeen ||
             unit.job != service.jobSeen) {
    ++service.checkPoint;
  }
  service.pending = pending ? state : 0;
  service.progressSeen = service.watch.Progress();
  service.subSeen = unit.sub;
  service.jobSeen = unit.job;
  FillStatus(unit, service.checkPoint, status);
  return true;
}

enum class Awaited { kEnded, kReached, kTimedOut, kFailed };

// Waits up to kBeginLimit for `job` to end (its result in `result`) or for the unit
// to reach a state `reached` accepts. It pauses through the library's clock, so the
// limit holds on whichever clock the process uses; each read takes in the signals
// that came during the pause.
template <typename Reached>
Awaited AwaitJob(ServiceObject& service, const std::string& job, Reached reached, std::string& result) {
  const unsigned long long start = GetTickCount64();
  for (;;) {
    result = service.watch.JobResult(job);
    if (!result.empty()) return Awaited::kEnded;
    UnitState unit;
    SERVICE_STATUS_PROCESS status;
    if (!ReadStatus(service, unit, status)) return Awaited::kFailed;
    if (reached(unit.active)) return Awaited::kReached;
    if (GetTickCount64() - start > kBeginLimit) return Awaited::kTimedOut;
    Sleep(kRecheck);
  }
}

// The dependents of `unit`, each after the units that depend on it in turn.
void CollectDependents(const SystemdBus& bus, const std::vector<std::string>& direct, std::set<std::string>& seen,
                       std::vector<std::pair<std::string, UnitState>>& order) {
  for (const std::string& name : direct) {
    if (!seen.insert(name).second) continue;
    const std::string path = bus.LoadUnit(name);
    UnitState unit;
    if (path.empty() || !bus.ReadUnit(path, unit)) continue;
    CollectDependents(bus, unit.dependents, seen, order);
    order.emplace_back(name, std::move(unit));
  }
}

}  // namespace

std::shared_ptr<ServiceObject> ServiceWith(SC_HANDLE handle, DWORD rights) {
  std::shared_ptr<ServiceObject> service = CheckedHandle<ServiceObject>(handle);
  if (service != nullptr && (service->access & rights) != rights) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  return service;
}

SC_HANDLE OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access) {
  if (machine != nullptr && *machine != L'\0') {
    SetLastError(RPC_S_SERVER_UNAVAILABLE);
    return nullptr;
  }
  if (database != nullptr && std::wcscmp(database, SERVICES_ACTIVE_DATABASEW) != 0) {
    SetLastError(ERROR_INVALID_NAME);
    return nullptr;
  }
  std::shared_ptr<SystemdBus> bus = SystemdBus::Connect();
  if (bus == nullptr) return nullptr;
  return static_cast<SC_HANDLE>(OpenHandle(std::make_shared<ServiceManagerObject>(std::move(bus), access)));
}

SC_HANDLE OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access) {
  const std::shared_ptr<ServiceManagerObject> owner = CheckedHandle<ServiceManagerObject>(manager);
  if (owner == nullptr) return nullptr;
  if (name == nullptr || *name == L'\0') {
    SetLastError(ERROR_INVALID_NAME);
    return nullptr;
  }
  std::string unit = kwfw::WideToUtf8(name);
  if (!HasUnitSuffix(unit)) unit += ".service";
  const std::string path = owner->bus->LoadUnit(unit);
  if (path.empty()) return nullptr;
  UnitState state;
  if (!owner->bus->ReadUnit(path, state)) return nullptr;
  if (state.load == "not-found") {
    SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
    return nullptr;
  }
  return static_cast<SC_HANDLE>(OpenHandle(std::make_shared<ServiceObject>(owner->bus, unit, path, access)));
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
  if (!ReleaseHandle(handle, {ServiceObject::kKind, ServiceManagerObject::kKind})) return Fail(ERROR_INVALID_HANDLE);
  return TRUE;
}

BOOL QueryServiceStatusEx(SC_HANDLE handle, SC_STATUS_TYPE level, LPBYTE buffer, DWORD size, LPDWORD needed) {
  const std::shared_ptr<ServiceObject> service = ServiceWith(handle, SERVICE_QUERY_STATUS);
  if (service == nullptr) return FALSE;
  if (level != SC_STATUS_PROCESS_INFO) return Fail(ERROR_INVALID_LEVEL);
  if (needed == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  *needed = sizeof(SERVICE_STATUS_PROCESS);
  if (buffer == nullptr || size < sizeof(SERVICE_STATUS_PROCESS)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  UnitState unit;
  SERVICE_STATUS_PROCESS status;
  if (!ReadStatus(*service, unit, status)) return FALSE;
  std::memcpy(buffer, &status, sizeof status);
  return TRUE;
}

BOOL StartServiceW(SC_HANDLE handle, DWORD argc, LPCWSTR*) {
  const std::shared_ptr<ServiceObject> service = ServiceWith(handle, SERVICE_START);
  if (service == nullptr) return FALSE;
  if (argc != 0) return Fail(ERROR_INVALID_PARAMETER);
  UnitState unit;
  SERVICE_STATUS_PROCESS status;
  if (!ReadStatus(*service, unit, status)) return FALSE;
  if (unit.load == "masked") return Fail(ERROR_SERVICE_DISABLED);
  if (status.dwCurrentState == SERVICE_RUNNING || status.dwCurrentState == SERVICE_START_PENDING) {
    return Fail(ERROR_SERVICE_ALREADY_RUNNING);
  }
  service->bus->Subscribe();
  const std::string job = service->bus->QueueJob("StartUnit", service->unit);
  if (job.empty()) return FALSE;
  std::string result;
  const auto begun = [](const std::string& active) {
    const DWORD state = StateOf(active);
    return state == SERVICE_START_PENDING || state == SERVICE_RUNNING;
  };
  switch (AwaitJob(*service, job, begun, result)) {
    case Awaited::kReached:
      return TRUE;
    case Awaited::kEnded:
      if (result == "done") return TRUE;
      return Fail(result == "dependency" ? ERROR_SERVICE_DEPENDENCY_FAIL : ERROR_SERVICE_REQUEST_TIMEOUT);
    case Awaited::kTimedOut:
      return Fail(ERROR_SERVICE_REQUEST_TIMEOUT);
    case Awaited::kFailed:
      break;
  }
  return FALSE;
}

BOOL ControlService(SC_HANDLE handle, DWORD control, SERVICE_STATUS* out) {
  const DWORD right = control == SERVICE_CONTROL_STOP ? SERVICE_STOP : SERVICE_INTERROGATE;
  const std::shared_ptr<ServiceObject> service = ServiceWith(handle, right);
  if (service == nullptr) return FALSE;
  if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_INTERROGATE) {
    return Fail(ERROR_INVALID_SERVICE_CONTROL);
  }
  if (out == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  UnitState unit;
  SERVICE_STATUS_PROCESS status;
  if (!ReadStatus(*service, unit, status)) return FALSE;
  std::memcpy(out, &status, sizeof *out);
  if (control == SERVICE_CONTROL_INTERROGATE) return TRUE;
  if (status.dwCurrentState == SERVICE_STOPPED) return Fail(ERROR_SERVICE_NOT_ACTIVE);
  service->bus->Subscribe();
  const std::string job = service->bus->QueueJob("StopUnit", service->unit);
  if (job.empty()) return FALSE;
  // A stop that outlasts the wait leaves the service stop pending.
  std::string result;
  const auto stopped = [](const std::string& active) { return StateOf(active) == SERVICE_STOPPED; };
  if (AwaitJob(*service, job, stopped, result) == Awaited::kFailed) return FALSE;
  if (!ReadStatus(*service, unit, status)) return FALSE;
  std::memcpy(out, &status, sizeof *out);
  return TRUE;
}

BOOL EnumDependentServicesW(SC_HANDLE handle, DWORD state, ENUM_SERVICE_STATUSW* services, DWORD size,
                            LPDWORD needed, LPDWORD returned) {
  const std::shared_ptr<ServiceObject> service = ServiceWith(handle, SERVICE_ENUMERATE_DEPENDENTS);
  if (service == nullptr) return FALSE;
  if (needed == nullptr || returned == nullptr || state == 0 || (state & ~SERVICE_STATE_ALL) != 0) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  *returned = 0;
  UnitState self;
  if (!service->bus->ReadUnit(service->path, self)) return FALSE;
  std::set<std::string> seen = {service->unit};
  std::vector<std::pair<std::string, UnitState>> order;
  CollectDependents(*service->bus, self.dependents, seen, order);

  struct Found {
    std::wstring name, display;
    SERVICE_STATUS_PROCESS status;
  };
  std::vector<Found> found;
  std::size_t bytes = 0;
  for (const auto& [unit, unitState] : order) {
    if (!unit.ends_with(".service")) continue;
    SERVICE_STATUS_PROCESS status;
    FillStatus(unitState, 0, status);
    const bool active = status.dwCurrentState != SERVICE_STOPPED;
    if (!((active && (state & SERVICE_ACTIVE) != 0) || (!active && (state & SERVICE_INACTIVE) != 0))) continue;
    Found f{kwfw::Utf8ToWide(ServiceName(unit)), kwfw::Utf8ToWide(unitState.description), status};
    bytes += sizeof(ENUM_SERVICE_STATUSW) + (f.name.size() + 1 + f.display.size() + 1) * sizeof(wchar_t);
    found.push_back(std::move(f));
  }
  *needed = static_cast<DWORD>(bytes);
  if (bytes > size || (bytes > 0 && services == nullptr)) return Fail(ERROR_MORE_DATA);
  auto* text = reinterpret_cast<wchar_t*>(services + found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    ENUM_SERVICE_STATUSW& entry = services[i];
    const auto place = [&text](const std::wstring& s) {
      wchar_t* at = text;
      std::wmemcpy(at, s.c_str(), s.size() + 1);
      text += s.size() + 1;
      return at;
    };
    entry.lpServiceName = place(found[i].name);
    entry.lpDisplayName = place(found[i].display);
    std::memcpy(&entry.ServiceStatus, &found[i].status, sizeof entry.ServiceStatus);
  }
  *returned = static_cast<DWORD>(found.size());
  return TRUE;
}

}  // namespace kwplat
