#include <kwlib63/platform/security.h>

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string>
#include <vector>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>

#include "relativedescriptor.h"

namespace kwplat {
namespace {

constexpr DWORD kSidHeader = 8;
constexpr DWORD kAceHeader = 8;  // header and mask before the SID

BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

BYTE* Bytes(void* p) { return static_cast<BYTE*>(p); }

// A SID made from its authority and sub-authorities.
std::vector<BYTE> MakeSid(std::uint64_t authority, std::initializer_list<DWORD> subAuthorities) {
  std::vector<BYTE> sid(kSidHeader + 4 * subAuthorities.size());
  sid[0] = 1;
  sid[1] = static_cast<BYTE>(subAuthorities.size());
  for (int i = 0; i < 6; ++i) sid[2 + i] = static_cast<BYTE>(authority >> (8 * (5 - i)));
  std::size_t at = kSidHeader;
  for (DWORD sub : subAuthorities) {
    std::memcpy(&sid[at], &sub, 4);
    at += 4;
  }
  return sid;
}

// The bytes an ACL's entries use, or nothing when the list is not well formed.
std::optional<DWORD> BytesInUse(const ACL* acl) {
  if (acl == nullptr || acl->AclRevision < ACL_REVISION || acl->AclRevision > ACL_REVISION_DS ||
      acl->AclSize < sizeof(ACL)) {
    return std::nullopt;
  }
  DWORD used = sizeof(ACL);
  for (WORD i = 0; i < acl->AceCount; ++i) {
    if (used + sizeof(ACE_HEADER) > acl->AclSize) return std::nullopt;
    ACE_HEADER header;
    std::memcpy(&header, reinterpret_cast<const BYTE*>(acl) + used, sizeof header);
    // Entries keep the list's four-byte alignment, as every entry the calls make does.
    if (header.AceSize < sizeof(ACE_HEADER) || header.AceSize % 4 != 0 || used + header.AceSize > acl->AclSize) {
      return std::nullopt;
    }
    // An allowing or denying entry holds its mask and a whole SID.
    if (header.AceType == ACCESS_ALLOWED_ACE_TYPE || header.AceType == ACCESS_DENIED_ACE_TYPE) {
      const BYTE* sid = reinterpret_cast<const BYTE*>(acl) + used + kAceHeader;
      if (header.AceSize < kAceHeader + kSidHeader || sid[0] != 1 || sid[1] > SID_MAX_SUB_AUTHORITIES ||
          kAceHeader + kSidHeader + 4u * sid[1] > header.AceSize) {
        return std::nullopt;
      }
    }
    used += header.AceSize;
  }
  return used;
}

// The number of entries in `length` bytes of entries, or nothing when they do not
// fill it exactly.
std::optional<DWORD> CountAces(const BYTE* aces, DWORD length) {
  DWORD count = 0;
  for (DWORD at = 0; at < length; ++count) {
    if (at + sizeof(ACE_HEADER) > length) return std::nullopt;
    ACE_HEADER header;
    std::memcpy(&header, aces + at, sizeof header);
    if (header.AceSize < sizeof(ACE_HEADER) || header.AceSize % 4 != 0) return std::nullopt;
    at += header.AceSize;
    if (at > length) return std::nullopt;
  }
  return count;
}

bool SelfRelative(const SECURITY_DESCRIPTOR* descriptor) { return (descriptor->Control & SE_SELF_RELATIVE) != 0; }

}  // namespace

BOOL IsValidSid(PSID sid) {
  return sid != nullptr && Bytes(sid)[0] == 1 && Bytes(sid)[1] <= SID_MAX_SUB_AUTHORITIES ? TRUE : FALSE;
}

DWORD GetLengthSid(PSID sid) {
  if (!IsValidSid(sid)) {
    SetLastError(ERROR_INVALID_SID);
    return 0;
  }
  return kSidHeader + 4 * Bytes(sid)[1];
}

BOOL EqualSid(PSID a, PSID b) {
  if (!IsValidSid(a) || !IsValidSid(b)) return Fail(ERROR_INVALID_SID);
  const DWORD length = GetLengthSid(a);
  return length == GetLengthSid(b) && std::memcmp(a, b, length) == 0 ? TRUE : FALSE;
}

BOOL CreateWellKnownSid(WELL_KNOWN_SID_TYPE type, PSID, PSID sid, DWORD* size) {
  std::vector<BYTE> made;
  switch (type) {
    case WinNullSid: made = MakeSid(0, {0}); break;
    case WinWorldSid: made = MakeSid(1, {0}); break;
    case WinCreatorOwnerSid: made = MakeSid(3, {0}); break;
    default: return Fail(ERROR_INVALID_PARAMETER);
  }
  if (size == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (sid == nullptr || *size < made.size()) {
    *size = static_cast<DWORD>(made.size());
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(sid, made.data(), made.size());
  *size = static_cast<DWORD>(made.size());
  return TRUE;
}

BOOL LookupAccountNameW(LPCWSTR, LPCWSTR account, PSID sid, LPDWORD sidSize, LPWSTR domain, LPDWORD domainLength,
                        SID_NAME_USE* use) {
  if (account == nullptr || sidSize == nullptr || domainLength == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  std::wstring name = account;
  if (const std::size_t slash = name.find(L'\\'); slash != std::wstring::npos) name.erase(0, slash + 1);
  std::vector<BYTE> found;
  std::wstring foundDomain;
  SID_NAME_USE kind = SidTypeUser;
  if (kwfw::EqualNoCase(name, L"Everyone")) {
    found = MakeSid(1, {0});
    kind = SidTypeWellKnownGroup;
  } else {
    // Samba's guest account is nobody.
    const std::string user = kwfw::EqualNoCase(name, L"GUEST") ? std::string("nobody") : kwfw::WideToUtf8(name);
    std::vector<char> buffer(16384);
    passwd pw{}, *pwFound = nullptr;
    group gr{}, *grFound = nullptr;
    if (getpwnam_r(user.c_str(), &pw, buffer.data(), buffer.size(), &pwFound) == 0 && pwFound != nullptr) {
      found = MakeSid(22, {1, static_cast<DWORD>(pwFound->pw_uid)});
      foundDomain = L"Unix User";
    } else if (getgrnam_r(user.c_str(), &gr, buffer.data(), buffer.size(), &grFound) == 0 && grFound != nullptr) {
      found = MakeSid(22, {2, static_cast<DWORD>(grFound->gr_gid)});
      foundDomain = L"Unix Group";
      kind = SidTypeGroup;
    } else {
      return Fail(ERROR_NONE_MAPPED);
    }
  }
  if (sid == nullptr || *sidSize < found.size() || domain == nullptr || *domainLength <= foundDomain.size()) {
    *sidSize = static_cast<DWORD>(found.size());
    *domainLength = static_cast<DWORD>(foundDomain.size() + 1);
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  }
  std::memcpy(sid, found.data(), found.size());
  *sidSize = static_cast<DWORD>(found.size());
  std::wmemcpy(domain, foundDomain.c_str(), foundDomain.size() + 1);
  *domainLength = static_cast<DWORD>(foundDomain.size());
  if (use != nullptr) *use = kind;
  return TRUE;
}

BOOL InitializeAcl(PACL acl, DWORD length, DWORD revision) {
  if (acl == nullptr || length < sizeof(ACL)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  if (length > 0xFFFF || revision < ACL_REVISION || revision > ACL_REVISION_DS) return Fail(ERROR_INVALID_PARAMETER);
  *acl = ACL{static_cast<BYTE>(revision), 0, static_cast<WORD>(length & ~3u), 0, 0};
  return TRUE;
}

BOOL IsValidAcl(PACL acl) { return BytesInUse(acl) ? TRUE : FALSE; }

BOOL GetAclInformation(PACL acl, LPVOID information, DWORD length, ACL_INFORMATION_CLASS type) {
  const std::optional<DWORD> used = BytesInUse(acl);
  if (!used) return Fail(ERROR_INVALID_ACL);
  if (information == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (type == AclSizeInformation) {
    if (length < sizeof(ACL_SIZE_INFORMATION)) return Fail(ERROR_INSUFFICIENT_BUFFER);
    *static_cast<ACL_SIZE_INFORMATION*>(information) = {acl->AceCount, *used, acl->AclSize - *used};
    return TRUE;
  }
  if (type == AclRevisionInformation) {
    if (length < sizeof(ACL_REVISION_INFORMATION)) return Fail(ERROR_INSUFFICIENT_BUFFER);
    static_cast<ACL_REVISION_INFORMATION*>(information)->AclRevision = acl->AclRevision;
    return TRUE;
  }
  return Fail(ERROR_INVALID_PARAMETER);
}

BOOL GetAce(PACL acl, DWORD index, LPVOID* ace) {
  if (!BytesInUse(acl)) return Fail(ERROR_INVALID_ACL);
  if (ace == nullptr || index >= acl->AceCount) return Fail(ERROR_INVALID_PARAMETER);
  BYTE* at = Bytes(acl) + sizeof(ACL);
  for (DWORD i = 0; i < index; ++i) {
    ACE_HEADER header;
    std::memcpy(&header, at, sizeof header);
    at += header.AceSize;
  }
  *ace = at;
  return TRUE;
}

BOOL AddAce(PACL acl, DWORD revision, DWORD start, LPVOID aces, DWORD length) {
  const std::optional<DWORD> used = BytesInUse(acl);
  if (!used) return Fail(ERROR_INVALID_ACL);
  const std::optional<DWORD> count = aces != nullptr ? CountAces(Bytes(aces), length) : std::nullopt;
  if (!count || revision < ACL_REVISION || revision > ACL_REVISION_DS) return Fail(ERROR_INVALID_PARAMETER);
  if (*used + length > acl->AclSize || acl->AceCount + *count > 0xFFFF) return Fail(ERROR_INSUFFICIENT_BUFFER);
  // The place of entry `start`, or the end.
  BYTE* at = Bytes(acl) + sizeof(ACL);
  for (DWORD i = 0; i < std::min<DWORD>(start, acl->AceCount); ++i) {
    ACE_HEADER header;
    std::memcpy(&header, at, sizeof header);
    at += header.AceSize;
  }
  const BYTE* end = Bytes(acl) + *used;
  std::memmove(at + length, at, static_cast<std::size_t>(end - at));
  std::memmove(at, aces, length);
  acl->AceCount = static_cast<WORD>(acl->AceCount + *count);
  acl->AclRevision = static_cast<BYTE>(std::max<DWORD>(acl->AclRevision, revision));
  return TRUE;
}

BOOL AddAccessAllowedAceEx(PACL acl, DWORD revision, DWORD flags, ACCESS_MASK mask, PSID sid) {
  if (!IsValidSid(sid)) return Fail(ERROR_INVALID_SID);
  const std::optional<DWORD> used = BytesInUse(acl);
  if (!used) return Fail(ERROR_INVALID_ACL);
  const DWORD sidLength = GetLengthSid(sid);
  const DWORD size = kAceHeader + sidLength;
  if (*used + size > acl->AclSize) return Fail(ERROR_ALLOTTED_SPACE_EXCEEDED);
  std::vector<BYTE> ace(size);
  const ACE_HEADER header{ACCESS_ALLOWED_ACE_TYPE, static_cast<BYTE>(flags), static_cast<WORD>(size)};
  std::memcpy(ace.data(), &header, sizeof header);
  std::memcpy(ace.data() + sizeof header, &mask, sizeof mask);
  std::memcpy(ace.data() + kAceHeader, sid, sidLength);
  return AddAce(acl, revision, MAXDWORD, ace.data(), size);
}

BOOL AddAccessAllowedAce(PACL acl, DWORD revision, ACCESS_MASK mask, PSID sid) {
  return AddAccessAllowedAceEx(acl, revision, 0, mask, sid);
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  if (descriptor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
  *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = SECURITY_DESCRIPTOR{SECURITY_DESCRIPTOR_REVISION, 0, 0,
                                                                       nullptr, nullptr, nullptr, nullptr};
  return TRUE;
}

BOOL GetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, LPBOOL present, PACL* dacl, LPBOOL defaulted) {
  auto* absolute = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  if (absolute == nullptr || present == nullptr || dacl == nullptr || defaulted == nullptr) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  if (absolute->Revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
  *present = (absolute->Control & SE_DACL_PRESENT) != 0 ? TRUE : FALSE;
  if (!*present) return TRUE;
  *defaulted = (absolute->Control & SE_DACL_DEFAULTED) != 0 ? TRUE : FALSE;
  if (SelfRelative(absolute)) {
    const DWORD offset = static_cast<SECURITY_DESCRIPTOR_RELATIVE*>(descriptor)->Dacl;
    *dacl = offset != 0 ? reinterpret_cast<PACL>(Bytes(descriptor) + offset) : nullptr;
  } else {
    *dacl = absolute->Dacl;
  }
  return TRUE;
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL dacl, BOOL defaulted) {
  auto* absolute = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  if (absolute == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (absolute->Revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
  if (SelfRelative(absolute)) return Fail(ERROR_INVALID_SECURITY_DESCR);
  absolute->Control &= static_cast<SECURITY_DESCRIPTOR_CONTROL>(~(SE_DACL_PRESENT | SE_DACL_DEFAULTED));
  absolute->Dacl = nullptr;
  if (present) {
    absolute->Control |= SE_DACL_PRESENT;
    absolute->Dacl = dacl;
    if (defaulted) absolute->Control |= SE_DACL_DEFAULTED;
  }
  return TRUE;
}

BOOL GetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, SECURITY_DESCRIPTOR_CONTROL* control,
                                  LPDWORD revision) {
  auto* header = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  if (header == nullptr || control == nullptr || revision == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if (header->Revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
  *control = header->Control;
  *revision = header->Revision;
  return TRUE;
}

BOOL IsValidRelativeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD length) {
  SECURITY_DESCRIPTOR_RELATIVE header;
  if (descriptor == nullptr || length < sizeof header) return FALSE;
  std::memcpy(&header, descriptor, sizeof header);
  if (header.Revision != SECURITY_DESCRIPTOR_REVISION || (header.Control & SE_SELF_RELATIVE) == 0) return FALSE;
  const BYTE* bytes = Bytes(descriptor);
  auto sidFits = [&](DWORD offset) {
    if (offset == 0) return true;
    if (offset < sizeof header || offset > length || length - offset < kSidHeader) return false;
    const BYTE* sid = bytes + offset;
    return sid[0] == 1 && sid[1] <= SID_MAX_SUB_AUTHORITIES && length - offset >= kSidHeader + 4u * sid[1];
  };
  auto aclFits = [&](DWORD offset) {
    if (offset == 0) return true;
    if (offset < sizeof header || offset > length || length - offset < sizeof(ACL) || offset % 4 != 0) return false;
    ACL acl;
    std::memcpy(&acl, bytes + offset, sizeof acl);
    return acl.AclSize <= length - offset && IsValidAcl(reinterpret_cast<PACL>(const_cast<BYTE*>(bytes) + offset));
  };
  return sidFits(header.Owner) && sidFits(header.Group) && aclFits(header.Sacl) && aclFits(header.Dacl) ? TRUE : FALSE;
}

BOOL SetSecurityDescriptorControl(PSECURITY_DESCRIPTOR descriptor, SECURITY_DESCRIPTOR_CONTROL mask,
                                  SECURITY_DESCRIPTOR_CONTROL bits) {
  constexpr SECURITY_DESCRIPTOR_CONTROL kSettable = SE_DACL_AUTO_INHERIT_REQ | SE_SACL_AUTO_INHERIT_REQ |
                                                    SE_DACL_AUTO_INHERITED | SE_SACL_AUTO_INHERITED |
                                                    SE_DACL_PROTECTED | SE_SACL_PROTECTED;
  auto* header = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
  if (header == nullptr || ((mask | bits) & ~kSettable) != 0) return Fail(ERROR_INVALID_PARAMETER);
  if (header->Revision != SECURITY_DESCRIPTOR_REVISION) return Fail(ERROR_UNKNOWN_REVISION);
  header->Control = static_cast<SECURITY_DESCRIPTOR_CONTROL>((header->Control & ~mask) | (bits & mask));
  return TRUE;
}

std::vector<BYTE> MakeAcl(const std::vector<BYTE>& aces, WORD count) {
  const ACL header{ACL_REVISION, 0, static_cast<WORD>(sizeof(ACL) + aces.size()), count, 0};
  std::vector<BYTE> acl(sizeof header);
  std::memcpy(acl.data(), &header, sizeof header);
  acl.insert(acl.end(), aces.begin(), aces.end());
  return acl;
}

BOOL WriteRelativeDescriptor(const std::vector<BYTE>& owner, const std::vector<BYTE>& group,
                             const std::vector<BYTE>* dacl, PSECURITY_DESCRIPTOR descriptor, DWORD length,
                             LPDWORD needed) {
  SECURITY_DESCRIPTOR_RELATIVE header{SECURITY_DESCRIPTOR_REVISION, 0, SE_SELF_RELATIVE, 0, 0, 0, 0};
  DWORD size = sizeof header;
  const auto place = [&size](const std::vector<BYTE>& part, DWORD& offset) {
    if (part.empty()) return;
    offset = size;
    size += static_cast<DWORD>(part.size());
  };
  place(owner, header.Owner);
  place(group, header.Group);
  if (dacl != nullptr) {
    header.Control |= SE_DACL_PRESENT;
    place(*dacl, header.Dacl);
  }
  *needed = size;
  if (descriptor == nullptr || length < size) return Fail(ERROR_INSUFFICIENT_BUFFER);
  BYTE* out = Bytes(descriptor);
  std::memcpy(out, &header, sizeof header);
  if (!owner.empty()) std::memcpy(out + header.Owner, owner.data(), owner.size());
  if (!group.empty()) std::memcpy(out + header.Group, group.data(), group.size());
  if (dacl != nullptr) std::memcpy(out + header.Dacl, dacl->data(), dacl->size());
  return TRUE;
}

}  // namespace kwplat
