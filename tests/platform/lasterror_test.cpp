// Last error per thread, the errno table, and the system's message texts.
#include <cerrno>
#include <thread>
#include <gtest/gtest.h>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/sysmessage.h>

namespace {

TEST(LastError, BelongsToTheCallingThread) {
  kwplat::SetLastError(ERROR_ACCESS_DENIED);
  DWORD seen = 12345;
  std::thread([&] { seen = kwplat::GetLastError(); }).join();
  EXPECT_EQ(seen, 0u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_ACCESS_DENIED);
}

TEST(LastError, ErrnoTable) {
  struct {
    int err;
    DWORD code;
  } cases[] = {{0, 0}, {ENOENT, 2}, {ENOTDIR, 3}, {EACCES, 5}, {EPERM, 5}, {EEXIST, 80}, {EINVAL, 87},
               {ENOSPC, 112}, {ENAMETOOLONG, 206}, {ENOTEMPTY, 145}, {ENOMEDIUM, 0x20000000u | ENOMEDIUM}};
  for (const auto& c : cases) EXPECT_EQ(kwplat::Win32ErrorFromErrno(c.err), c.code) << c.err;
  errno = ENOENT;
  EXPECT_EQ(kwplat::SetLastErrorFromErrno(), 2u);
  EXPECT_EQ(kwplat::GetLastError(), 2u);
}

std::wstring Message(DWORD code, DWORD lang = 0x0400) {
  wchar_t buf[512];
  const DWORD n = kwplat::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                                         lang, buf, 512, nullptr);
  return n == 0 ? std::wstring() : std::wstring(buf, n);
}

TEST(SystemMessages, TextsEndWithCrLfAsOnWindows) {
  EXPECT_EQ(Message(2), L"The system cannot find the file specified.\r\n");
  EXPECT_EQ(Message(5, 0x0409), L"Access is denied.\r\n");
  EXPECT_EQ(Message(193), L"%1 is not a valid Win32 application.\r\n");  // inserts are never expanded
  EXPECT_EQ(Message(0x20000000u | ENOMEDIUM), L"No medium found\r\n");
}

TEST(SystemMessages, Failures) {
  EXPECT_EQ(Message(0xFFFFFFFF), L"");
  EXPECT_EQ(kwplat::GetLastError(), ERROR_MR_MID_NOT_FOUND);
  EXPECT_EQ(Message(2, 0x040C), L"");
  EXPECT_EQ(kwplat::GetLastError(), ERROR_RESOURCE_LANG_NOT_FOUND);
  wchar_t small[10] = L"junk";
  EXPECT_EQ(kwplat::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 2, 0, small, 10, nullptr), 0u);
  EXPECT_EQ(kwplat::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(SystemMessages, AllocatedBuffer) {
  wchar_t* text = nullptr;
  const DWORD n = kwplat::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0,
                                         reinterpret_cast<LPWSTR>(&text), 0, nullptr);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::wstring(text), L"Access is denied.\r\n");
  EXPECT_EQ(n, 19u);
  EXPECT_EQ(kwplat::LocalFree(text), nullptr);
}

}  // namespace
