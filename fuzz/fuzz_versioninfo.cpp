// The version note reader on arbitrary files: the size query and the read agree,
// a block one byte short is refused, and every value the block gives lies inside it.
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/versioninfo.h>

#include "scratch.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

const std::wstring& FilePath() {
  static const std::wstring path = kwfw::Utf8ToWide(kwfuzz::ScratchDir() + "/f.elf");
  return path;
}

bool Inside(const std::vector<unsigned char>& block, const void* p, std::size_t bytes) {
  const auto* b = static_cast<const unsigned char*>(p);
  return b >= block.data() && bytes <= block.size() && b - block.data() <= static_cast<long>(block.size() - bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::wstring& path = FilePath();
  std::FILE* f = std::fopen(kwfw::WideToUtf8(path).c_str(), "wb");
  if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) std::abort();

  DWORD handle = 0;
  const DWORD need = kwplat::GetFileVersionInfoSizeW(path.c_str(), &handle);
  if (need == 0) {
    Check(handle == 0 && kwplat::GetLastError() == ERROR_RESOURCE_TYPE_NOT_FOUND);
    return 0;
  }
  std::vector<unsigned char> block(need, 0xCD);
  Check(!kwplat::GetFileVersionInfoW(path.c_str(), 0, need - 1, block.data()));
  Check(kwplat::GetLastError() == ERROR_INSUFFICIENT_BUFFER);
  Check(kwplat::GetFileVersionInfoW(path.c_str(), handle, need, block.data()));

  void* value = nullptr;
  UINT length = 0;
  Check(kwplat::VerQueryValueW(block.data(), L"\\", &value, &length));
  Check(length == sizeof(VS_FIXEDFILEINFO) && Inside(block, value, length));
  Check(kwplat::VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation", &value, &length));
  Check(length == 4 && Inside(block, value, length));
  const DWORD translation = *static_cast<const DWORD*>(value);
  wchar_t query[64];
  std::swprintf(query, 64, L"\\StringFileInfo\\%04x%04x\\%ls", translation & 0xFFFF, translation >> 16,
                size > 70 ? L"CompanyName" : L"K");
  if (kwplat::VerQueryValueW(block.data(), query, &value, &length)) {
    Check(length >= 1 && Inside(block, value, length * sizeof(wchar_t)));
    Check(static_cast<const wchar_t*>(value)[length - 1] == 0);
  }
  return 0;
}
