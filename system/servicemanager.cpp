#include <kwlib63/system/servicemanager.h>

#include <algorithm>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/platform/clock.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/memory.h>

using namespace kwplat;

namespace {

// The longest a stop may keep the caller waiting.
constexpr DWORD kStopLimit = 30000;
constexpr DWORD kGuestRights = 0x30030;  // start, stop, read control, delete

bool Query(SC_HANDLE service, SERVICE_STATUS_PROCESS& status) {
  DWORD needed = 0;
  return QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<LPBYTE>(&status), sizeof status,
                              &needed) != FALSE;
}

// The wait hint as the waits use it. A service may report a hint longer than any
// wait of ours may last, INFINITE for a service without a time-out: waited for as
// such, it would make a pause or a check-point clock endless. The status keeps the
// reported value.
DWORD WaitHint(const SERVICE_STATUS_PROCESS& status) { return std::min(status.dwWaitHint, kStopLimit); }

// A tenth of the hint, kept between one and ten seconds.
void WaitStep(const SERVICE_STATUS_PROCESS& status) { Sleep(std::clamp<DWORD>(WaitHint(status) / 10, 1000, 10000)); }

// Follows a pending state's check point: true while it advances or the wait
// hint has not yet passed since it last did.
class CheckPointClock {
 public:
  explicit CheckPointClock(const SERVICE_STATUS_PROCESS& status)
      : m_start(GetTickCount()), m_checkPoint(status.dwCheckPoint) {}
  bool StillWaiting(const SERVICE_STATUS_PROCESS& status) {
    if (status.dwCheckPoint > m_checkPoint) {
      m_start = GetTickCount();
      m_checkPoint = status.dwCheckPoint;
      return true;
    }
    return GetTickCount() - m_start <= WaitHint(status);
  }

 private:
  DWORD m_start;
  DWORD m_checkPoint;
};

}  // namespace

int CServiceManager::DoStartSvc(const wchar_t* serviceName) {
  m_hSCManager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  if (m_hSCManager == nullptr) {
    // Formatted and dropped: the operation is silent by design.
    CString message;
    message.Format(L"OpenSCManager failed(% d)\n", GetLastError());
    return 0;
  }
  m_hService = OpenServiceW(m_hSCManager, serviceName, SERVICE_ALL_ACCESS);
  if (m_hService == nullptr) {
    CloseServiceHandle(m_hSCManager);
    return 0;
  }
  const auto closeBoth = [this](int result) {
    CloseServiceHandle(m_hService);
    CloseServiceHandle(m_hSCManager);
    return result;
  };
  SERVICE_STATUS_PROCESS status{};
  if (!Query(m_hService, status)) return closeBoth(0);
  if (status.dwCurrentState != SERVICE_STOPPED && status.dwCurrentState != SERVICE_STOP_PENDING) return closeBoth(1);

  // The clock is read after each query, whatever state it found: a stop that
  // ends after the stopped status's zero hint has passed gives up too.
  CheckPointClock stopping(status);
  while (status.dwCurrentState == SERVICE_STOP_PENDING) {
    WaitStep(status);
    if (!Query(m_hService, status)) return closeBoth(0);
    if (!stopping.StillWaiting(status)) return closeBoth(0);
  }

  if (!StartServiceW(m_hService, 0, nullptr)) return closeBoth(0);
  if (!Query(m_hService, status)) return closeBoth(0);
  // Once the start was accepted the result is 1, however the wait ends.
  CheckPointClock starting(status);
  while (status.dwCurrentState == SERVICE_START_PENDING) {
    WaitStep(status);
    if (!Query(m_hService, status) || !starting.StillWaiting(status)) break;
  }
  return closeBoth(1);
}

