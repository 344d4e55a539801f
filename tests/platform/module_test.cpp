// Module handles and file names of the executable and of the library.
#include <cstring>
#include <gtest/gtest.h>

#include <kwlib63/core/frame.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/module.h>

namespace {

std::wstring FileName(HMODULE module) {
  wchar_t buf[1024];
  return kwplat::GetModuleFileNameW(module, buf, 1024) > 0 ? buf : L"";
}

bool EndsWith(const std::wstring& s, const std::wstring& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(Modules, HandlesAreTheImagesHeaders) {
  const HMODULE exe = kwplat::GetModuleHandleW(nullptr);
  ASSERT_NE(exe, nullptr);
  EXPECT_EQ(std::memcmp(exe, "\x7F" "ELF", 4), 0);
  EXPECT_EQ(kwplat::GetModuleFromAddress(reinterpret_cast<const void*>(&FileName)), exe);
  const HMODULE lib = kwplat::GetModuleFromAddress(reinterpret_cast<const void*>(&KWLib_LinkDll));
  EXPECT_NE(lib, exe);
  EXPECT_EQ(lib, AfxGetKWLibInstance());
  EXPECT_EQ(kwplat::GetModuleHandleW(L"libkwlib63.so.6"), lib);
  EXPECT_EQ(kwplat::GetModuleHandleW(L"no-such-module.so"), nullptr);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST(Modules, FileNames) {
  EXPECT_TRUE(EndsWith(FileName(nullptr), L"/platform_test"));
  EXPECT_EQ(FileName(kwplat::GetModuleHandleW(nullptr)), FileName(nullptr));
  EXPECT_TRUE(EndsWith(FileName(AfxGetKWLibInstance()), L"/libkwlib63.so.6"));
  wchar_t small[5];
  EXPECT_EQ(kwplat::GetModuleFileNameW(nullptr, small, 5), 5u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::wstring(small), FileName(nullptr).substr(0, 4));
  int local = 0;
  EXPECT_EQ(kwplat::GetModuleFileNameW(reinterpret_cast<HMODULE>(&local), small, 5), 0u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_MOD_NOT_FOUND);
}

}  // namespace
