// A process that writes registry values for the tests that need a second writer:
//   kw_regwriter HIVEFILE KEY PREFIX COUNT
// writes COUNT values PREFIX0, PREFIX1, ... (REG_DWORD i) into HKCU\KEY of the
// hive in HIVEFILE and prints each name once its write has returned.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/registry.h>

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: kw_regwriter HIVEFILE KEY PREFIX COUNT\n");
    return 2;
  }
  kwplat::RegSetHiveFile(HKEY_CURRENT_USER, kwfw::Utf8ToWide(argv[1]).c_str());
  HKEY key = nullptr;
  LONG error = kwplat::RegCreateKeyExW(HKEY_CURRENT_USER, kwfw::Utf8ToWide(argv[2]).c_str(), 0, nullptr, 0,
                                       KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (error != 0) {
    std::fprintf(stderr, "kw_regwriter: cannot open the key (%ld)\n", static_cast<long>(error));
    return 1;
  }
  const long count = std::strtol(argv[4], nullptr, 10);
  for (DWORD i = 0; i < static_cast<DWORD>(count); ++i) {
    std::string name = argv[3] + std::to_string(i);
    error = kwplat::RegSetValueExW(key, kwfw::Utf8ToWide(name).c_str(), 0, REG_DWORD,
                                   reinterpret_cast<const BYTE*>(&i), sizeof i);
    if (error != 0) {
      std::fprintf(stderr, "kw_regwriter: %s not written (%ld)\n", name.c_str(), static_cast<long>(error));
      return 1;
    }
    std::printf("%s\n", name.c_str());
    std::fflush(stdout);
  }
  kwplat::RegCloseKey(key);
  return 0;
}
