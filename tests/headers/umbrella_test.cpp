// The umbrella header is all a client needs: a class derived from CCmdRedirect,
// with nothing else of the library included, hears the start-failure report
// through its own override.
#include <kwlib63/kwlib63.h>

#include <gtest/gtest.h>

namespace {

class Client : public CCmdRedirect {
 public:
  ~Client() override {
    TerminateChildProcess();
    TerminateChildProcess();
  }
  void OnChildStdOutWrite(const wchar_t* text) override { m_out += text; }

  std::wstring m_out;
};

TEST(Umbrella, DerivesFromCCmdRedirect) {
  Client client;
  EXPECT_EQ(client.StartChildProcess(L"/nonexistent/program", FALSE, TRUE, nullptr), 0);
  EXPECT_EQ(client.m_out, L"Unable to start /nonexistent/program\n");
}

}  // namespace
