// The Windows security data model as data, in its binary layout: security
// identifiers (SIDs), access control entries and lists, and security descriptors
// (absolute, with pointers, as InitializeSecurityDescriptor makes them, or
// self-relative, with offsets, as files hand them over). Accounts are the
// system's users and groups under the identifiers Samba gives them: user uid is
// S-1-22-1-uid, group gid is S-1-22-2-gid, and Everyone is S-1-1-0.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

using PSID = void*;
using SECURITY_DESCRIPTOR_CONTROL = WORD;
using PSECURITY_DESCRIPTOR = void*;
using ACCESS_MASK = DWORD;

struct KW_API SID_IDENTIFIER_AUTHORITY {
  BYTE Value[6];
};

struct KW_API ACL {
  BYTE AclRevision;
  BYTE Sbz1;
  WORD AclSize;
  WORD AceCount;
  WORD Sbz2;
};
using PACL = ACL*;

struct KW_API ACE_HEADER {
  BYTE AceType;
  BYTE AceFlags;
  WORD AceSize;
};

struct KW_API ACCESS_ALLOWED_ACE {
  ACE_HEADER Header;
  ACCESS_MASK Mask;
  DWORD SidStart;  // the first four bytes of the SID that follows
};

// An absolute descriptor: the parts are pointers.
struct KW_API SECURITY_DESCRIPTOR {
  BYTE Revision;
  BYTE Sbz1;
  SECURITY_DESCRIPTOR_CONTROL Control;
  PSID Owner;
  PSID Group;
  PACL Sacl;
  PACL Dacl;
};

// A self-relative descriptor: the parts are offsets from its start (0: none).
struct KW_API SECURITY_DESCRIPTOR_RELATIVE {
  BYTE Revision;
  BYTE Sbz1;
  SECURITY_DESCRIPTOR_CONTROL Control;
  DWORD Owner;
  DWORD Group;
  DWORD Sacl;
  DWORD Dacl;
};

struct KW_API ACL_SIZE_INFORMATION {
  DWORD AceCount;
  DWORD AclBytesInUse;
  DWORD AclBytesFree;
};
struct KW_API ACL_REVISION_INFORMATION {
  DWORD AclRevision;
};
enum ACL_INFORMATION_CLASS { AclRevisionInformation = 1, AclSizeInformation = 2 };

enum WELL_KNOWN_SID_TYPE { WinNullSid = 0, WinWorldSid = 1, WinCreatorOwnerSid = 3 };
enum SID_NAME_USE { SidTypeUser = 1, SidTypeGroup = 2, SidTypeDomain = 3, SidTypeAlias = 4, SidTypeWellKnownGroup = 5 };

inline constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
inline constexpr DWORD SECURITY_DESCRIPTOR_MIN_LENGTH = sizeof(SECURITY_DESCRIPTOR);
inline constexpr DWORD SECURITY_MAX_SID_SIZE = 68;
inline constexpr DWORD SID_MAX_SUB_AUTHORITIES = 15;
inline constexpr DWORD ACL_REVISION = 2;
inline constexpr DWORD ACL_REVISION_DS = 4;
inline constexpr DWORD MAXDWORD = 0xFFFFFFFF;

inline constexpr BYTE ACCESS_ALLOWED_ACE_TYPE = 0;
inline constexpr BYTE ACCESS_DENIED_ACE_TYPE = 1;
inline constexpr BYTE OBJECT_INHERIT_ACE = 0x1;
inline constexpr BYTE CONTAINER_INHERIT_ACE = 0x2;
inline constexpr BYTE NO_PROPAGATE_INHERIT_ACE = 0x4;
inline constexpr BYTE INHERIT_ONLY_ACE = 0x8;
inline constexpr BYTE INHERITED_ACE = 0x10;

inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_OWNER_DEFAULTED = 0x0001;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_GROUP_DEFAULTED = 0x0002;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_DACL_PRESENT = 0x0004;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_DACL_DEFAULTED = 0x0008;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_DACL_AUTO_INHERIT_REQ = 0x0100;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_SACL_AUTO_INHERIT_REQ = 0x0200;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_DACL_AUTO_INHERITED = 0x0400;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_SACL_AUTO_INHERITED = 0x0800;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_DACL_PROTECTED = 0x1000;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_SACL_PROTECTED = 0x2000;
inline constexpr SECURITY_DESCRIPTOR_CONTROL SE_SELF_RELATIVE = 0x8000;

