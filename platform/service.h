// The service control manager on systemd, through its D-Bus API. A service is a
// unit: ".service" is appended to a name without a unit suffix. A unit's active
// state gives the service state (active or reloading: running; activating: start
// pending; deactivating: stop pending; inactive or failed: stopped). While a state
// is pending, the check point counts the progress systemd reports through the
// handle (changes of the unit's sub-state and of its job), and the wait hint is
// the unit's start or stop time-out. A service's dependents are the units that
// require it or are bound to it, found again through their own dependents. A
// service's access list lives in a polkit rule written for that unit, which lets
// the listed users and groups start and stop it.
//
// Which manager is reached: the system's, on the system bus, unless the process
// chooses otherwise with ServiceSetBusAddress or the KWLIB63_SERVICE_BUS variable:
// "system", "user" (the user's own manager, on the session bus) or a D-Bus address
// such as "unix:path=/run/user/1000/systemd/private" or a manager's own bus.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/security.h>

struct SC_HANDLE__;
using SC_HANDLE = SC_HANDLE__*;

struct KW_API SERVICE_STATUS {
  DWORD dwServiceType;
  DWORD dwCurrentState;
  DWORD dwControlsAccepted;
  DWORD dwWin32ExitCode;
  DWORD dwServiceSpecificExitCode;
  DWORD dwCheckPoint;
  DWORD dwWaitHint;
};

struct KW_API SERVICE_STATUS_PROCESS {
  DWORD dwServiceType;
  DWORD dwCurrentState;
  DWORD dwControlsAccepted;
  DWORD dwWin32ExitCode;
  DWORD dwServiceSpecificExitCode;
  DWORD dwCheckPoint;
  DWORD dwWaitHint;
  DWORD dwProcessId;
  DWORD dwServiceFlags;
};

struct KW_API ENUM_SERVICE_STATUSW {
  LPWSTR lpServiceName;
  LPWSTR lpDisplayName;
  SERVICE_STATUS ServiceStatus;
};

enum SC_STATUS_TYPE { SC_STATUS_PROCESS_INFO = 0 };

inline constexpr LPCWSTR SERVICES_ACTIVE_DATABASEW = L"ServicesActive";

// Rights on the manager and on services.
inline constexpr DWORD SC_MANAGER_CONNECT = 0x0001;
inline constexpr DWORD SC_MANAGER_ENUMERATE_SERVICE = 0x0004;
inline constexpr DWORD SC_MANAGER_ALL_ACCESS = 0xF003F;
inline constexpr DWORD SERVICE_QUERY_CONFIG = 0x0001;
inline constexpr DWORD SERVICE_QUERY_STATUS = 0x0004;
inline constexpr DWORD SERVICE_ENUMERATE_DEPENDENTS = 0x0008;
inline constexpr DWORD SERVICE_START = 0x0010;
inline constexpr DWORD SERVICE_STOP = 0x0020;
inline constexpr DWORD SERVICE_INTERROGATE = 0x0080;
inline constexpr DWORD SERVICE_ALL_ACCESS = 0xF01FF;
inline constexpr DWORD READ_CONTROL = 0x00020000;
inline constexpr DWORD WRITE_DAC = 0x00040000;

inline constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 0x10;
inline constexpr DWORD SERVICE_STOPPED = 1;
inline constexpr DWORD SERVICE_START_PENDING = 2;
inline constexpr DWORD SERVICE_STOP_PENDING = 3;
inline constexpr DWORD SERVICE_RUNNING = 4;
inline constexpr DWORD SERVICE_ACCEPT_STOP = 0x1;
inline constexpr DWORD SERVICE_ACTIVE = 0x1;
inline constexpr DWORD SERVICE_INACTIVE = 0x2;
inline constexpr DWORD SERVICE_STATE_ALL = 0x3;
inline constexpr DWORD SERVICE_CONTROL_STOP = 0x1;
inline constexpr DWORD SERVICE_CONTROL_INTERROGATE = 0x4;

