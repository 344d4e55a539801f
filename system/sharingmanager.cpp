#include <kwlib63/system/sharingmanager.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/security.h>

namespace {

// The message of a failing step, with the step's error; the result of the call.
[[gnu::format(printf, 1, 2)]] int Report(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fflush(stdout);
  return 0;
}

int Error() { return static_cast<int>(kwplat::GetLastError()); }

template <typename T>
std::unique_ptr<T[]> Allocate(std::size_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[count]());
}

// The access list's entry at `index`, as bytes.
ACE_HEADER* AceAt(PACL acl, DWORD index) {
  void* ace = nullptr;
  return kwplat::GetAce(acl, index, &ace) ? static_cast<ACE_HEADER*>(ace) : nullptr;
}

}  // namespace

wchar_t* CSharingManager::_char2wchar(const wchar_t* text) {
  const std::size_t length = text != nullptr ? std::wcslen(text) : 0;
  auto* copy = new wchar_t[length + 1];
  if (length > 0) std::wmemcpy(copy, text, length);
  copy[length] = L'\0';
  return copy;
}

wchar_t* CSharingManager::_wchar2char(wchar_t* text) { return _char2wchar(text); }

int CSharingManager::AddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask,
                                     int bEveryone) {
  // 1. The trustee.
  std::unique_ptr<BYTE[]> sid;
  std::unique_ptr<wchar_t[]> domain;
  if (bEveryone) {
    sid = Allocate<BYTE>(SECURITY_MAX_SID_SIZE);
    if (sid == nullptr) {
      std::fputs("Could not allocate memory.\n", stderr);
      std::exit(1);
    }
    DWORD size = SECURITY_MAX_SID_SIZE;
    if (!kwplat::CreateWellKnownSid(WinWorldSid, nullptr, sid.get(), &size)) {
      std::fprintf(stderr, "CreateWellKnownSid Error %u", kwplat::GetLastError());
    }
  } else {
    DWORD sidSize = 0, domainLength = 0;
    SID_NAME_USE use;
    if (!kwplat::LookupAccountNameW(nullptr, accountName, nullptr, &sidSize, nullptr, &domainLength, &use) &&
        kwplat::GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
      return Report("LookupAccountName() failed. Error %d\n", Error());
    }
    sid = Allocate<BYTE>(sidSize);
    domain = Allocate<wchar_t>(domainLength);
    if (sid == nullptr || domain == nullptr) return Report("HeapAlloc() failed. Error %d\n", Error());
    if (!kwplat::LookupAccountNameW(nullptr, accountName, sid.get(), &sidSize, domain.get(), &domainLength, &use)) {
      return Report("LookupAccountName() failed. Error %d\n", Error());
    }
  }
  // 2. The file's descriptor.
  DWORD needed = 0;
  if (kwplat::GetFileSecurityW(fileName, DACL_SECURITY_INFORMATION, nullptr, 0, &needed)) return 0;
  if (kwplat::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return Report("GetFileSecurity() failed. Error %d\n", Error());
  std::unique_ptr<BYTE[]> old = Allocate<BYTE>(needed);
  if (old == nullptr) return Report("HeapAlloc() failed. Error %d\n", Error());
  if (!kwplat::GetFileSecurityW(fileName, DACL_SECURITY_INFORMATION, old.get(), needed, &needed)) {
    return Report("GetFileSecurity() failed. Error %d\n", Error());
  }
  // 3. A new descriptor, and the old list.
  SECURITY_DESCRIPTOR descriptor;
  if (!kwplat::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION)) {
    return Report("InitializeSecurityDescriptor() failed.Error %d\n", Error());
  }
  BOOL present = FALSE, defaulted = FALSE;
  PACL oldAcl = nullptr;
  if (!kwplat::GetSecurityDescriptorDacl(old.get(), &present, &oldAcl, &defaulted)) {
    return Report("GetSecurityDescriptorDacl() failed. Error %d\n", Error());
  }
  // 4. Room for the old entries and one more.
  ACL_SIZE_INFORMATION size{0, sizeof(ACL), 0};
  if (present && oldAcl != nullptr && !kwplat::GetAclInformation(oldAcl, &size, sizeof size, AclSizeInformation)) {
    return Report("GetAclInformation() failed. Error %d\n", Error());
  }
  const DWORD sidLength = kwplat::GetLengthSid(sid.get());
  const DWORD newSize = size.AclBytesInUse + 8 + sidLength;
  std::unique_ptr<DWORD[]> storage = Allocate<DWORD>((newSize + 3) / 4);
  if (storage == nullptr) return Report("HeapAlloc() failed. Error %d\n", Error());
  auto* newAcl = reinterpret_cast<PACL>(storage.get());
  if (!kwplat::InitializeAcl(newAcl, newSize, ACL_REVISION)) return Report("InitializeAcl() failed. Error %d\n", Error());
  // 5. The old explicit entries, but those for the trustee.
  DWORD index = 0;
  for (; present && oldAcl != nullptr && index < size.AceCount; ++index) {
    ACE_HEADER* ace = AceAt(oldAcl, index);
    if (ace == nullptr) return Report("GetAce() failed. Error %d\n", Error());
    if ((ace->AceFlags & INHERITED_ACE) != 0) break;
    if (kwplat::EqualSid(sid.get(), reinterpret_cast<BYTE*>(ace) + 8)) continue;
    if (!kwplat::AddAce(newAcl, ACL_REVISION, MAXDWORD, ace, ace->AceSize)) return Report("AddAce() failed. Error %d\n", Error());
  }
  // 6. The trustee's entry.
  if (!kwplat::AddAccessAllowedAce(newAcl, ACL_REVISION, accessMask, sid.get())) {
    return Report("AddAccessAllowedAce() failed. Error %d\n", Error());
  }
  // 7. The inherited entries and all after them, as they were.
  for (; present && oldAcl != nullptr && index < size.AceCount; ++index) {
    ACE_HEADER* ace = AceAt(oldAcl, index);
    if (ace == nullptr) return Report("GetAce() failed. Error %d\n", Error());
    if (!kwplat::AddAce(newAcl, ACL_REVISION, MAXDWORD, ace, ace->AceSize)) return Report("AddAce() failed. Error %d\n", Error());
  }
  // 8. The new list into the new descriptor.
  if (!kwplat::SetSecurityDescriptorDacl(&descriptor, TRUE, newAcl, FALSE)) {
    return Report("SetSecurityDescriptorDacl() failed. Error %d\n", Error());
  }
  // 9. The inheritance bits of the old descriptor.
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  if (!kwplat::GetSecurityDescriptorControl(old.get(), &control, &revision)) {
    return Report("GetSecurityDescriptorControl() failed.Error %d\n", Error());
  }
  SECURITY_DESCRIPTOR_CONTROL bits = 0;
  if ((control & SE_DACL_AUTO_INHERITED) != 0) bits = SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED;
  else if ((control & SE_DACL_PROTECTED) != 0) bits = SE_DACL_PROTECTED;
  if (bits != 0 && !kwplat::SetSecurityDescriptorControl(&descriptor, bits, bits)) {
    return Report("SetSecurityDescriptorControl() failed.Error %d\n", Error());
  }
  // 10. Written to the file.
  if (!kwplat::SetFileSecurityW(fileName, DACL_SECURITY_INFORMATION, &descriptor)) {
    return Report("SetFileSecurity() failed. Error %d\n", Error());
  }
  return 1;
}

int AfxAddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask, int bEveryone) {
  return CSharingManager::AddAccessRights(fileName, accountName, accessMask, bEveryone);
}