inline constexpr ACCESS_MASK GENERIC_ALL = 0x10000000;
inline constexpr ACCESS_MASK GENERIC_EXECUTE = 0x20000000;
inline constexpr ACCESS_MASK GENERIC_WRITE = 0x40000000;
inline constexpr ACCESS_MASK GENERIC_READ = 0x80000000;

inline constexpr DWORD ERROR_NONE_MAPPED = 1332;
inline constexpr DWORD ERROR_INVALID_SID = 1337;
inline constexpr DWORD ERROR_INVALID_ACL = 1336;
inline constexpr DWORD ERROR_UNKNOWN_REVISION = 1305;
inline constexpr DWORD ERROR_INVALID_SECURITY_DESCR = 1338;
inline constexpr DWORD ERROR_ALLOTTED_SPACE_EXCEEDED = 1344;

namespace kwplat {

// SIDs.
KW_API BOOL IsValidSid(PSID sid);
KW_API DWORD GetLengthSid(PSID sid);
KW_API BOOL EqualSid(PSID a, PSID b);
// Writes the well-known SID into `sid` (`*size` bytes of room; with too little,
// ERROR_INSUFFICIENT_BUFFER and the size needed). WinWorldSid is S-1-1-0.
KW_API BOOL CreateWellKnownSid(WELL_KNOWN_SID_TYPE type, PSID domain, PSID sid, DWORD* size);
// The SID and domain of a user or group of the system, "Everyone", or "GUEST"
// (the guest account Samba maps, nobody). `*sidSize` and `*domainLength` are the
// room given; with too little, ERROR_INSUFFICIENT_BUFFER and the sizes needed.
// ERROR_NONE_MAPPED for an unknown name. A name may be "DOMAIN\name".
KW_API BOOL LookupAccountNameW(LPCWSTR system, LPCWSTR account, PSID sid, LPDWORD sidSize, LPWSTR domain,
                               LPDWORD domainLength, SID_NAME_USE* use);

// Access control lists.
KW_API BOOL InitializeAcl(PACL acl, DWORD length, DWORD revision);
// Whether the list is well formed: its entries within its size, and each allowing
// or denying entry holding a whole valid SID.
KW_API BOOL IsValidAcl(PACL acl);
KW_API BOOL GetAclInformation(PACL acl, LPVOID information, DWORD length, ACL_INFORMATION_CLASS type);
KW_API BOOL GetAce(PACL acl, DWORD index, LPVOID* ace);
// Inserts the entries of `aces` (`length` bytes) before entry `start` (MAXDWORD:
// at the end).
KW_API BOOL AddAce(PACL acl, DWORD revision, DWORD start, LPVOID aces, DWORD length);
KW_API BOOL AddAccessAllowedAce(PACL acl, DWORD revision, ACCESS_MASK mask, PSID sid);
// The same, with the entry's inheritance flags.
KW_API BOOL AddAccessAllowedAceEx(PACL acl, DWORD revision, DWORD flags, ACCESS_MASK mask, PSID sid);

// Security descriptors.
KW_API BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
KW_API BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* dacl, LPBOOL defaulted);
KW_API BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted);
KW_API BOOL GetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, SECURITY_DESCRIPTOR_CONTROL* control,
                                         LPDWORD revision);
// Whether the `length` bytes at `descriptor` are a well-formed self-relative
// descriptor: its parts inside those bytes, its SIDs and access lists valid.
// What a descriptor from outside (a file, the network) must pass before use.
KW_API BOOL IsValidRelativeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD length);
// Only the inheritance bits (0x0100 to 0x2000) can be set this way.
KW_API BOOL SetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, SECURITY_DESCRIPTOR_CONTROL mask,
                                         SECURITY_DESCRIPTOR_CONTROL bits);

}  // namespace kwplat

