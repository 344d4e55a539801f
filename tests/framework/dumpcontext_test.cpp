// CDumpContext as the debugger output receives it: each piece written at once, in
// the framework's forms for numbers, pointers, null texts and objects.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/dumpcontext.h>
#include <kwlib63/framework/object.h>

#include "support/recorders.h"

namespace {

class CDumped : public CObject {
  DECLARE_DYNAMIC(CDumped)
};
IMPLEMENT_DYNAMIC(CDumped, CObject)

// Nothing waits for a flush: the sink has each piece as soon as it is written.
TEST(DumpContext, EachPieceReachesTheDebuggerOutputAtOnce) {
  kwtest::DebugOutputRecorder output;
  afxDump << "one";
  EXPECT_EQ(output.pieces, std::vector<std::wstring>{L"one"});
  afxDump << L"two" << 3;
  EXPECT_EQ(output.pieces, (std::vector<std::wstring>{L"one", L"two", L"3"}));
}

TEST(DumpContext, ValuesInTheFrameworksForms) {
  kwtest::DebugOutputRecorder output;
  CDumpContext dc;
  const struct {
    void (*write)(CDumpContext&);
    const wchar_t* shown;
  } cases[] = {
      {[](CDumpContext& d) { d << -5; }, L"-5"},
      {[](CDumpContext& d) { d << 4294967295u; }, L"4294967295"},
      {[](CDumpContext& d) { d << LONG_MIN; }, L"-9223372036854775808"},
      {[](CDumpContext& d) { d << ULONG_MAX; }, L"18446744073709551615"},
      {[](CDumpContext& d) { d << LLONG_MIN; }, L"-9223372036854775808"},
      {[](CDumpContext& d) { d << ULLONG_MAX; }, L"18446744073709551615"},
      {[](CDumpContext& d) { d << 1.5; }, L"1.500000"},
      {[](CDumpContext& d) { d << static_cast<const void*>(reinterpret_cast<char*>(0xAB12)); }, L"$000000000000AB12"},
      {[](CDumpContext& d) { d << static_cast<const char*>(nullptr); }, L"(NULL)"},
      {[](CDumpContext& d) { d << static_cast<const wchar_t*>(nullptr); }, L"(NULL)"},
      {[](CDumpContext& d) { d << static_cast<const CObject*>(nullptr); }, L"NULL"},
      {[](CDumpContext& d) { d << "caf\xC3\xA9"; }, L"caf\u00E9"},
      {[](CDumpContext& d) { d << CString(L"\u65E5\u672C"); }, L"\u65E5\u672C"},
  };
  for (const auto& c : cases) {
    output.pieces.clear();
    c.write(dc);
    EXPECT_EQ(output.All(), c.shown);
    EXPECT_EQ(output.pieces.size(), 1u) << testing::PrintToString(output.pieces);
  }
}

// An object without a Dump of its own says which class it is and where it lives.
TEST(DumpContext, AnObjectDumpsItsClassAndAddress) {
  kwtest::DebugOutputRecorder output;
  CDumped object;
  afxDump << object;
  char hex[17];
  std::snprintf(hex, sizeof hex, "%016llX", static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&object)));
  const std::wstring expected = L"a CDumped at $" + std::wstring(hex, hex + 16) + L"\n";
  EXPECT_EQ(output.All(), expected);
  output.pieces.clear();
  afxDump << &object;
  EXPECT_EQ(output.All(), expected);
}

}  // namespace
