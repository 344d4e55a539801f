// Dynamic data exchange (the DDEML calls) on the D-Bus session bus. An instance
// is a bus connection of its own. A registered service is a well-known bus name,
// "org.kwlib63.dde.s" followed by the service name lower-cased, in UTF-8, with
// every byte other than a-z and 0-9 written as "_" and two hex digits (service
// names match without regard to case, as in DDE). A server instance answers the
// methods Connect, Execute, Request, Poke and Disconnect of org.kwlib63.Dde at
// /org/kwlib63/Dde; a conversation is bound to the unique name of the server that
// accepted it, so a server that goes away gives DMLERR_SERVER_DIED rather than a
// successor. Callbacks run on the thread that initialised the instance, from that
// thread's main context (its message queue), so the message pump drives a server;
// a synchronous transaction pumps that context while it waits, as DDEML does.
//
// The bus is the session bus unless DdeSetBusAddress or KWLIB63_DDE_BUS names
// another (the tests run a private one).
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

struct HSZ__;
using HSZ = HSZ__*;
struct HCONV__;
using HCONV = HCONV__*;
struct HDDEDATA__;
using HDDEDATA = HDDEDATA__*;

struct KW_API HSZPAIR {
  HSZ hszSvc;
  HSZ hszTopic;
};

struct KW_API CONVCONTEXT {
  UINT cb;
  UINT wFlags;
  UINT wCountryID;
  int iCodePage;
  DWORD dwLangID;
  DWORD dwSecurity;
  BYTE qos[12];
};

using PFNCALLBACK = HDDEDATA (*)(UINT type, UINT format, HCONV conversation, HSZ hsz1, HSZ hsz2, HDDEDATA data,
                                 ULONG_PTR data1, ULONG_PTR data2);

// Transaction types.
inline constexpr UINT XCLASS_BOOL = 0x1000;
inline constexpr UINT XCLASS_DATA = 0x2000;
inline constexpr UINT XCLASS_FLAGS = 0x4000;
inline constexpr UINT XCLASS_NOTIFICATION = 0x8000;
inline constexpr UINT XTYPF_NOBLOCK = 0x0002;
inline constexpr UINT XTYP_EXECUTE = 0x0050 | XCLASS_FLAGS;
inline constexpr UINT XTYP_CONNECT = 0x0060 | XCLASS_BOOL | XTYPF_NOBLOCK;
inline constexpr UINT XTYP_CONNECT_CONFIRM = 0x0070 | XCLASS_NOTIFICATION | XTYPF_NOBLOCK;
inline constexpr UINT XTYP_XACT_COMPLETE = 0x0080 | XCLASS_NOTIFICATION;
inline constexpr UINT XTYP_POKE = 0x0090 | XCLASS_FLAGS;
inline constexpr UINT XTYP_REGISTER = 0x00A0 | XCLASS_NOTIFICATION | XTYPF_NOBLOCK;
inline constexpr UINT XTYP_REQUEST = 0x00B0 | XCLASS_DATA;
inline constexpr UINT XTYP_DISCONNECT = 0x00C0 | XCLASS_NOTIFICATION | XTYPF_NOBLOCK;
inline constexpr UINT XTYP_UNREGISTER = 0x00D0 | XCLASS_NOTIFICATION | XTYPF_NOBLOCK;
inline constexpr UINT XTYP_WILDCONNECT = 0x00E0 | XCLASS_DATA | XTYPF_NOBLOCK;

// Initialisation flags.
inline constexpr DWORD APPCLASS_STANDARD = 0x00000000;
inline constexpr DWORD APPCMD_CLIENTONLY = 0x00000010;
inline constexpr DWORD CBF_SKIP_CONNECT_CONFIRMS = 0x00040000;
inline constexpr DWORD CBF_SKIP_REGISTRATIONS = 0x00080000;
inline constexpr DWORD CBF_SKIP_UNREGISTRATIONS = 0x00100000;
inline constexpr DWORD CBF_SKIP_DISCONNECTS = 0x00200000;
inline constexpr DWORD CBF_SKIP_ALLNOTIFICATIONS = 0x003C0000;

inline constexpr UINT DNS_REGISTER = 0x0001;
inline constexpr UINT DNS_UNREGISTER = 0x0002;
inline constexpr UINT DNS_FILTERON = 0x0004;
inline constexpr UINT DNS_FILTEROFF = 0x0008;

inline constexpr UINT CF_TEXT = 1;
inline constexpr UINT CF_UNICODETEXT = 13;
inline constexpr int CP_WINANSI = 1004;
inline constexpr int CP_WINUNICODE = 1200;
inline constexpr DWORD TIMEOUT_ASYNC = 0xFFFFFFFF;
inline constexpr UINT HDATA_APPOWNED = 0x0001;
inline constexpr UINT DDE_FACK = 0x8000;
inline constexpr UINT DDE_FBUSY = 0x4000;
inline constexpr UINT DDE_FNOTPROCESSED = 0x0000;

