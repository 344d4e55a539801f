// The last error as value and text, the system-error box, the library's message
// boxes and the application title.
#include <gtest/gtest.h>

#include <kwlib63/core/errorreport.h>
#include <kwlib63/core/moxelmessagebox.h>
#include <kwlib63/framework/winapp.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/res/resource.h>

#include "support/recorders.h"

namespace {

TEST(LastError, ValueForms) {
  kwplat::SetLastError(32);
  EXPECT_EQ(CLastError(5).GetError(), 5u);
  EXPECT_EQ(CLastError(0xFFFFFFFF).GetError(), 32u);
  EXPECT_EQ(static_cast<unsigned long>(CLastError()), 32u);
  CLastError e(2);
  kwplat::SetLastError(80);
  e.Update();
  EXPECT_EQ(e.GetError(), 80u);
  EXPECT_EQ(e.GetText(), L"The file exists.\r\n");
}

TEST(LastError, TextIsLookedUpForTheCodeAsGiven) {
  kwplat::SetLastError(5);
  const CStringLastError last;
  EXPECT_EQ(last.GetError(), 5u);
  EXPECT_TRUE(last.IsEmpty());  // 0xFFFFFFFF itself has no text
  const CStringLastError two(2);
  EXPECT_EQ(two.GetError(), 2u);
  EXPECT_EQ(two, L"The system cannot find the file specified.\r\n");
  CStringLastError copy(two);
  EXPECT_EQ(copy.GetError(), 2u);
  EXPECT_EQ(copy, two);
  EXPECT_TRUE(CStringLastError(99999).IsEmpty());
}

TEST(ReportSystemError, NoErrorNoBox) {
  kwtest::MessageBoxRecorder boxes;
  kwplat::SetLastError(0);
  EXPECT_EQ(REPORT_SYSTEM_ERROR(L"Obrint", nullptr, MB_OK), 1);
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST(ReportSystemError, BoxTexts) {
  kwtest::MessageBoxRecorder boxes(IDCANCEL);
  kwplat::SetLastError(5);
  EXPECT_EQ(REPORT_SYSTEM_ERROR(L"Obrint dades.bin", nullptr, MB_OKCANCEL), IDCANCEL);
  kwplat::SetLastError(2);
  REPORT_SYSTEM_ERROR(nullptr, nullptr, MB_OK);
  kwplat::SetLastError(77777);  // no system text
  REPORT_SYSTEM_ERROR(nullptr, nullptr, MB_OK);
  ASSERT_EQ(boxes.boxes.size(), 3u);
  EXPECT_EQ(boxes.boxes[0].text, L"Obrint dades.bin (Error nº5: Access is denied.\r\n)");
  EXPECT_EQ(boxes.boxes[0].type, MB_OKCANCEL);
  EXPECT_EQ(boxes.boxes[1].text, L"Error nº2: The system cannot find the file specified.\r\n.");
  EXPECT_EQ(boxes.boxes[2].text, L"Error nº77777: (null).");
}

TEST(MessageBoxes, CaptionIsTheArgumentThenTheTitleThenTheApplicationName) {
  kwtest::MessageBoxRecorder boxes;
  AfxMoxelMessageBox(L"a", MB_OK, 0, L"Explicit");
  AfxSetAppTitle(L"Títol");
  AfxMoxelMessageBox(L"b", MB_OK, 0, L"");
  EXPECT_EQ(AfxGetAppTitle(), L"Títol");
  AfxSetAppTitle(L"");
  AfxMoxelMessageBox(L"c");
  {
    CWinApp app(L"AppName");
    AfxMoxelMessageBox(L"d");
  }
  ASSERT_EQ(boxes.boxes.size(), 4u);
  EXPECT_EQ(boxes.boxes[0].caption, L"Explicit");
  EXPECT_EQ(boxes.boxes[1].caption, L"Títol");
  EXPECT_EQ(boxes.boxes[2].caption, L"core_test");  // the executable's name
  EXPECT_EQ(boxes.boxes[3].caption, L"AppName");
}

TEST(MessageBoxes, ResourceAndFormattedTextsAndThreadBoxes) {
  kwtest::MessageBoxRecorder boxes;
  AfxMoxelMessageBox(IDS_BOTO_SI, MB_YESNO, 0, L"c");
  AfxFormatMessageBox(L"c", MB_OK, L"%d fitxers a %s", 3, L"/tmp");
  AfxFormatMessageBox(L"c", MB_OK, IDS_EXCEPCIO, 4, L"?", L"M");
  AfxThreadMessageBox(L"from a worker", MB_ICONWARNING, L"w");
  AfxThreadMessageBox(IDS_BOTO_NO);
  ASSERT_EQ(boxes.boxes.size(), 5u);
  EXPECT_EQ(boxes.boxes[0].text, L"Oui");
  EXPECT_EQ(boxes.boxes[0].type, MB_YESNO);
  EXPECT_EQ(boxes.boxes[1].text, L"3 fitxers a /tmp");
  EXPECT_EQ(boxes.boxes[2].text, L"Il y a eu une exception nº4 (?) dans le module [M].");
  EXPECT_EQ(boxes.boxes[3].type, MB_ICONWARNING | MB_TASKMODAL);
  EXPECT_EQ(boxes.boxes[4].text, L"Non");
  EXPECT_EQ(boxes.boxes[4].caption, L"Error");  // a plain box without caption
}

TEST(DebugString, FormatsIntoTheDebuggerOutput) {
  kwtest::DebugOutputRecorder out;
  AfxFormatDebugString(L"[%s] %d%%\n", L"TLlista", 50);
  AfxFormatDebugString(nullptr);
  EXPECT_EQ(out.All(), L"[TLlista] 50%\n");
}

}  // namespace
