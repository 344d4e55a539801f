#include <kwlib63/system/ddeinterface.h>

#include <vector>

#include <kwlib63/platform/messagebox.h>

using namespace kwplat;

namespace {

struct ErrorText {
  UINT code;
  const wchar_t* text;
};

constexpr ErrorText kErrors[] = {
    {DMLERR_ADVACKTIMEOUT, L"ADV ACK TIMEOUT"},
    {DMLERR_BUSY, L"Servidor Ocupado"},
    {DMLERR_DATAACKTIMEOUT, L"DATA ACK TIMEOUT"},
    {DMLERR_DLL_NOT_INITIALIZED, L"DLL no inicializada"},
    {DMLERR_DLL_USAGE, L"DLL_USAGE"},
    {DMLERR_EXECACKTIMEOUT, L"EXEC ACK TIMEOUT"},
    {DMLERR_INVALIDPARAMETER, L"InvalidParameter"},
    {DMLERR_MEMORY_ERROR, L"Error de Memoria"},
    {DMLERR_NOTPROCESSED, L"No procesó transacción"},
    {DMLERR_NO_CONV_ESTABLISHED, L"No se estableció conversación"},
    {DMLERR_POKEACKTIMEOUT, L"POKE ACK ERROR"},
    {DMLERR_POSTMSG_FAILED, L"Fallo en PostMessage"},
    {DMLERR_REENTRANCY, L"Reentrancy error"},
    {DMLERR_SERVER_DIED, L"Servidor a muerto"},
    {DMLERR_SYS_ERROR, L"Sys Error"},
    {DMLERR_UNADVACKTIMEOUT, L"UNADV ACK TIMEOUT"},
};

HDDEDATA AsData(std::uintptr_t value) { return reinterpret_cast<HDDEDATA>(value); }

bool ValidSlot(int slot) { return slot >= 0 && slot < TDDEInterface::kConnections; }

}  // namespace

TDDEInterface::TDDEInterface(PFNCALLBACK callback) : m_pfnCallback(callback) {}

TDDEInterface::TDDEInterface(const wchar_t* serviceName, const wchar_t* firstTopic, PFNCALLBACK callback)
    : m_strServei(serviceName), m_pfnCallback(callback) {
  m_strTopics[0] = firstTopic;
}

TDDEInterface::~TDDEInterface() {
  DoneServidor();
  for (TConexioDDE& connection : m_Conexions) connection.Desconectar();
}

int TDDEInterface::COM_Execute(const wchar_t*, const wchar_t*) { return 1; }
int TDDEInterface::COM_Register(const wchar_t*) { return 1; }
HDDEDATA TDDEInterface::COM_Request(unsigned int, const wchar_t*) { return AsData(1); }

int TDDEInterface::CheckErrorDDE(unsigned long idInst) {
  const UINT error = DdeGetLastError(static_cast<DWORD>(idInst));
  if (error == DMLERR_NO_ERROR) return 0;
  const wchar_t* caption = L" ERROR ";
  const wchar_t* text = L"ERROR DESCONEGUT";
  for (const ErrorText& e : kErrors) {
    if (e.code == error) {
      caption = L" DDE_ERROR ";
      text = e.text;
    }
  }
  MessageBoxW(nullptr, text, caption, MB_ICONWARNING);
  return 1;
}

int TDDEInterface::InitServidor() {
  DdeInitializeW(&m_idInst, m_pfnCallback, APPCLASS_STANDARD, 0);
  if (CheckErrorDDE(m_idInst)) return 0;
  m_hszServei = DdeCreateStringHandleW(m_idInst, m_strServei, CP_WINANSI);
  DdeNameService(m_idInst, m_hszServei, nullptr, DNS_REGISTER);
  if (CheckErrorDDE(m_idInst)) return 0;
  for (int i = 0; i < kTopics; ++i) {
    if (m_strTopics[i].IsEmpty()) continue;
    m_hszTopics[i] = DdeCreateStringHandleW(m_idInst, m_strTopics[i], CP_WINANSI);
    if (m_hszTopics[i] == nullptr) return 0;
  }
  return 1;
}

int TDDEInterface::DoneServidor() {
  if (m_idInst == 0) return 1;
  DdeNameService(m_idInst, m_hszServei, nullptr, DNS_UNREGISTER);
  for (HSZ& topic : m_hszTopics) {
    if (topic != nullptr) DdeFreeStringHandle(m_idInst, topic);
    topic = nullptr;
  }
  if (m_hszServei != nullptr) DdeFreeStringHandle(m_idInst, m_hszServei);
  m_hszServei = nullptr;
  DdeUninitialize(m_idInst);
  m_idInst = 0;
  return 1;
}

