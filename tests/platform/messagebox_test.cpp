// The message-box and debugger-output hooks.
#include <gtest/gtest.h>

#include <kwlib63/platform/debugoutput.h>
#include <kwlib63/platform/messagebox.h>

#include "support/recorders.h"

namespace {

TEST(MessageBox, DefaultButtonOfEachStyle) {
  struct {
    UINT type;
    int button;
  } cases[] = {{MB_OK, IDOK},
               {MB_OKCANCEL | MB_DEFBUTTON2, IDCANCEL},
               {MB_YESNOCANCEL | MB_DEFBUTTON3, IDCANCEL},
               {MB_YESNO | MB_ICONQUESTION, IDYES},
               {MB_YESNO | MB_DEFBUTTON2, IDNO},
               {MB_YESNO | MB_DEFBUTTON3, IDYES},  // no third button: the first
               {MB_ABORTRETRYIGNORE | MB_DEFBUTTON2, IDRETRY},
               {MB_RETRYCANCEL, IDRETRY},
               {MB_CANCELTRYCONTINUE | MB_DEFBUTTON3, IDCONTINUE},
               {0xE, IDOK}};
  for (const auto& c : cases) EXPECT_EQ(kwplat::DefaultMessageBoxButton(c.type), c.button) << std::hex << c.type;
}

TEST(MessageBox, HandlerReceivesTheBoxAndIsRestored) {
  {
    kwtest::MessageBoxRecorder boxes(IDNO);
    EXPECT_EQ(kwplat::MessageBoxW(nullptr, L"text", nullptr, MB_YESNO), IDNO);
    ASSERT_EQ(boxes.boxes.size(), 1u);
    EXPECT_EQ(boxes.boxes[0].caption, L"Error");  // a null caption, as on Windows
    EXPECT_EQ(boxes.boxes[0].type, MB_YESNO);
  }
  // The default handler is back: it answers the style's default button.
  EXPECT_EQ(kwplat::MessageBoxW(nullptr, L"default handler", L"test", MB_YESNO | MB_DEFBUTTON2), IDNO);
}

TEST(DebugOutput, SinkReceivesEachPiece) {
  kwtest::DebugOutputRecorder out;
  kwplat::OutputDebugStringW(L"one ");
  kwplat::OutputDebugStringA("caf\xC3\xA9");
  kwplat::OutputDebugStringW(nullptr);
  ASSERT_EQ(out.pieces.size(), 2u);
  EXPECT_EQ(out.All(), L"one caf\u00E9");
}

}  // namespace
