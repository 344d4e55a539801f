// The INI reader on arbitrary files, in both encodings: every read form, and now
// and then a write, which must leave a file that reads again.
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/profile.h>

#include "scratch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::string path = kwfuzz::ScratchDir() + "/f.ini";
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) std::abort();
  std::fwrite(data + 1, 1, size - 1, f);
  std::fclose(f);
  const std::wstring file = kwfw::Utf8ToWide(path);

  std::vector<wchar_t> buffer(4096);
  const DWORD n = kwplat::GetPrivateProfileSectionNamesW(buffer.data(), 4096, file.c_str());
  std::vector<std::wstring> sections;
  for (DWORD i = 0; i < n && sections.size() < 8; i += static_cast<DWORD>(std::wcslen(buffer.data() + i)) + 1) {
    sections.emplace_back(buffer.data() + i);
  }
  for (const std::wstring& s : sections) {
    const DWORD k = kwplat::GetPrivateProfileStringW(s.c_str(), nullptr, L"", buffer.data(), 4096, file.c_str());
    const std::wstring firstKey = k > 0 ? std::wstring(buffer.data()) : L"key";
    kwplat::GetPrivateProfileStringW(s.c_str(), firstKey.c_str(), L"dflt", buffer.data(), 7, file.c_str());
    kwplat::GetPrivateProfileSectionW(s.c_str(), buffer.data(), 33, file.c_str());
  }
  // One input in sixteen also writes, into the first section or a new one.
  if ((data[0] & 0x0F) == 0) {
    const std::wstring section = sections.empty() ? L"new" : sections[0];
    if (!kwplat::WritePrivateProfileStringW(section.c_str(), L"fuzz", L"value", file.c_str())) std::abort();
    if (kwplat::GetPrivateProfileStringW(section.c_str(), L"fuzz", L"", buffer.data(), 4096, file.c_str()) != 5) {
      std::abort();  // a key just written reads back
    }
  }
  return 0;
}
