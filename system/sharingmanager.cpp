#include <kwlib63/system/sharingmanager.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/netshare.h>
#include <kwlib63/platform/security.h>
#include <kwlib63/settings/pathstring.h>

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

namespace {

constexpr int kNoFolder = -3;

// The folder's text without one trailing separator (the root stays "/").
CString WithoutSeparator(const wchar_t* folder) {
  CString path(folder);
  if (path.GetLength() > 1 && path[path.GetLength() - 1] == L'/') path = path.Left(path.GetLength() - 1);
  return path;
}

}  // namespace

int CSharingManager::_ShareFolder(const wchar_t* folder) {
  if (folder == nullptr || !CPathString::TestCarpeta(folder)) return kNoFolder;
  const CString path = WithoutSeparator(folder);
  if (!_getNetNameViaDevicePath(path).IsEmpty()) return 0;
  // Callers test only for -3: a share that could not be made still gives 0.
  _addSharePath(path, _getUniqueShareResourceName(path));
  return 0;
}

int CSharingManager::_UnShareFolder(const wchar_t* folder) {
  if (folder == nullptr || !CPathString::TestCarpeta(folder)) return kNoFolder;
  CString name = _getNetNameViaDevicePath(WithoutSeparator(folder));
  if (name.IsEmpty()) return 0;
  return static_cast<int>(kwplat::NetShareDel(nullptr, name.GetBuffer(), 0));
}

CString CSharingManager::_getNetNameViaDevicePath(const wchar_t* folder) {
  LPBYTE buffer = nullptr;
  DWORD read = 0, total = 0;
  kwplat::NetShareEnum(nullptr, 2, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr);
  CString name;
  const auto* shares = reinterpret_cast<const SHARE_INFO_2*>(buffer);
  for (DWORD i = 0; i < read && shares != nullptr; ++i) {
    if (shares[i].shi2_path != nullptr && kwfw::EqualNoCase(shares[i].shi2_path, folder)) {
      name = shares[i].shi2_netname;
      break;
    }
  }
  if (buffer != nullptr) kwplat::NetApiBufferFree(buffer);
  return name;
}

CString CSharingManager::_getUniqueShareResourceName(const wchar_t* folder) {
  CString path = WithoutSeparator(folder);
  CString base = path.Mid(path.ReverseFind(L'/') + 1);
  base.MakeUpper();
  CString candidate;
  for (int i = 0; i < 1000; ++i) {
    if (i == 0) candidate.Format(L"%s", static_cast<const wchar_t*>(base));
    else candidate.Format(L"%s_%d", static_cast<const wchar_t*>(base), i);
    LPBYTE buffer = nullptr;
    const NET_API_STATUS status = kwplat::NetShareGetInfo(nullptr, candidate.GetBuffer(), 0, &buffer);
    candidate.ReleaseBuffer();
    if (buffer != nullptr) kwplat::NetApiBufferFree(buffer);
    if (status != NERR_Success) return candidate;
  }
  return candidate;  // the last one tried, although it is taken
}

int CSharingManager::_addSharePath(const wchar_t* folder, const wchar_t* shareName) {
  std::unique_ptr<wchar_t[]> name(_char2wchar(shareName)), remark(_char2wchar(L"Hot Folder")),
      path(_char2wchar(folder)), password(_char2wchar(L""));
  SHARE_INFO_2 info{name.get(), STYPE_DISKTREE, remark.get(), 23, static_cast<DWORD>(-1), 0, path.get(),
                    password.get()};
  DWORD parameterError = 0;
  if (kwplat::NetShareAdd(nullptr, 2, reinterpret_cast<LPBYTE>(&info), &parameterError) != NERR_Success) return -1;
  AddAccessRights(path.get(), nullptr, GENERIC_ALL, TRUE);
  return 1;
}

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

int AfxShareFolder(const wchar_t* folder) { return CSharingManager::_ShareFolder(folder); }

int AfxUnShareFolder(const wchar_t* folder) { return CSharingManager::_UnShareFolder(folder); }

int AfxAddAccessRights(wchar_t* fileName, wchar_t* accountName, unsigned long accessMask, int bEveryone) {
  return CSharingManager::AddAccessRights(fileName, accountName, accessMask, bEveryone);
}
