// kwlib dde: a DDE server that prints the executes it receives and answers
// requests, and the client calls that talk to one.
#include <glib-unix.h>

#include <cwchar>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/dde.h>
#include <kwlib63/platform/messagequeue.h>
#include <kwlib63/system/ddeinterface.h>

#include "command.h"
#include "dispatch.h"

namespace {

class Server : public TDDEInterface {
 public:
  Server(const std::wstring& service, const std::vector<std::wstring>& topics, std::wstring reply, std::ostream& out)
      : TDDEInterface(service.c_str(), topics[0].c_str(), &Callback), m_reply(std::move(reply)), m_out(out) {
    s_server = this;
    for (std::size_t i = 1; i < topics.size(); ++i) AfegirNouTopic(topics[i].c_str());
  }
  ~Server() override { s_server = nullptr; }

  int COM_Execute(const wchar_t* command, const wchar_t* topic) override {
    m_out << kwfw::WideToUtf8(topic) << ": " << kwfw::WideToUtf8(command != nullptr ? command : L"") << std::endl;
    return 1;
  }
  HDDEDATA COM_Request(unsigned int format, const wchar_t*) override {
    if (format == CF_UNICODETEXT) {
      return kwplat::DdeCreateDataHandle(m_idInst, reinterpret_cast<LPBYTE>(m_reply.data()),
                                         static_cast<DWORD>((m_reply.size() + 1) * sizeof(wchar_t)), 0, nullptr,
                                         format, 0);
    }
    std::string text = kwfw::WideToUtf8(m_reply);
    return kwplat::DdeCreateDataHandle(m_idInst, reinterpret_cast<LPBYTE>(text.data()),
                                       static_cast<DWORD>(text.size() + 1), 0, nullptr, format, 0);
  }

 private:
  static HDDEDATA Callback(UINT type, UINT format, HCONV conversation, HSZ hsz1, HSZ hsz2, HDDEDATA data,
                           ULONG_PTR data1, ULONG_PTR data2) {
    return s_server != nullptr ? s_server->ProcessarCallback(type, format, conversation, hsz1, hsz2, data, data1, data2)
                               : nullptr;
  }

