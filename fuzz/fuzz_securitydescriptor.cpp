// Self-relative security descriptors from arbitrary bytes: whatever passes the
// validation must be read and written to a file's ACL without reading outside it.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/security.h>

#include "scratch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::wstring file = [] {
    const std::string path = kwfuzz::ScratchDir() + "/f";
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fclose(f) != 0) std::abort();
    return kwfw::Utf8ToWide(path);
  }();
  // An aligned copy, as a descriptor in a caller's buffer would be.
  std::vector<BYTE> descriptor(data, data + size);
  if (!kwplat::IsValidRelativeSecurityDescriptor(descriptor.data(), static_cast<DWORD>(size))) return 0;
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  if (!kwplat::GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted)) std::abort();
  if (present && dacl != nullptr) {
    ACL_SIZE_INFORMATION information{};
    if (!kwplat::GetAclInformation(dacl, &information, sizeof information, AclSizeInformation)) std::abort();
    for (DWORD i = 0; i < information.AceCount; ++i) {
      void* ace = nullptr;
      if (!kwplat::GetAce(dacl, i, &ace)) std::abort();
    }
  }
  kwplat::SetFileSecurityW(file.c_str(), DACL_SECURITY_INFORMATION, descriptor.data());
  return 0;
}
