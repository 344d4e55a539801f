// Access lists changed by explicit access entries.
#include <cstring>
#include <vector>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/memory.h>
#include <kwlib63/platform/security.h>

namespace kwplat {
namespace {

using Ace = std::vector<BYTE>;

const ACE_HEADER& Header(const Ace& ace) { return *reinterpret_cast<const ACE_HEADER*>(ace.data()); }
PSID SidOf(Ace& ace) { return ace.data() + 8; }

Ace MakeAce(BYTE type, BYTE flags, ACCESS_MASK mask, PSID sid) {
  const DWORD sidLength = GetLengthSid(sid);
  Ace ace(8 + sidLength);
  const ACE_HEADER header{type, flags, static_cast<WORD>(ace.size())};
  std::memcpy(ace.data(), &header, sizeof header);
  std::memcpy(ace.data() + 4, &mask, 4);
  std::memcpy(ace.data() + 8, sid, sidLength);
  return ace;
}

// The SID an entry's trustee names; false with the error when there is none.
bool TrusteeSid(const TRUSTEE_W& trustee, std::vector<BYTE>& sid, DWORD& error) {
  if (trustee.TrusteeForm == TRUSTEE_IS_SID) {
    if (!IsValidSid(trustee.ptstrName)) {
      error = ERROR_INVALID_SID;
      return false;
    }
    const BYTE* bytes = reinterpret_cast<const BYTE*>(trustee.ptstrName);
    sid.assign(bytes, bytes + GetLengthSid(trustee.ptstrName));
    return true;
  }
  if (trustee.TrusteeForm != TRUSTEE_IS_NAME || trustee.ptstrName == nullptr) {
    error = ERROR_INVALID_PARAMETER;
    return false;
  }
  DWORD sidSize = SECURITY_MAX_SID_SIZE, domainLength = 256;
  sid.resize(sidSize);
  std::vector<wchar_t> domain(domainLength);
  if (!LookupAccountNameW(nullptr, trustee.ptstrName, sid.data(), &sidSize, domain.data(), &domainLength, nullptr)) {
    error = GetLastError();
    return false;
  }
  sid.resize(sidSize);
  return true;
}

}  // namespace

void BuildExplicitAccessWithNameW(EXPLICIT_ACCESS_W* access, LPWSTR name, DWORD permissions, ACCESS_MODE mode,
                                  DWORD inheritance) {
  if (access == nullptr) return;
  *access = EXPLICIT_ACCESS_W{permissions, mode, inheritance,
                              TRUSTEE_W{nullptr, NO_MULTIPLE_TRUSTEE, TRUSTEE_IS_NAME, TRUSTEE_IS_UNKNOWN, name}};
}

DWORD SetEntriesInAclW(ULONG count, EXPLICIT_ACCESS_W* entries, PACL old, PACL* made) {
  if (made == nullptr || (count > 0 && entries == nullptr)) return ERROR_INVALID_PARAMETER;
  std::vector<Ace> explicitAces, inherited;
  if (old != nullptr) {
    ACL_SIZE_INFORMATION size{};
    if (!GetAclInformation(old, &size, sizeof size, AclSizeInformation)) return ERROR_INVALID_ACL;
    for (DWORD i = 0; i < size.AceCount; ++i) {
      void* ace = nullptr;
      GetAce(old, i, &ace);
      const auto* bytes = static_cast<const BYTE*>(ace);
      Ace copy(bytes, bytes + static_cast<const ACE_HEADER*>(ace)->AceSize);
      ((Header(copy).AceFlags & INHERITED_ACE) != 0 ? inherited : explicitAces).push_back(std::move(copy));
    }
  }
  for (ULONG i = 0; i < count; ++i) {
    const EXPLICIT_ACCESS_W& entry = entries[i];
    if (entry.grfAccessMode == NOT_USED_ACCESS) continue;
    std::vector<BYTE> sid;
    DWORD error = ERROR_SUCCESS;
    if (!TrusteeSid(entry.Trustee, sid, error)) return error;
    const BYTE flags = static_cast<BYTE>(entry.grfInheritance & 0x1F & ~INHERITED_ACE);
    auto sameAccount = [&sid](Ace& ace) { return ace.size() > 8 && EqualSid(SidOf(ace), sid.data()); };
    switch (entry.grfAccessMode) {
      case GRANT_ACCESS: {
        bool merged = false;
        for (Ace& ace : explicitAces) {
          if (Header(ace).AceType == ACCESS_ALLOWED_ACE_TYPE && Header(ace).AceFlags == flags && sameAccount(ace)) {
            ACCESS_MASK mask;
            std::memcpy(&mask, ace.data() + 4, 4);
            mask |= entry.grfAccessPermissions;
            std::memcpy(ace.data() + 4, &mask, 4);
            merged = true;
            break;
          }
        }
        if (!merged) explicitAces.push_back(MakeAce(ACCESS_ALLOWED_ACE_TYPE, flags, entry.grfAccessPermissions, sid.data()));
        break;
      }
      case SET_ACCESS:
      case REVOKE_ACCESS:
        std::erase_if(explicitAces, sameAccount);
        if (entry.grfAccessMode == SET_ACCESS) {
          explicitAces.push_back(MakeAce(ACCESS_ALLOWED_ACE_TYPE, flags, entry.grfAccessPermissions, sid.data()));
        }
        break;
      case DENY_ACCESS:
        explicitAces.push_back(MakeAce(ACCESS_DENIED_ACE_TYPE, flags, entry.grfAccessPermissions, sid.data()));
        break;
      default:
        return ERROR_INVALID_PARAMETER;
    }
  }
  // Windows' order: explicit denying entries, explicit allowing ones, inherited ones.
  std::vector<const Ace*> ordered;
  for (const Ace& ace : explicitAces) {
    if (Header(ace).AceType == ACCESS_DENIED_ACE_TYPE) ordered.push_back(&ace);
  }
  for (const Ace& ace : explicitAces) {
    if (Header(ace).AceType != ACCESS_DENIED_ACE_TYPE) ordered.push_back(&ace);
  }
  for (const Ace& ace : inherited) ordered.push_back(&ace);
  DWORD size = sizeof(ACL);
  for (const Ace* ace : ordered) size += static_cast<DWORD>(ace->size());
  if (size > 0xFFFF) return ERROR_INVALID_PARAMETER;
  auto* acl = static_cast<PACL>(LocalAlloc(LPTR, size));
  if (acl == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  InitializeAcl(acl, size, ACL_REVISION);
  for (const Ace* ace : ordered) AddAce(acl, ACL_REVISION, MAXDWORD, const_cast<BYTE*>(ace->data()), static_cast<DWORD>(ace->size()));
  *made = acl;
  return ERROR_SUCCESS;
}

}  // namespace kwplat