// Explicit access entries, as the access-control helpers take them.
enum ACCESS_MODE {
  NOT_USED_ACCESS = 0,
  GRANT_ACCESS = 1,
  SET_ACCESS = 2,
  DENY_ACCESS = 3,
  REVOKE_ACCESS = 4,
};
enum MULTIPLE_TRUSTEE_OPERATION { NO_MULTIPLE_TRUSTEE = 0, TRUSTEE_IS_IMPERSONATE = 1 };
enum TRUSTEE_FORM { TRUSTEE_IS_SID = 0, TRUSTEE_IS_NAME = 1, TRUSTEE_BAD_FORM = 2 };
enum TRUSTEE_TYPE {
  TRUSTEE_IS_UNKNOWN = 0,
  TRUSTEE_IS_USER = 1,
  TRUSTEE_IS_GROUP = 2,
  TRUSTEE_IS_WELL_KNOWN_GROUP = 5,
};
struct KW_API TRUSTEE_W {
  TRUSTEE_W* pMultipleTrustee;
  MULTIPLE_TRUSTEE_OPERATION MultipleTrusteeOperation;
  TRUSTEE_FORM TrusteeForm;
  TRUSTEE_TYPE TrusteeType;
  LPWSTR ptstrName;  // a name, or with TRUSTEE_IS_SID the SID itself
};
struct KW_API EXPLICIT_ACCESS_W {
  DWORD grfAccessPermissions;
  ACCESS_MODE grfAccessMode;
  DWORD grfInheritance;  // the entry flags: OBJECT_INHERIT_ACE, CONTAINER_INHERIT_ACE, ...
  TRUSTEE_W Trustee;
};
inline constexpr DWORD NO_INHERITANCE = 0;
inline constexpr DWORD SUB_CONTAINERS_AND_OBJECTS_INHERIT = 3;

namespace kwplat {

// Fills `access` for the account `name` (looked up when the entry is used).
KW_API void BuildExplicitAccessWithNameW(EXPLICIT_ACCESS_W* access, LPWSTR name, DWORD permissions, ACCESS_MODE mode,
                                         DWORD inheritance);
// A new list (LocalAlloc; LocalFree it) made of `old` (may be null) changed by the
// entries in order: GRANT_ACCESS adds the rights to the account's allowing entry,
// SET_ACCESS replaces the account's entries by one allowing entry, DENY_ACCESS adds
// a denying entry, REVOKE_ACCESS removes the account's entries. Inherited entries
// are kept; the list comes out in Windows' order: explicit denying entries,
// explicit allowing ones, inherited ones. Returns an error code (0: success;
// ERROR_NONE_MAPPED for an unknown account).
KW_API DWORD SetEntriesInAclW(ULONG count, EXPLICIT_ACCESS_W* entries, PACL old, PACL* made);

}  // namespace kwplat

// Files' access lists, on POSIX ACLs. A file's access ACL reads as allowing entries
// for its owner (S-1-22-1-uid), its group (S-1-22-2-gid), other named users and
// groups, and Everyone (the "other" class), each with its effective rights (the
// ACL mask applied); a folder's default ACL reads as the same entries marked
// inheritable (object, container, inherit-only). Rights map between Windows masks
// and rwx as docs/platform.md tells. Writing a list replaces the ACLs: an owner,
// group or Everyone entry left out gets no rights, and the mask is recomputed
// from the entries, so an entry read and written back keeps exactly its rights.
using SECURITY_INFORMATION = DWORD;
inline constexpr SECURITY_INFORMATION OWNER_SECURITY_INFORMATION = 0x1;
inline constexpr SECURITY_INFORMATION GROUP_SECURITY_INFORMATION = 0x2;
inline constexpr SECURITY_INFORMATION DACL_SECURITY_INFORMATION = 0x4;

inline constexpr ACCESS_MASK FILE_READ_DATA = 0x0001;
inline constexpr ACCESS_MASK FILE_WRITE_DATA = 0x0002;
inline constexpr ACCESS_MASK FILE_APPEND_DATA = 0x0004;
inline constexpr ACCESS_MASK FILE_EXECUTE = 0x0020;
inline constexpr ACCESS_MASK DELETE = 0x00010000;
inline constexpr ACCESS_MASK FILE_GENERIC_READ = 0x00120089;
inline constexpr ACCESS_MASK FILE_GENERIC_WRITE = 0x00120116;
inline constexpr ACCESS_MASK FILE_GENERIC_EXECUTE = 0x001200A0;
inline constexpr ACCESS_MASK FILE_ALL_ACCESS = 0x001F01FF;

namespace kwplat {

// A self-relative descriptor with the parts `requested` asks for; with too small a
// buffer, ERROR_INSUFFICIENT_BUFFER and the size needed in `*needed`.
KW_API BOOL GetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION requested, PSECURITY_DESCRIPTOR descriptor, DWORD length,
                             LPDWORD needed);
// Writes the descriptor's access list (DACL_SECURITY_INFORMATION; the other parts
// are not changed here). ERROR_NONE_MAPPED for an entry whose SID is not an
// account of this system, ERROR_NOT_SUPPORTED for a denying entry.
KW_API BOOL SetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor);

}  // namespace kwplat
