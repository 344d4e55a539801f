// TDDEInterface between two processes on a private bus: kwlib's DDE server and
// client on the other side.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/dde.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/system/ddeinterface.h>

#include "support/eventually.h"
#include "support/privatebus.h"
#include "support/recorders.h"
#include "support/tempdir.h"

namespace {

// Serves this thread's DDE messages while a test waits for another process.
void PumpMessages() {
  while (kwplat::HasPendingMessage()) kwplat::PumpOneMessage(nullptr);
}

// kwlib run with its output going to a file.
class Kwlib {
 public:
  explicit Kwlib(const std::vector<std::string>& args) {
    m_pid = fork();
    if (m_pid == 0) {
      const int fd = open(m_dir.At("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(fd, 1);
      dup2(fd, 2);
      std::vector<char*> argv = {const_cast<char*>(KWTEST_KWLIB), const_cast<char*>("dde")};
      for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(KWTEST_KWLIB, argv.data());
      _exit(127);
    }
  }
  ~Kwlib() { Kill(); }
  Kwlib(const Kwlib&) = delete;
  Kwlib& operator=(const Kwlib&) = delete;

  std::string Output() const {
    std::ifstream in(m_dir.At("out"));
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  // Waits for `text` in the output.
  bool Prints(const std::string& text) const {
    return kwtest::Eventually([&] { return Output().find(text) != std::string::npos; });
  }
  // The exit status, pumping this thread's messages (its DDE server) meanwhile.
  int Finish() {
    int status = 0;
    if (m_pid > 0 && !kwtest::Eventually([&] { return waitpid(m_pid, &status, WNOHANG) != 0; }, PumpMessages)) {
      Kill();
      return -1;
    }
    m_pid = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void Kill() {
    if (m_pid <= 0) return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
    m_pid = 0;
  }

 private:
  kwtest::TempDir m_dir{"kwdde"};
  pid_t m_pid;
};

// A server that records what it is told; the callback reaches the one instance.
class Recording : public TDDEInterface {
 public:
  Recording() : TDDEInterface(L"Prova", L"Sistema", &Callback) { s_current = this; }
  ~Recording() override { s_current = nullptr; }
  int COM_Execute(const wchar_t* command, const wchar_t* topic) override {
    executes.push_back(std::wstring(topic) + L"|" + (command != nullptr ? command : L""));
    return 1;
  }
  int COM_Register(const wchar_t* serviceName) override {
    registered.push_back(serviceName);
    return 1;
  }
  std::vector<std::wstring> executes, registered;

 private:
  static HDDEDATA Callback(UINT type, UINT format, HCONV conversation, HSZ hsz1, HSZ hsz2, HDDEDATA data,
                           ULONG_PTR data1, ULONG_PTR data2) {
    return s_current->ProcessarCallback(type, format, conversation, hsz1, hsz2, data, data1, data2);
  }
  static inline Recording* s_current = nullptr;
};

TEST(TDDEInterface, ExecutesReachTheServerOfAnotherProcess) {
  kwtest::PrivateBus bus;
  Kwlib server({"serve", "Prova", "Sistema", "Dades"});
  ASSERT_TRUE(server.Prints("serving Prova")) << server.Output();

  Recording client;
  const int slot = client.Conectar(L"PROVA", L"dades");
  ASSERT_EQ(slot, 0);
  EXPECT_EQ(client.EnviarDades(slot, L"obrir fitxer"), 1);
  EXPECT_TRUE(server.Prints("Dades: obrir fitxer\n")) << server.Output();

  // Only a topic the server has is a conversation.
  kwtest::MessageBoxRecorder boxes;
  const int other = client.Conectar(L"Prova", L"Absent");
  ASSERT_EQ(other, 1);
  EXPECT_EQ(client.EnviarDades(other, L"x"), 0);
  EXPECT_EQ(client.DemanarDades(other, L"x", 1000), nullptr);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].caption, L" DDE_ERROR ");
  EXPECT_EQ(boxes.boxes[0].text, L"No se estableció conversación");
  EXPECT_EQ(boxes.boxes[0].type, static_cast<UINT>(MB_ICONWARNING));
}

TEST(TDDEInterface, ServesExecutesAndRegistrationsOfAnotherProcess) {
  kwtest::PrivateBus bus;
  Recording server;
  // An eleventh topic is refused; a name already there takes another slot.
  for (const wchar_t* topic : {L"Dades", L"Dades", L"Vell", L"T4", L"T5", L"T6", L"T7", L"T8", L"T9"}) {
    EXPECT_EQ(server.AfegirNouTopic(topic), 1);
  }
  EXPECT_EQ(server.AfegirNouTopic(L"Onze"), 0);
  ASSERT_EQ(server.InitServidor(), 1);
  EXPECT_EQ(server.BorrarTopic(L"VELL"), 1);
  EXPECT_EQ(server.BorrarTopic(L"Vell"), 0);

  EXPECT_EQ(Kwlib({"execute", "prova", "DADES", "imprimir"}).Finish(), 0);
  ASSERT_EQ(server.executes.size(), 1u);
  EXPECT_EQ(server.executes[0], L"Dades|imprimir");
  Kwlib removed({"execute", "Prova", "Vell", "x"});
  EXPECT_EQ(removed.Finish(), 1);
  EXPECT_NE(removed.Output().find(" DDE_ERROR : No se estableció conversación"), std::string::npos)
      << removed.Output();
  EXPECT_EQ(Kwlib({"request", "Prova", "Sistema", "Estat"}).Finish(), 1);  // the default answer is no data

  // Another server's registration reaches this one.
  Kwlib other({"serve", "Altre", "T"});
  ASSERT_TRUE(other.Prints("serving Altre"));
  kwtest::Eventually([&] { return !server.registered.empty(); }, PumpMessages);
  EXPECT_EQ(server.registered, std::vector<std::wstring>{L"altre"});
  EXPECT_EQ(server.DoneServidor(), 1);
  EXPECT_EQ(server.m_idInst, 0u);
}

TEST(TDDEInterface, AServerThatDiesIsReportedOnTheNextTransaction) {
  kwtest::PrivateBus bus;
  Kwlib server({"serve", "--reply", "hola", "Prova", "Sistema"});
  ASSERT_TRUE(server.Prints("serving Prova"));
  DWORD instance = 0;
  ASSERT_EQ(kwplat::DdeInitializeW(&instance, [](UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) {
    return static_cast<HDDEDATA>(nullptr);
  }, APPCMD_CLIENTONLY, 0), DMLERR_NO_ERROR);
  HSZ service = kwplat::DdeCreateStringHandleW(instance, L"Prova", CP_WINANSI);
  HSZ topic = kwplat::DdeCreateStringHandleW(instance, L"Sistema", CP_WINANSI);
  HSZ item = kwplat::DdeCreateStringHandleW(instance, L"Estat", CP_WINANSI);
  HCONV conversation = kwplat::DdeConnect(instance, service, topic, nullptr);
  ASSERT_NE(conversation, nullptr);
  HDDEDATA answer = kwplat::DdeClientTransaction(nullptr, 0, conversation, item, CF_UNICODETEXT, XTYP_REQUEST, 5000,
                                                 nullptr);
  ASSERT_NE(answer, nullptr) << kwplat::DdeGetLastError(instance);
  wchar_t text[16] = {};
  EXPECT_EQ(kwplat::DdeGetData(answer, reinterpret_cast<LPBYTE>(text), sizeof text, 0), 5 * sizeof(wchar_t));
  EXPECT_STREQ(text, L"hola");
  kwplat::DdeFreeDataHandle(answer);

  server.Kill();
  EXPECT_EQ(kwplat::DdeClientTransaction(nullptr, 0, conversation, item, CF_UNICODETEXT, XTYP_REQUEST, 5000, nullptr),
            nullptr);
  EXPECT_EQ(kwplat::DdeGetLastError(instance), DMLERR_SERVER_DIED);
  EXPECT_EQ(kwplat::DdeGetLastError(instance), DMLERR_NO_ERROR);  // read once
  kwplat::DdeDisconnect(conversation);
  kwplat::DdeUninitialize(instance);
}

TEST(TDDEInterface, OnlyTheFirstTenSlotsAreHandedOut) {
  kwtest::PrivateBus bus;
  Recording client;
  for (int i = 0; i < 10; ++i) EXPECT_EQ(client.Conectar(L"Ningu", L"Res"), i);
  EXPECT_EQ(client.Conectar(L"Ningu", L"Res"), -1);
  EXPECT_EQ(client.m_Conexions[10].Conectat(), 0);
  EXPECT_EQ(client.EnviarDades(30, L"x"), 0);
  EXPECT_EQ(client.EnviarDades(-1, L"x"), 0);
  EXPECT_EQ(client.DemanarDades(30, L"x", 100), nullptr);
  EXPECT_EQ(client.Desconectar(30), 0);
  EXPECT_EQ(client.Desconectar(3), 1);
  EXPECT_EQ(client.Conectar(L"Ningu", L"Res"), 3);
}

TEST(TDDEInterface, ErrorsAreShownWithTheirCaptions) {
  kwtest::MessageBoxRecorder boxes;
  EXPECT_EQ(TDDEInterface::CheckErrorDDE(0), 1);  // no instance
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].caption, L" DDE_ERROR ");
  EXPECT_EQ(boxes.boxes[0].text, L"DLL no inicializada");
}

}  // namespace
