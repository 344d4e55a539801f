// CServiceManager: starts and stops an installed service by name, waiting for it
// to settle, stopping the services that depend on it first, and can let the guest
// account start and stop it. Each operation opens its own handles and closes them
// before returning. The waits read the library's clock and pause through it, so
// AfxSetClock makes them testable without waiting; they take a service's wait hint
// as at most 30 s, the longest a stop may last, so none is endless.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/service.h>

class KW_API CServiceManager {
 public:
  CServiceManager() = default;

  // 1 when the service was found running or was started (whatever state the start
  // then reached), 0 otherwise.
  int DoStartSvc(const wchar_t* serviceName);
  // 1 whenever the service could be opened, 0 when the manager or the service
  // could not be.
  int DoStopSvc(const wchar_t* serviceName);
  // Adds an entry letting the guest account start, stop, read and delete the
  // service; every failure is silent.
  void DoUpdateSvcDacl(const wchar_t* serviceName);
  // Stops every active dependent of m_hService, in the order returned; 1 on
  // success (also with none), 0 on any failure.
  int StopDependentServices();

  SC_HANDLE m_hSCManager = nullptr;
  SC_HANDLE m_hService = nullptr;
};
