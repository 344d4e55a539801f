// The DDE handles and the instance's errors, and transactions between a server
// and a client of one thread, on a private bus.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/dde.h>
#include <kwlib63/platform/messagequeue.h>

#include "support/eventually.h"
#include "support/locales.h"
#include "support/privatebus.h"
#include "support/scopedenv.h"

using namespace kwplat;

namespace {

HDDEDATA Ignore(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) { return nullptr; }

TEST(Dde, HandlesAndErrorsOfAnInstance) {
  kwtest::PrivateBus bus;
  DWORD instance = 0;
  ASSERT_EQ(DdeInitializeW(&instance, Ignore, APPCMD_CLIENTONLY, 0), DMLERR_NO_ERROR);

  // One counted handle per text, whatever its case; its first spelling kept.
  HSZ a = DdeCreateStringHandleW(instance, L"Sistema", CP_WINANSI);
  HSZ b = DdeCreateStringHandleW(instance, L"SISTEMA", CP_WINUNICODE);
  EXPECT_EQ(a, b);
  wchar_t text[5];
  EXPECT_EQ(DdeQueryStringW(instance, a, text, 5, CP_WINANSI), 7u);
  EXPECT_STREQ(text, L"Sist");
  EXPECT_TRUE(DdeFreeStringHandle(instance, a));
  EXPECT_TRUE(DdeFreeStringHandle(instance, b));
  EXPECT_FALSE(DdeFreeStringHandle(instance, a));
  EXPECT_EQ(DdeCreateStringHandleW(instance, L"x", 437), nullptr);
  EXPECT_EQ(DdeGetLastError(instance), DMLERR_INVALIDPARAMETER);

  BYTE bytes[] = {1, 2, 3, 4};
  HDDEDATA data = DdeCreateDataHandle(instance, bytes, 4, 2, nullptr, CF_TEXT, 0);
  EXPECT_EQ(DdeGetData(data, nullptr, 0, 0), 6u);
  BYTE out[3] = {};
  EXPECT_EQ(DdeGetData(data, out, 3, 3), 3u);
  EXPECT_EQ(out[0], 2);
  EXPECT_EQ(out[2], 4);
  EXPECT_TRUE(DdeFreeDataHandle(data));
  EXPECT_FALSE(DdeFreeDataHandle(data));

  // A client-only instance serves nothing.
  HSZ service = DdeCreateStringHandleW(instance, L"Prova", CP_WINANSI);
  EXPECT_EQ(DdeNameService(instance, service, nullptr, DNS_REGISTER), nullptr);
  EXPECT_EQ(DdeGetLastError(instance), DMLERR_DLL_USAGE);
  EXPECT_TRUE(DdeUninitialize(instance));
  EXPECT_EQ(DdeGetLastError(instance), DMLERR_DLL_NOT_INITIALIZED);

  DWORD none = 0;
  DdeSetBusAddress(L"unix:path=/nonexistent/kwlib63-bus");
  EXPECT_EQ(DdeInitializeW(&none, Ignore, 0, 0), DMLERR_SYS_ERROR);
  EXPECT_EQ(none, 0u);
}

// With no address chosen the instances are on the session bus; DDE knows no
// other bus by name.
TEST(Dde, WithoutAChoiceTheBusIsTheSessionBus) {
  kwtest::PrivateBus bus;
  DdeSetBusAddress(nullptr);
  kwtest::ScopedEnv noChoice("KWLIB63_DDE_BUS", nullptr);
  struct {
    const char* session;
    const wchar_t* chosen;
    UINT result;
  } cases[] = {{bus.Address().c_str(), nullptr, DMLERR_NO_ERROR},
               {"unix:path=/nonexistent/kwlib63-bus", nullptr, DMLERR_SYS_ERROR},
               {bus.Address().c_str(), L"", DMLERR_NO_ERROR},
               {bus.Address().c_str(), L"system", DMLERR_SYS_ERROR},
               {bus.Address().c_str(), L"user", DMLERR_SYS_ERROR}};
  for (const auto& c : cases) {
    const std::string label = std::to_string(&c - cases);
    kwtest::ScopedEnv session("DBUS_SESSION_BUS_ADDRESS", c.session);
    kwtest::ScopedEnv system("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str());
    DdeSetBusAddress(c.chosen);
    DWORD instance = 0;
    EXPECT_EQ(DdeInitializeW(&instance, Ignore, APPCMD_CLIENTONLY, 0), c.result) << label;
    if (instance != 0) {
      EXPECT_TRUE(DdeUninitialize(instance)) << label;
    }
  }
  DdeSetBusAddress(nullptr);
}

// Names match by the library's case fold, whatever the caller's locale.
TEST(Dde, HandlesFoldNonAsciiNamesInEveryLocale) {
  kwtest::PrivateBus bus;
  DWORD instance = 0;
  ASSERT_EQ(DdeInitializeW(&instance, Ignore, APPCMD_CLIENTONLY, 0), DMLERR_NO_ERROR);
  struct {
    const wchar_t* a;
    const wchar_t* b;
    bool same;
  } cases[] = {{L"\u00C9t\u00E9", L"\u00C9T\u00C9", true},
               {L"\u03A9mega", L"\u03C9MEGA", true},
               {L"\u0414\u0430\u043D\u043D\u044B\u0435", L"\u0434\u0410\u041D\u041D\u042B\u0415", true},
               {L"\u0131", L"I", false},
               {L"\u0130", L"i", false}};
  for (const char* locale : kwtest::kTextLocales) {
    kwtest::ScopedLocale scoped(locale);
    ASSERT_TRUE(scoped.Ok()) << locale;
    for (const auto& c : cases) {
      HSZ a = DdeCreateStringHandleW(instance, c.a, CP_WINUNICODE);
      HSZ b = DdeCreateStringHandleW(instance, c.b, CP_WINUNICODE);
      ASSERT_NE(a, nullptr);
      EXPECT_EQ(a == b, c.same) << locale << " " << (&c - cases);
      EXPECT_EQ(DdeCmpStringHandles(a, b) == 0, c.same) << locale << " " << (&c - cases);
      DdeFreeStringHandle(instance, a);
      DdeFreeStringHandle(instance, b);
    }
  }
  EXPECT_TRUE(DdeUninitialize(instance));
}

HDDEDATA Flags(UINT flags) { return reinterpret_cast<HDDEDATA>(static_cast<std::uintptr_t>(flags)); }

// What the server below was handed, for the tests that run it.
struct Served {
  DWORD instance = 0;
  std::vector<std::string> deliveries;  // "execute|bytes" or "poke item|bytes"
  int disconnects = 0;
} g_served;

std::string Text(HSZ handle) {
  wchar_t text[32] = L"junk";
  DdeQueryStringW(g_served.instance, handle, text, 32, CP_WINUNICODE);
  const std::wstring wide = text;
  return std::string(wide.begin(), wide.end());
}

std::string Bytes(HDDEDATA data) {
  std::string bytes(DdeGetData(data, nullptr, 0, 0), '?');
  DdeGetData(data, reinterpret_cast<LPBYTE>(bytes.data()), static_cast<DWORD>(bytes.size()), 0);
  return bytes;
}

// Accepts every conversation; answers requests for "data" and takes pokes of
// "data" and every execute, refusing the rest.
HDDEDATA Serve(UINT type, UINT format, HCONV, HSZ, HSZ item, HDDEDATA data, ULONG_PTR, ULONG_PTR) {
  switch (type) {
    case XTYP_CONNECT:
      return Flags(TRUE);
    case XTYP_REQUEST: {
      if (Text(item) != "data") return nullptr;
      BYTE answer[] = {'d', 'a', 'd', 'e', 's'};
      return DdeCreateDataHandle(g_served.instance, answer, sizeof answer, 0, item, format, 0);
    }
    case XTYP_POKE:
      g_served.deliveries.push_back("poke " + Text(item) + "|" + Bytes(data));
      return Flags(Text(item) == "data" ? DDE_FACK : DDE_FNOTPROCESSED);
    case XTYP_EXECUTE:
      g_served.deliveries.push_back("execute|" + Bytes(data));
      return Flags(DDE_FACK);
    case XTYP_DISCONNECT:
      ++g_served.disconnects;
      return nullptr;
    default:
      return nullptr;
  }
}

void PumpMessages() {
  while (HasPendingMessage()) PumpOneMessage(nullptr);
}

// A server and a client of one thread, connected on a private bus. A synchronous
// transaction waits on the thread's context, from which the server answers.
class DdeSameThread : public ::testing::Test {
 protected:
  void SetUp() override {
    g_served = Served{};
    ASSERT_EQ(DdeInitializeW(&g_served.instance, Serve, APPCLASS_STANDARD, 0), DMLERR_NO_ERROR);
    HSZ service = DdeCreateStringHandleW(g_served.instance, L"Prova", CP_WINUNICODE);
    ASSERT_NE(DdeNameService(g_served.instance, service, nullptr, DNS_REGISTER), nullptr);
    ASSERT_EQ(DdeInitializeW(&m_client, Ignore, APPCMD_CLIENTONLY, 0), DMLERR_NO_ERROR);
    HSZ topic = DdeCreateStringHandleW(m_client, L"Sistema", CP_WINUNICODE);
    m_conversation = DdeConnect(m_client, service, topic, nullptr);
    ASSERT_NE(m_conversation, nullptr);
  }
  void TearDown() override {
    if (m_client != 0) {
      EXPECT_TRUE(DdeUninitialize(m_client));
    }
    if (g_served.instance != 0) {
      EXPECT_TRUE(DdeUninitialize(g_served.instance));
    }
  }

  kwtest::PrivateBus m_bus;
  DWORD m_client = 0;
  HCONV m_conversation = nullptr;
};

TEST_F(DdeSameThread, TransactionsReachTheServer) {
  struct {
    UINT type;
    const wchar_t* item;
    std::string sent;
    DWORD timeout;
    std::string answer;  // a request's data; "" for none
    DWORD flags;         // *result of a poke or execute
    UINT error;
  } cases[] = {
      {XTYP_REQUEST, L"data", "", 5000, "dades", 0, DMLERR_NO_ERROR},
      {XTYP_REQUEST, L"other", "", 5000, "", 0, DMLERR_NOTPROCESSED},
      {XTYP_POKE, L"data", "nou", 5000, "", DDE_FACK, DMLERR_NO_ERROR},
      {XTYP_POKE, L"other", "vell", 5000, "", DDE_FNOTPROCESSED, DMLERR_NOTPROCESSED},
      {XTYP_EXECUTE, nullptr, "[Obrir]", 5000, "", DDE_FACK, DMLERR_NO_ERROR},
      {XTYP_POKE, L"data", "mai", 0, "", 0x5A5A, DMLERR_INVALIDPARAMETER},
  };
  for (const auto& c : cases) {
    const std::string label = std::to_string(&c - cases);
    HSZ item = c.item != nullptr ? DdeCreateStringHandleW(m_client, c.item, CP_WINUNICODE) : nullptr;
    std::string sent = c.sent;
    DWORD result = 0x5A5A;
    const HDDEDATA answer =
        DdeClientTransaction(reinterpret_cast<LPBYTE>(sent.data()), static_cast<DWORD>(sent.size()), m_conversation,
                             item, CF_TEXT, c.type, c.timeout, &result);
    EXPECT_EQ(DdeGetLastError(m_client), c.error) << label;
    if (c.type == XTYP_REQUEST) {
      EXPECT_EQ(answer != nullptr ? Bytes(answer) : "", c.answer) << label;
      if (answer != nullptr) {
        EXPECT_TRUE(DdeFreeDataHandle(answer)) << label;
      }
    } else {
      EXPECT_EQ(answer != nullptr, c.error == DMLERR_NO_ERROR) << label;
      EXPECT_EQ(result, c.flags) << label;
    }
    if (item != nullptr) DdeFreeStringHandle(m_client, item);
  }
  EXPECT_EQ(g_served.deliveries,
            (std::vector<std::string>{"poke data|nou", "poke other|vell", "execute|[Obrir]"}));
}

// The server hears of the end of the conversation without the client waiting,
// and the conversation takes no transaction after it.
TEST_F(DdeSameThread, TheServerHearsOfADisconnect) {
  EXPECT_TRUE(DdeDisconnect(m_conversation));
  EXPECT_TRUE(kwtest::Eventually([] { return g_served.disconnects == 1; }, PumpMessages));
  EXPECT_EQ(DdeClientTransaction(nullptr, 0, m_conversation, nullptr, CF_TEXT, XTYP_EXECUTE, 5000, nullptr), nullptr);
}

}  // namespace
