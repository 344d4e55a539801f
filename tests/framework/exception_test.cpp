// The framework's exceptions: auto-delete, and the texts and causes of file
// exceptions (their run-time classes are in object_test.cpp).
#include <cerrno>
#include <gtest/gtest.h>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/winapp.h>

#include "support/recorders.h"

namespace {

TEST(Exceptions, ThrownByPointerAndReleasedWithDelete) {
  try {
    AfxThrowInvalidArgException();
  } catch (CException* e) {
    EXPECT_TRUE(e->IsKindOf(RUNTIME_CLASS(CInvalidArgException)));
    EXPECT_TRUE(e->m_bAutoDelete);
    e->Delete();  // freed: the leak checker would report it otherwise
  }
  // The memory exception needs no allocation: it is one object, never freed.
  CMemoryException* first = nullptr;
  for (int i = 0; i < 2; ++i) {
    try {
      AfxThrowMemoryException();
    } catch (CMemoryException* e) {
      EXPECT_FALSE(e->m_bAutoDelete);
      if (first == nullptr) first = e;
      EXPECT_EQ(e, first);
      e->Delete();
    }
  }
}

TEST(Exceptions, FileExceptionCarriesCauseCodeAndName) {
  try {
    AfxThrowFileException(CFileException::accessDenied, 5, L"/tmp/x.dat");
  } catch (CFileException* e) {
    EXPECT_EQ(e->m_cause, CFileException::accessDenied);
    EXPECT_EQ(e->m_lOsError, 5);
    EXPECT_EQ(e->m_strFileName, L"/tmp/x.dat");
    wchar_t text[64];
    UINT help = 99;
    EXPECT_TRUE(e->GetErrorMessage(text, 64, &help));
    EXPECT_STREQ(text, L"Access to /tmp/x.dat was denied.");
    EXPECT_EQ(help, 0u);
    wchar_t small[8];
    EXPECT_TRUE(e->GetErrorMessage(small, 8));
    EXPECT_STREQ(small, L"Access ");  // cut to the buffer, terminated
    e->Delete();
  }
  struct {
    int err;
    int cause;
  } cases[] = {{ENOENT, CFileException::fileNotFound}, {ENOTDIR, CFileException::badPath},
               {EACCES, CFileException::accessDenied}, {ENOSPC, CFileException::diskFull},
               {EAGAIN, CFileException::lockViolation}, {ENOMEDIUM, CFileException::genericException}};
  for (const auto& c : cases) EXPECT_EQ(CFileException::ErrnoToException(c.err), c.cause) << c.err;
  EXPECT_EQ(CFileException::OsErrorToException(0), CFileException::none);
  EXPECT_EQ(CFileException::OsErrorToException(32), CFileException::sharingViolation);
}

TEST(Exceptions, ReportErrorShowsTheTextWithTheApplicationName) {
  kwtest::MessageBoxRecorder boxes(IDCANCEL);
  CMemoryException e(TRUE);
  EXPECT_EQ(e.ReportError(MB_OKCANCEL), IDCANCEL);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].text, L"Out of memory.");
  EXPECT_EQ(boxes.boxes[0].caption, AfxGetAppName().GetString());
  EXPECT_EQ(boxes.boxes[0].type, MB_OKCANCEL);

  CException plain;
  plain.ReportError();
  EXPECT_EQ(boxes.boxes[1].text, L"No error message is available.");
}

}  // namespace