// Errors.
inline constexpr UINT DMLERR_NO_ERROR = 0;
inline constexpr UINT DMLERR_ADVACKTIMEOUT = 0x4000;
inline constexpr UINT DMLERR_BUSY = 0x4001;
inline constexpr UINT DMLERR_DATAACKTIMEOUT = 0x4002;
inline constexpr UINT DMLERR_DLL_NOT_INITIALIZED = 0x4003;
inline constexpr UINT DMLERR_DLL_USAGE = 0x4004;
inline constexpr UINT DMLERR_EXECACKTIMEOUT = 0x4005;
inline constexpr UINT DMLERR_INVALIDPARAMETER = 0x4006;
inline constexpr UINT DMLERR_LOW_MEMORY = 0x4007;
inline constexpr UINT DMLERR_MEMORY_ERROR = 0x4008;
inline constexpr UINT DMLERR_NOTPROCESSED = 0x4009;
inline constexpr UINT DMLERR_NO_CONV_ESTABLISHED = 0x400A;
inline constexpr UINT DMLERR_POKEACKTIMEOUT = 0x400B;
inline constexpr UINT DMLERR_POSTMSG_FAILED = 0x400C;
inline constexpr UINT DMLERR_REENTRANCY = 0x400D;
inline constexpr UINT DMLERR_SERVER_DIED = 0x400E;
inline constexpr UINT DMLERR_SYS_ERROR = 0x400F;
inline constexpr UINT DMLERR_UNADVACKTIMEOUT = 0x4010;
inline constexpr UINT DMLERR_UNFOUND_QUEUE_ID = 0x4011;

// Chooses the bus of the instances initialised afterwards (null: the default, from
// KWLIB63_DDE_BUS or else the session bus).
KW_API void DdeSetBusAddress(LPCWSTR address);

namespace kwplat {

// Returns a DMLERR code; DMLERR_SYS_ERROR when the bus cannot be reached. A
// non-zero `*instance` of this process changes that instance's callback and flags.
KW_API UINT DdeInitializeW(LPDWORD instance, PFNCALLBACK callback, DWORD flags, DWORD reserved);
KW_API BOOL DdeUninitialize(DWORD instance);
// The instance's last error, which is then cleared.
KW_API UINT DdeGetLastError(DWORD instance);

// String handles: one per text of the process, matched without regard to case and
// counted; code pages CP_WINANSI and CP_WINUNICODE (the text is wide either way).
KW_API HSZ DdeCreateStringHandleW(DWORD instance, LPCWSTR text, int codePage);
KW_API BOOL DdeFreeStringHandle(DWORD instance, HSZ handle);
KW_API BOOL DdeKeepStringHandle(DWORD instance, HSZ handle);
// The text's length; copies at most `size` - 1 characters and a terminator.
KW_API DWORD DdeQueryStringW(DWORD instance, HSZ handle, LPWSTR text, DWORD size, int codePage);
KW_API int DdeCmpStringHandles(HSZ a, HSZ b);

// Registers (DNS_REGISTER) or withdraws (DNS_UNREGISTER; a null name: all) a
// service name. A name another server holds is taken over when it leaves.
KW_API HDDEDATA DdeNameService(DWORD instance, HSZ service, HSZ reserved, UINT command);

KW_API HCONV DdeConnect(DWORD instance, HSZ service, HSZ topic, CONVCONTEXT* context);
KW_API BOOL DdeDisconnect(HCONV conversation);
// XTYP_EXECUTE, XTYP_REQUEST or XTYP_POKE. `size` (DWORD)-1 makes `data` a data
// handle. With TIMEOUT_ASYNC the call returns TRUE at once, `*result` is the
// transaction's id, and XTYP_XACT_COMPLETE brings the outcome.
KW_API HDDEDATA DdeClientTransaction(LPBYTE data, DWORD size, HCONV conversation, HSZ item, UINT format, UINT type,
                                     DWORD timeout, LPDWORD result);

// Data handles.
KW_API HDDEDATA DdeCreateDataHandle(DWORD instance, LPBYTE source, DWORD size, DWORD offset, HSZ item, UINT format,
                                    UINT command);
KW_API DWORD DdeGetData(HDDEDATA data, LPBYTE destination, DWORD size, DWORD offset);
KW_API LPBYTE DdeAccessData(HDDEDATA data, LPDWORD size);
KW_API BOOL DdeUnaccessData(HDDEDATA data);
KW_API BOOL DdeFreeDataHandle(HDDEDATA data);

}  // namespace kwplat