int CServiceManager::DoStopSvc(const wchar_t* serviceName) {
  const DWORD start = GetTickCount();
  m_hSCManager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  if (m_hSCManager == nullptr) return 0;
  m_hService = OpenServiceW(m_hSCManager, serviceName, SERVICE_STOP | SERVICE_QUERY_STATUS | SERVICE_ENUMERATE_DEPENDENTS);
  if (m_hService == nullptr) {
    CloseServiceHandle(m_hSCManager);
    return 0;
  }
  const auto closeBoth = [this] {
    CloseServiceHandle(m_hService);
    CloseServiceHandle(m_hSCManager);
    return 1;
  };
  SERVICE_STATUS_PROCESS status{};
  if (!Query(m_hService, status) || status.dwCurrentState == SERVICE_STOPPED) return closeBoth();
  while (status.dwCurrentState == SERVICE_STOP_PENDING) {
    WaitStep(status);
    if (!Query(m_hService, status) || status.dwCurrentState == SERVICE_STOPPED) return closeBoth();
    if (GetTickCount() - start > kStopLimit) return closeBoth();
  }

  StopDependentServices();

  if (ControlService(m_hService, SERVICE_CONTROL_STOP, reinterpret_cast<SERVICE_STATUS*>(&status))) {
    while (status.dwCurrentState != SERVICE_STOPPED) {
      Sleep(WaitHint(status));  // the whole hint, not a tenth of it
      if (!Query(m_hService, status) || status.dwCurrentState == SERVICE_STOPPED) break;
      if (GetTickCount() - start > kStopLimit) break;
    }
  }
  return closeBoth();
}

int CServiceManager::StopDependentServices() {
  const DWORD start = GetTickCount();
  DWORD needed = 0, count = 0;
  if (EnumDependentServicesW(m_hService, SERVICE_ACTIVE, nullptr, 0, &needed, &count)) return 1;
  if (GetLastError() != ERROR_MORE_DATA) return 0;

  auto* dependents = static_cast<ENUM_SERVICE_STATUSW*>(LocalAlloc(LPTR, needed));
  if (dependents == nullptr) return 0;
  SC_HANDLE dependent = nullptr;
  const auto finish = [&](int result) {
    if (dependent != nullptr) CloseServiceHandle(dependent);
    LocalFree(dependents);
    return result;
  };
  if (!EnumDependentServicesW(m_hService, SERVICE_ACTIVE, dependents, needed, &needed, &count)) return finish(0);
  for (DWORD i = 0; i < count; ++i) {
    dependent = OpenServiceW(m_hSCManager, dependents[i].lpServiceName, SERVICE_STOP | SERVICE_QUERY_STATUS);
    if (dependent == nullptr) return finish(0);
    SERVICE_STATUS_PROCESS status{};
    if (!ControlService(dependent, SERVICE_CONTROL_STOP, reinterpret_cast<SERVICE_STATUS*>(&status))) return finish(0);
    while (status.dwCurrentState != SERVICE_STOPPED) {
      Sleep(WaitHint(status));
      if (!Query(dependent, status)) return finish(0);
      if (status.dwCurrentState == SERVICE_STOPPED) break;
      if (GetTickCount() - start > kStopLimit) return finish(0);
    }
    CloseServiceHandle(dependent);
    dependent = nullptr;
  }
  return finish(1);
}

void CServiceManager::DoUpdateSvcDacl(const wchar_t* serviceName) {
  m_hSCManager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  if (m_hSCManager == nullptr) return;
  m_hService = OpenServiceW(m_hSCManager, serviceName, READ_CONTROL | WRITE_DAC);
  if (m_hService == nullptr) {
    CloseServiceHandle(m_hSCManager);
    return;
  }
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  PACL merged = nullptr;
  DWORD needed = 0;
  // The size first; only a buffer too small is worth a second read.
  BOOL read = QueryServiceObjectSecurity(m_hService, DACL_SECURITY_INFORMATION, &descriptor, 0, &needed);
  if (!read && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
    descriptor = LocalAlloc(LPTR, needed);
    read = descriptor != nullptr &&
           QueryServiceObjectSecurity(m_hService, DACL_SECURITY_INFORMATION, descriptor, needed, &needed);
  }
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  if (read && GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted)) {
    EXPLICIT_ACCESS_W access{};
    wchar_t guest[] = L"GUEST";
    BuildExplicitAccessWithNameW(&access, guest, kGuestRights, SET_ACCESS, NO_INHERITANCE);
    if (SetEntriesInAclW(1, &access, dacl, &merged) == ERROR_SUCCESS) {
      SECURITY_DESCRIPTOR updated;
      if (InitializeSecurityDescriptor(&updated, SECURITY_DESCRIPTOR_REVISION) &&
          SetSecurityDescriptorDacl(&updated, TRUE, merged, FALSE)) {
        SetServiceObjectSecurity(m_hService, DACL_SECURITY_INFORMATION, &updated);
      }
    }
  }
  CloseServiceHandle(m_hSCManager);
  CloseServiceHandle(m_hService);
  if (merged != nullptr) LocalFree(merged);
  if (descriptor != nullptr) LocalFree(descriptor);
}