int TDDEInterface::AfegirNouTopic(const wchar_t* topic) {
  const int slot = BuscarTopicLliure();
  if (slot < 0) return 0;
  m_strTopics[slot] = topic;
  if (m_idInst == 0) return 1;
  m_hszTopics[slot] = DdeCreateStringHandleW(m_idInst, topic, CP_WINANSI);
  return m_hszTopics[slot] != nullptr ? 1 : 0;
}

int TDDEInterface::BorrarTopic(const wchar_t* topic) {
  for (int i = 0; i < kTopics; ++i) {
    if (m_strTopics[i].CompareNoCase(topic) != 0) continue;
    if (m_hszTopics[i] != nullptr) DdeFreeStringHandle(m_idInst, m_hszTopics[i]);
    m_hszTopics[i] = nullptr;
    m_strTopics[i].Empty();
    return 1;
  }
  return 0;
}

int TDDEInterface::Conectar(const wchar_t* serviceName, const wchar_t* topic) {
  const int slot = BuscarConexioLliure();
  if (slot < 0) return -1;
  return m_Conexions[slot].Conectar(serviceName, topic, m_pfnCallback) ? slot : -1;
}

int TDDEInterface::EnviarDades(int slot, const wchar_t* command) {
  if (!ValidSlot(slot) || !m_Conexions[slot].Conectat()) return 0;
  return m_Conexions[slot].EnviarDades(command);
}

HDDEDATA TDDEInterface::DemanarDades(int slot, const wchar_t* item, unsigned long timeout) {
  if (!ValidSlot(slot) || !m_Conexions[slot].Conectat()) return nullptr;
  return m_Conexions[slot].DemanarDades(item, timeout);
}

int TDDEInterface::Desconectar(int slot) { return ValidSlot(slot) ? m_Conexions[slot].Desconectar() : 0; }

int TDDEInterface::BuscarTopicLliure() const {
  for (int i = 0; i < kTopics; ++i) {
    if (m_strTopics[i].IsEmpty()) return i;
  }
  return -1;
}

int TDDEInterface::BuscarConexioLliure() const {
  // Only the first ten slots are ever handed out, by design.
  for (int i = 0; i < 10; ++i) {
    if (!m_Conexions[i].Conectat()) return i;
  }
  return -1;
}

CString TDDEInterface::Text(HSZ handle) const {
  const DWORD length = DdeQueryStringW(m_idInst, handle, nullptr, 0, CP_WINANSI);
  std::vector<wchar_t> text(length + 1);
  DdeQueryStringW(m_idInst, handle, text.data(), length + 1, CP_WINANSI);
  return CString(text.data());
}

HDDEDATA TDDEInterface::ProcessarCallback(UINT type, UINT format, HCONV, HSZ hsz1, HSZ hsz2, HDDEDATA data, ULONG_PTR,
                                          ULONG_PTR) {
  switch (type) {
    case XTYP_REGISTER:
      COM_Register(Text(hsz1));
      return AsData(1);
    case XTYP_CONNECT:
      for (HSZ topic : m_hszTopics) {
        if (topic == hsz1) return AsData(1);
      }
      return nullptr;
    case XTYP_WILDCONNECT: {
      std::vector<HSZPAIR> pairs;
      for (HSZ topic : m_hszTopics) {
        if (hsz1 == nullptr || topic == hsz1) pairs.push_back({m_hszServei, topic});
      }
      pairs.push_back({nullptr, nullptr});
      return DdeCreateDataHandle(m_idInst, reinterpret_cast<LPBYTE>(pairs.data()),
                                 static_cast<DWORD>(pairs.size() * sizeof(HSZPAIR)), 0, nullptr, 0, 0);
    }
    case XTYP_REQUEST:
      return COM_Request(format, Text(hsz2));
    case XTYP_EXECUTE: {
      const DWORD size = DdeGetData(data, nullptr, 0, 0);
      // One wide character more, zeroed: a command that came without its
      // terminator still ends.
      std::vector<wchar_t> command;
      if (size > 0) {
        command.assign(size / sizeof(wchar_t) + 2, L'\0');
        DdeGetData(data, reinterpret_cast<LPBYTE>(command.data()), size, 0);
      }
      int slot = 0;
      for (int i = 0; i < kTopics; ++i) {
        if (m_hszTopics[i] == hsz1) {
          slot = i;
          break;
        }
      }
      const int handled = COM_Execute(command.empty() ? nullptr : command.data(), m_strTopics[slot]);
      DdeUnaccessData(data);
      return handled > 0 ? AsData(DDE_FACK) : nullptr;
    }
    default:
      return nullptr;
  }
}
