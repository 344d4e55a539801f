// kwlib service: services started, stopped and opened to the guest account
// through the library's service manager, on systemd.
#include <iostream>
#include <optional>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/service.h>
#include <kwlib63/system/servicemanager.h>

#include "command.h"
#include "dispatch.h"

namespace {

const char* StateName(DWORD state) {
  switch (state) {
    case SERVICE_STOPPED:
      return "stopped";
    case SERVICE_START_PENDING:
      return "start pending";
    case SERVICE_STOP_PENDING:
      return "stop pending";
    case SERVICE_RUNNING:
      return "running";
    default:
      return "unknown";
  }
}

// The service's status, or nothing after printing why it cannot be read.
std::optional<SERVICE_STATUS_PROCESS> Status(const std::wstring& name, std::ostream& err) {
  SC_HANDLE manager = kwplat::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  SC_HANDLE service = manager != nullptr ? kwplat::OpenServiceW(manager, name.c_str(), SERVICE_QUERY_STATUS) : nullptr;
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  const bool read = service != nullptr && kwplat::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO,
                                                                       reinterpret_cast<LPBYTE>(&status),
                                                                       sizeof status, &needed);
  const DWORD error = kwplat::GetLastError();
  if (service != nullptr) kwplat::CloseServiceHandle(service);
  if (manager != nullptr) kwplat::CloseServiceHandle(manager);
  if (!read) {
    kwlib::SystemFailure(err, "service " + kwfw::WideToUtf8(name), error);
    return std::nullopt;
  }
  return status;
}

void Print(std::ostream& out, const std::string& name, const SERVICE_STATUS_PROCESS& status) {
  out << name << ": " << StateName(status.dwCurrentState) << ", check point " << status.dwCheckPoint
      << ", wait hint " << status.dwWaitHint << " ms";
  if (status.dwProcessId != 0) out << ", process " << status.dwProcessId;
  out << "\n";
}

// Whether the service's access list lets the guest account start and stop it.
bool GuestMayStartAndStop(const std::wstring& name) {
  SC_HANDLE manager = kwplat::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  SC_HANDLE service = manager != nullptr ? kwplat::OpenServiceW(manager, name.c_str(), READ_CONTROL) : nullptr;
  bool granted = false;
  DWORD needed = 0;
  if (service != nullptr) kwplat::QueryServiceObjectSecurity(service, DACL_SECURITY_INFORMATION, nullptr, 0, &needed);
  std::vector<BYTE> descriptor(needed);
  BYTE guest[SECURITY_MAX_SID_SIZE];
  wchar_t domain[64];
  DWORD sidSize = sizeof guest, domainSize = 64;
  SID_NAME_USE use;
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  if (service != nullptr && needed > 0 &&
      kwplat::QueryServiceObjectSecurity(service, DACL_SECURITY_INFORMATION, descriptor.data(), needed, &needed) &&
      kwplat::LookupAccountNameW(nullptr, L"GUEST", guest, &sidSize, domain, &domainSize, &use) &&
      kwplat::GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted) && present && dacl != nullptr) {
    for (DWORD i = 0; i < dacl->AceCount && !granted; ++i) {
      void* ace = nullptr;
      if (!kwplat::GetAce(dacl, i, &ace)) break;
      const auto* entry = static_cast<ACCESS_ALLOWED_ACE*>(ace);
      granted = entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
                kwplat::EqualSid(guest, const_cast<DWORD*>(&entry->SidStart)) &&
                (entry->Mask & (SERVICE_START | SERVICE_STOP)) == (SERVICE_START | SERVICE_STOP);
    }
  }
  if (service != nullptr) kwplat::CloseServiceHandle(service);
  if (manager != nullptr) kwplat::CloseServiceHandle(manager);
  return granted;
}

// The manager's calls are silent: a service that cannot be opened is told here,
// before any of them, on the manager --user names.
bool Opens(const std::string& service, const kwlib::Call& call) {
  if (call.arguments.Has("--user")) ServiceSetBusAddress(L"user");
  return Status(kwfw::Utf8ToWide(service), call.err).has_value();
}

// The state reached, printed; nothing after telling why it cannot be read.
std::optional<SERVICE_STATUS_PROCESS> Report(const std::string& service, const kwlib::Call& call) {
  const std::optional<SERVICE_STATUS_PROCESS> status = Status(kwfw::Utf8ToWide(service), call.err);
  if (status) Print(call.out, service, *status);
  return status;
}

// start NAME
int Start(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Opens(words[0], call)) return kwlib::kExitFailure;
  if (CServiceManager().DoStartSvc(kwfw::Utf8ToWide(words[0]).c_str()) == 0) {
    call.err << "kwlib service " << words[0] << ": the service did not start\n";
    return kwlib::kExitFailure;
  }
  const std::optional<SERVICE_STATUS_PROCESS> status = Report(words[0], call);
  if (!status) return kwlib::kExitFailure;
  // A start the manager accepted may still end with the service stopped and
  // failed (its program missing, an exit status, no readiness in time).
  if (status->dwCurrentState == SERVICE_STOPPED && status->dwWin32ExitCode != ERROR_SUCCESS) {
    call.err << "kwlib service " << words[0] << ": the service did not run";
    if (status->dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR) {
      call.err << " (its exit status: " << status->dwServiceSpecificExitCode << ")";
    }
    call.err << "\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

// stop NAME
int Stop(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Opens(words[0], call)) return kwlib::kExitFailure;
  CServiceManager().DoStopSvc(kwfw::Utf8ToWide(words[0]).c_str());
  return Report(words[0], call) ? kwlib::kExitOk : kwlib::kExitFailure;
}

// status NAME
int ShowStatus(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Opens(words[0], call)) return kwlib::kExitFailure;
  return Report(words[0], call) ? kwlib::kExitOk : kwlib::kExitFailure;
}

// grant-guest NAME
int GrantGuest(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (!Opens(words[0], call)) return kwlib::kExitFailure;
  const std::wstring name = kwfw::Utf8ToWide(words[0]);
  CServiceManager().DoUpdateSvcDacl(name.c_str());
  if (!GuestMayStartAndStop(name)) {
    call.err << "kwlib service " << words[0] << ": the access list could not be changed (may the polkit rules folder be written?)\n";
    return kwlib::kExitFailure;
  }
  call.out << words[0] << ": the guest account may start and stop it\n";
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {
    {{"start", 1, 1, "kwlib service start NAME"}, &Start},
    {{"stop", 1, 1, "kwlib service stop NAME"}, &Stop},
    {{"status", 1, 1, "kwlib service status NAME"}, &ShowStatus},
    {{"grant-guest", 1, 1, "kwlib service grant-guest NAME"}, &GrantGuest},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--user"}}, out, err);
}

KWLIB_COMMAND(kService, "service", "start, stop and look at services (systemd units)", kwlib::SyntaxOf(kTable),
              "options: --user  the user's own service manager instead of the system's\n"
              "start starts the service and waits while it is starting; stop stops the services\n"
              "that depend on it, then it; both print the state reached. A start that ends with\n"
              "the service stopped and failed makes the exit status 1. status prints the state,\n"
              "check point and wait hint. grant-guest lets the guest account (nobody) start and\n"
              "stop the service, through a polkit rule. NAME is a unit name (\".service\" may be\n"
              "left out). KWLIB63_SERVICE_BUS names another manager's bus and KWLIB63_POLKIT_RULES\n"
              "another rules folder.\n",
              Run);

}  // namespace