inline constexpr DWORD ERROR_INVALID_SERVICE_CONTROL = 1052;
inline constexpr DWORD ERROR_SERVICE_ALREADY_RUNNING = 1056;
inline constexpr DWORD ERROR_SERVICE_DISABLED = 1058;
inline constexpr DWORD ERROR_SERVICE_SPECIFIC_ERROR = 1066;
inline constexpr DWORD ERROR_SERVICE_DEPENDENCY_FAIL = 1068;
inline constexpr DWORD ERROR_SERVICE_NOT_ACTIVE = 1062;
inline constexpr DWORD RPC_S_SERVER_UNAVAILABLE = 1722;

// Chooses the manager for the handles opened afterwards (null: the default, from
// KWLIB63_SERVICE_BUS or else the system's).
KW_API void ServiceSetBusAddress(LPCWSTR address);
// Where access lists are written as polkit rules (null: the default, from
// KWLIB63_POLKIT_RULES or else /etc/polkit-1/rules.d).
KW_API void ServiceSetRulesFolder(LPCWSTR folder);

namespace kwplat {

// Only the local machine's active database. RPC_S_SERVER_UNAVAILABLE when the
// manager's bus cannot be reached, ERROR_ACCESS_DENIED when it refuses us.
KW_API SC_HANDLE OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access);
// ERROR_SERVICE_DOES_NOT_EXIST for a unit systemd cannot find, ERROR_INVALID_NAME
// for a name that is not a unit name.
KW_API SC_HANDLE OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access);
KW_API BOOL CloseServiceHandle(SC_HANDLE handle);

// The 36-byte SERVICE_STATUS_PROCESS; ERROR_INSUFFICIENT_BUFFER and `*needed` with
// less room.
KW_API BOOL QueryServiceStatusEx(SC_HANDLE service, SC_STATUS_TYPE level, LPBYTE buffer, DWORD size, LPDWORD needed);
// Returns once the start has begun (the unit activating or active).
// ERROR_SERVICE_ALREADY_RUNNING when it runs; ERROR_SERVICE_REQUEST_TIMEOUT when the
// start fails before it begins or does not begin within 30 s;
// ERROR_SERVICE_DEPENDENCY_FAIL when a unit it needs failed; ERROR_SERVICE_DISABLED
// for a masked unit. Arguments are not supported (ERROR_INVALID_PARAMETER).
KW_API BOOL StartServiceW(SC_HANDLE service, DWORD argc, LPCWSTR* argv);
// SERVICE_CONTROL_STOP returns once the stop has ended, or after 30 s with the
// service stop pending; SERVICE_CONTROL_INTERROGATE only reads the status. ERROR_SERVICE_NOT_ACTIVE to stop a stopped service;
// ERROR_INVALID_SERVICE_CONTROL for any other control.
KW_API BOOL ControlService(SC_HANDLE service, DWORD control, SERVICE_STATUS* status);
// The dependents in the order to stop them (a unit before those it depends on).
// ERROR_MORE_DATA and `*needed` when they do not fit in `size` bytes.
KW_API BOOL EnumDependentServicesW(SC_HANDLE service, DWORD state, ENUM_SERVICE_STATUSW* services, DWORD size,
                                   LPDWORD needed, LPDWORD returned);
// The access list only (DACL_SECURITY_INFORMATION), as a self-relative
// descriptor. Without a rule of ours, root has every right and everyone may
// read the status and configuration.
KW_API BOOL QueryServiceObjectSecurity(SC_HANDLE service, SECURITY_INFORMATION information,
                                       PSECURITY_DESCRIPTOR descriptor, DWORD size, LPDWORD needed);
// Writes the list as the unit's polkit rule (ERROR_ACCESS_DENIED when the rules
// folder is not writable). Allowing and denying entries for users (S-1-22-1-uid),
// groups (S-1-22-2-gid) and Everyone are honoured; other parts than the access
// list give ERROR_INVALID_PARAMETER.
KW_API BOOL SetServiceObjectSecurity(SC_HANDLE service, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor);

}  // namespace kwplat
