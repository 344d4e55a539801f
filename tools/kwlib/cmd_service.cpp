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

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--user"});
  const std::vector<std::string>& words = arguments.words;
  if (words.size() != 2) throw kwlib::UsageError("give an action (start, stop, status or grant-guest) and a service");
  const std::string& action = words[0];
  if (action != "start" && action != "stop" && action != "status" && action != "grant-guest") {
    throw kwlib::UsageError("unknown action '" + action + "'");
  }
  if (arguments.Has("--user")) ServiceSetBusAddress(L"user");
  const std::wstring name = kwfw::Utf8ToWide(words[1]);
  // The manager's calls are silent: a failure to open the service is told here.
  if (!Status(name, err)) return kwlib::kExitFailure;
  CServiceManager services;
  if (action == "start" && services.DoStartSvc(name.c_str()) == 0) {
    err << "kwlib service " << words[1] << ": the service did not start\n";
    return kwlib::kExitFailure;
  }
  if (action == "stop") services.DoStopSvc(name.c_str());
  if (action == "grant-guest") {
    services.DoUpdateSvcDacl(name.c_str());
    if (!GuestMayStartAndStop(name)) {
      err << "kwlib service " << words[1] << ": the access list could not be changed (may the polkit rules folder be written?)\n";
      return kwlib::kExitFailure;
    }
    out << words[1] << ": the guest account may start and stop it\n";
    return kwlib::kExitOk;
  }
  const std::optional<SERVICE_STATUS_PROCESS> status = Status(name, err);
  if (!status) return kwlib::kExitFailure;
  Print(out, words[1], *status);
  // A start the manager accepted may still end with the service stopped and
  // failed (its program missing, an exit status, no readiness in time).
  if (action == "start" && status->dwCurrentState == SERVICE_STOPPED && status->dwWin32ExitCode != ERROR_SUCCESS) {
    err << "kwlib service " << words[1] << ": the service did not run";
    if (status->dwWin32ExitCode == ERROR_SERVICE_SPECIFIC_ERROR) {
      err << " (its exit status: " << status->dwServiceSpecificExitCode << ")";
    }
    err << "\n";
    return kwlib::kExitFailure;
  }
  return kwlib::kExitOk;
}

KWLIB_COMMAND(kService, "service", "start, stop and look at services (systemd units)",
              "Usage: kwlib service start NAME\n"
              "       kwlib service stop NAME\n"
              "       kwlib service status NAME\n"
              "       kwlib service grant-guest NAME\n"
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