  static inline Server* s_server = nullptr;
  std::wstring m_reply;
  std::ostream& m_out;
};

gboolean Quit(gpointer) {
  kwplat::PostQuitMessage(0);
  return G_SOURCE_REMOVE;
}

// serve SERVICE TOPIC...; the table allows as many topics as the interface holds.
int Serve(const std::vector<std::string>& words, const kwlib::Call& call) {
  std::ostream& out = call.out;
  const kwlib::Arguments& arguments = call.arguments;
  if (arguments.values.size() > 1) throw kwlib::UsageError("give one --reply or --reply-file");
  std::wstring reply = L"ok";
  if (const auto text = arguments.Value("--reply")) reply = kwfw::Utf8ToWide(*text);
  if (const auto name = arguments.Value("--reply-file")) {
    std::ifstream file(*name, std::ios::binary);
    if (!file) throw kwlib::UsageError("cannot read '" + *name + "'");
    std::ostringstream text;
    text << file.rdbuf();
    reply = kwfw::Utf8ToWide(text.str());
  }
  std::vector<std::wstring> topics;
  for (std::size_t i = 1; i < words.size(); ++i) topics.push_back(kwfw::Utf8ToWide(words[i]));
  Server server(kwfw::Utf8ToWide(words[0]), topics, reply, out);
  if (!server.InitServidor()) return kwlib::kExitFailure;
  out << "serving " << words[0] << std::endl;
  g_unix_signal_add(SIGINT, Quit, nullptr);
  g_unix_signal_add(SIGTERM, Quit, nullptr);
  int code = 0;
  while (kwplat::PumpOneMessage(&code)) {
  }
  return kwlib::kExitOk;
}

HDDEDATA IgnoreNotifications(UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) { return nullptr; }

// One execute or request (SERVICE TOPIC TEXT) on a conversation of its own; errors
// are told as the library tells them.
int Transact(bool execute, const std::vector<std::string>& words, std::ostream& out) {
  DWORD instance = 0;
  if (kwplat::DdeInitializeW(&instance, IgnoreNotifications, APPCMD_CLIENTONLY | CBF_SKIP_ALLNOTIFICATIONS, 0) !=
      DMLERR_NO_ERROR) {
    TDDEInterface::CheckErrorDDE(instance);
    return kwlib::kExitFailure;
  }
  const std::wstring service = kwfw::Utf8ToWide(words[0]), topic = kwfw::Utf8ToWide(words[1]);
  std::wstring text = kwfw::Utf8ToWide(words[2]);
  HSZ hszService = kwplat::DdeCreateStringHandleW(instance, service.c_str(), CP_WINUNICODE);
  HSZ hszTopic = kwplat::DdeCreateStringHandleW(instance, topic.c_str(), CP_WINUNICODE);
  HSZ hszItem = execute ? nullptr : kwplat::DdeCreateStringHandleW(instance, text.c_str(), CP_WINUNICODE);
  HCONV conversation = kwplat::DdeConnect(instance, hszService, hszTopic, nullptr);
  HDDEDATA result = nullptr;
  if (conversation != nullptr) {
    result = execute ? kwplat::DdeClientTransaction(reinterpret_cast<LPBYTE>(text.data()),
                                                     static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)),
                                                     conversation, nullptr, 0, XTYP_EXECUTE, 5000, nullptr)
                     : kwplat::DdeClientTransaction(nullptr, 0, conversation, hszItem, CF_UNICODETEXT, XTYP_REQUEST,
                                                    5000, nullptr);
  }
  const bool done = result != nullptr;
  if (!done) TDDEInterface::CheckErrorDDE(instance);
  if (done && !execute) {
    DWORD size = 0;
    const auto* answer = reinterpret_cast<const wchar_t*>(kwplat::DdeAccessData(result, &size));
    out << kwfw::WideToUtf8(std::wstring(answer, wcsnlen(answer, size / sizeof(wchar_t)))) << "\n";
    kwplat::DdeUnaccessData(result);
    kwplat::DdeFreeDataHandle(result);
  }
  if (conversation != nullptr) kwplat::DdeDisconnect(conversation);
  for (HSZ handle : {hszService, hszTopic, hszItem}) {
    if (handle != nullptr) kwplat::DdeFreeStringHandle(instance, handle);
  }
  kwplat::DdeUninitialize(instance);
  return done ? kwlib::kExitOk : kwlib::kExitFailure;
}

int Execute(const std::vector<std::string>& words, const kwlib::Call& call) { return Transact(true, words, call.out); }
int Request(const std::vector<std::string>& words, const kwlib::Call& call) { return Transact(false, words, call.out); }

const kwlib::SubCommand<> kTable[] = {
    {{"serve", 2, 1 + TDDEInterface::kTopics, "kwlib dde serve [--reply TEXT | --reply-file FILE] SERVICE TOPIC..."}, &Serve},
    {{"execute", 3, 3, "kwlib dde execute SERVICE TOPIC COMMAND"}, &Execute},
    {{"request", 3, 3, "kwlib dde request SERVICE TOPIC ITEM"}, &Request},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.valued = {"--reply", "--reply-file"}}, out, err);
}

KWLIB_COMMAND(kDde, "dde", "a DDE server and client on the session bus", kwlib::SyntaxOf(kTable),
              "serve registers SERVICE with up to ten topics, prints \"serving SERVICE\" once\n"
              "it is ready, then \"TOPIC: COMMAND\" for every execute it receives, and answers\n"
              "every request with TEXT (\"ok\" by default) or the contents of FILE, until it is\n"
              "interrupted. execute sends COMMAND to a topic of a server; request prints a\n"
              "server's answer for ITEM. Failures are told with the DDE error's text.\n"
              "KWLIB63_DDE_BUS names another bus than the session bus.\n",
              Run);

}  // namespace
