// CMoxelExcepcio: construction rules, its texts in both languages, how it is shown
// and dumped.
#include <gtest/gtest.h>

#include <kwlib63/core/excepcio.h>
#include <kwlib63/core/frame.h>
#include <kwlib63/core/moxelmessagebox.h>

#include "support/recorders.h"

namespace {

std::wstring Text(CMoxelExcepcio& e) {
  wchar_t buf[1024];
  std::fill(std::begin(buf), std::end(buf), L'#');
  EXPECT_EQ(e.GetErrorMessage(buf, 1024, nullptr), 1);
  return buf;
}

// Throws through `raise` and returns what was caught.
template <typename F>
CMoxelExcepcio* Catch(F&& raise) {
  try {
    raise();
  } catch (CMoxelExcepcio* e) {
    return e;
  }
  return nullptr;
}

TEST(MoxelExcepcio, CancelWithoutTexts) {
  CMoxelExcepcio* e = Catch([] { AfxThrowCancel(nullptr, nullptr); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->EsCancel(), 1);
  EXPECT_EQ(e->m_sModul, L"?");
  EXPECT_TRUE(e->m_sMissatge.IsEmpty());
  EXPECT_TRUE(e->m_bAutoDelete);
  EXPECT_EQ(Text(*e), L"Il y a eu une exception nº-5 (?) dans le module [?].");
  EXPECT_TRUE(e->IsKindOf(RUNTIME_CLASS(CException)));
  EXPECT_STREQ(e->GetRuntimeClass()->m_lpszClassName, "CMoxelExcepcio");
  e->Delete();
}

TEST(MoxelExcepcio, TextsByCode) {
  struct {
    int code;
    const wchar_t* message;
    const wchar_t* module;
    const wchar_t* text;
  } cases[] = {
      {7, L"disc ple", L"Fitxer", L"Il y a eu une exception nº7 (?) dans le module [Fitxer]: disc ple."},
      {-1, L"", L"Llista",
       L"Il y a eu une exception nº-1 (Il n'y a pas assez de mémoire pour completer l'opération.) dans le module [Llista]."},
      {-2, nullptr, L"", L"Il y a eu une exception nº-2 (L'opération non supportée.) dans le module [?]."},
      {-5, L"aturat", nullptr, L"Il y a eu une exception nº-5 (?) dans le module [?]: aturat."},
  };
  for (const auto& c : cases) {
    CMoxelExcepcio* e = Catch([&] { AfxThrowMoxelExcepcio(c.message, c.module, c.code); });
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(Text(*e), c.text) << c.code;
    EXPECT_EQ(e->EsCancel(), c.code == -5 ? 1 : 0);
    e->Delete();
  }
  CMoxelExcepcio* other = Catch([] { AfxThrowMoxelExcepcio(3, L"m", L"mod"); });
  EXPECT_EQ(other->m_nCodi, 3);
  other->Delete();
}

TEST(MoxelExcepcio, TextsFollowTheCurrentLanguage) {
  const unsigned short before = AfxSetLanguage(LANG_EN_US);
  CMoxelExcepcio e(-1, nullptr, L"Llista");
  EXPECT_EQ(Text(e), L"Exception no. -1 (There is not enough memory to complete the operation.) occurred in module [Llista].");
  AfxSetLanguage(before);
}

TEST(MoxelExcepcio, MessageIsCutToTheCallersBuffer) {
  CMoxelExcepcio e(1, std::wstring(3000, L'x').c_str(), L"m");
  wchar_t buf[1024];
  EXPECT_EQ(e.GetErrorMessage(buf, 1024, nullptr), 1);
  EXPECT_EQ(std::wstring(buf).size(), 1023u);
  wchar_t tiny[4];
  EXPECT_EQ(e.GetErrorMessage(tiny, 4, nullptr), 1);
  EXPECT_STREQ(tiny, L"Il ");
}

TEST(MoxelExcepcio, ReportErrorShowsTheTextInTheLibrarysBox) {
  kwtest::MessageBoxRecorder boxes(IDRETRY);
  AfxSetAppTitle(L"Proves");
  CMoxelExcepcio e(7, L"disc ple", L"Fitxer");
  EXPECT_EQ(e.ReportError(MB_RETRYCANCEL | MB_ICONERROR, 1234), IDRETRY);
  AfxSetAppTitle(nullptr);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].text, L"Il y a eu une exception nº7 (?) dans le module [Fitxer]: disc ple.");
  EXPECT_EQ(boxes.boxes[0].caption, L"Proves");
  EXPECT_EQ(boxes.boxes[0].type, MB_RETRYCANCEL | MB_ICONERROR);
  EXPECT_EQ(boxes.boxes[0].owner, nullptr);
}

TEST(MoxelExcepcio, DumpWritesFivePiecesWithoutSeparators) {
  kwtest::DebugOutputRecorder out;
  CMoxelExcepcio e(1, L"x", L"y");
  AfxDumpExcepcio(afxDump, &e, nullptr, nullptr);
  EXPECT_EQ(out.pieces, (std::vector<std::wstring>{L"Excepció a [", L"(desconegut)", L"]", L"(msg desconegut)", L"\n"}));
  out.pieces.clear();
  AfxDumpExcepcio(afxDump, nullptr, L"llegint", L"TLlista::Ordenar");
  EXPECT_EQ(out.All(), L"Excepció a [TLlista::Ordenar]llegint\n");
}

}  // namespace
