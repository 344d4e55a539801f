// The program without GTK in examples/, run as a user runs it: what it prints,
// and the record file, INI file and registry value it leaves, read back here
// through the library.
#include <string>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/serializer.h>
#include <kwlib63/platform/registry.h>
#include <kwlib63/settings/carpetaregistry.h>
#include <kwlib63/settings/fitxerini.h>

#include "support/shell.h"
#include "support/tempdir.h"

namespace {

// `before` runs first in the same shell (a limit for the demo).
std::string RunDemo(const kwtest::TempDir& dir, const std::string& args, const std::string& errors,
                    const std::string& before = "") {
  return kwtest::Output(before + "KWLIB63_REGISTRY_DIR='" + dir.At("reg") + "' " KWTEST_FILES_DEMO " " + args + " 2>'" +
                        errors + "'; echo \"exit $?\"");
}

TEST(FilesDemo, StoresAndReadsBackWithProgress) {
  kwtest::TempDir dir("kwlib-demo");
  const unsigned long parts = 25000;
  unsigned long long grams = 0;
  for (unsigned long i = 0; i < parts; ++i) grams += 10 + i % 990;
  const std::string total = std::to_string(grams);

  const std::string out = RunDemo(dir, "'" + dir.Path() + "' " + std::to_string(parts), dir.At("stderr"));
  EXPECT_EQ(out, "parts.rec: 25000 parts, 50000 sizes, " + total + " g in all\n" +
                     "demo.ini: [Catalogue] Grams=" + total + "\n" +
                     "registry: HKCU\\Software\\kwlib63 demo\\Parts = 25000\n" + "exit 0\n");

  // Progress: every tenth of each step, in order, then the end.
  const std::string progress = kwtest::Output("cat '" + dir.At("stderr") + "'");
  std::string expected;
  for (const char* step : {"Writing the parts", "Reading the parts"}) {
    for (int tenth = 0; tenth <= 10; ++tenth) expected += (tenth == 10 ? "100% " : tenth == 0 ? "  0% " : " " + std::to_string(tenth * 10) + "% ") + std::string(step) + "\n";
  }
  EXPECT_EQ(progress, expected);

  EXPECT_EQ(TSerializer::TestFitxer(kwfw::Utf8ToWide(dir.At("parts.rec")).c_str(), 1), 1);
  EXPECT_EQ(CFitxerINI(kwfw::Utf8ToWide(dir.At("demo.ini")).c_str()).GetString(L"Catalogue", L"Grams", L""),
            CString(kwfw::Utf8ToWide(total).c_str()));
  kwplat::RegSetHiveFile(HKEY_CURRENT_USER, kwfw::Utf8ToWide(dir.At("reg/HKCU.db")).c_str());
  unsigned long stored = 0;
  EXPECT_EQ(TCarpetaRegistry(L"Software\\kwlib63 demo").TornaValor(L"Parts", stored, 0), 0);
  EXPECT_EQ(stored, parts);
  kwplat::RegSetHiveFile(HKEY_CURRENT_USER, nullptr);
}

TEST(FilesDemo, RefusesWhatItCannotUse) {
  kwtest::TempDir dir("kwlib-demo");
  EXPECT_EQ(RunDemo(dir, "", dir.At("e1")), "exit 2\n");
  EXPECT_EQ(kwtest::Output("cat '" + dir.At("e1") + "'"), "Usage: kwlib63-files-demo DIR [PARTS]\n");
  EXPECT_EQ(RunDemo(dir, "'" + dir.Path() + "' lots", dir.At("e2")), "exit 2\n");
  EXPECT_EQ(kwtest::Output("cat '" + dir.At("e2") + "'"), "kwlib63-files-demo: lots is not a number of parts\n");
  // No sign, blank, trailing text or overflow becomes a count. A count taken by
  // mistake would fill the file-size limit at once rather than run on.
  const std::string counts[] = {"-5", "+5", " 5", "5x", "", "99999999999999999999999"};
  for (const std::string& parts : counts) {
    EXPECT_EQ(RunDemo(dir, "'" + dir.Path() + "' '" + parts + "'", dir.At("e4"), "ulimit -f 64; "), "exit 2\n") << parts;
    EXPECT_EQ(kwtest::Output("cat '" + dir.At("e4") + "'"), "kwlib63-files-demo: " + parts + " is not a number of parts\n");
  }
  EXPECT_EQ(RunDemo(dir, "'" + dir.At("missing") + "' 10", dir.At("e3")), "exit 1\n");
  // The library reports the file it could not open; the program says what failed.
  EXPECT_EQ(kwtest::Output("cat '" + dir.At("e3") + "'"), "kwlib63-files-demo: " + dir.At("missing") +
                                                             "/parts.rec was not found.\nkwlib63-files-demo: cannot write " +
                                                             dir.At("missing") + "/parts.rec\n");
}

}  // namespace
