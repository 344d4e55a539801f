#include <kwlib63/system/conexiodde.h>

#include <cwchar>

#include <kwlib63/system/ddeinterface.h>

using namespace kwplat;

int TConexioDDE::Conectar(const wchar_t* serviceName, const wchar_t* topic, PFNCALLBACK callback) {
  if (m_idInst != 0) Desconectar();
  DdeInitializeW(&m_idInst, callback, CBF_SKIP_ALLNOTIFICATIONS, 0);
  if (TDDEInterface::CheckErrorDDE(m_idInst)) return 0;
  m_hszServei = DdeCreateStringHandleW(m_idInst, serviceName, CP_WINANSI);
  m_hszTopic = DdeCreateStringHandleW(m_idInst, topic, CP_WINANSI);
  return m_hszServei != nullptr && m_hszTopic != nullptr ? 1 : 0;
}

int TConexioDDE::Desconectar() {
  if (m_idInst != 0) {
    if (m_hszServei != nullptr) DdeFreeStringHandle(m_idInst, m_hszServei);
    if (m_hszTopic != nullptr) DdeFreeStringHandle(m_idInst, m_hszTopic);
    DdeUninitialize(m_idInst);
  }
  m_hszServei = nullptr;
  m_hszTopic = nullptr;
  m_idInst = 0;
  return 1;
}

int TConexioDDE::EnviarDades(const wchar_t* command) {
  if (!Conectat() || command == nullptr) return 0;
  HCONV conversation = DdeConnect(m_idInst, m_hszServei, m_hszTopic, nullptr);
  if (conversation == nullptr) return 0;
  if (TDDEInterface::CheckErrorDDE(m_idInst)) return 0;
  const auto size = static_cast<DWORD>((std::wcslen(command) + 1) * sizeof(wchar_t));
  HDDEDATA result = DdeClientTransaction(reinterpret_cast<LPBYTE>(const_cast<wchar_t*>(command)), size, conversation,
                                         nullptr, 0, XTYP_EXECUTE, TIMEOUT_ASYNC, nullptr);
  DdeFreeDataHandle(result);
  DdeDisconnect(conversation);
  return result != nullptr ? 1 : 0;
}

HDDEDATA TConexioDDE::DemanarDades(const wchar_t* item, unsigned long timeout) {
  if (!Conectat()) return nullptr;
  HCONV conversation = DdeConnect(m_idInst, m_hszServei, m_hszTopic, nullptr);
  if (conversation != nullptr) return nullptr;
  if (TDDEInterface::CheckErrorDDE(m_idInst)) return nullptr;
  HSZ hszItem = DdeCreateStringHandleW(m_idInst, item, CP_WINANSI);
  HDDEDATA result = DdeClientTransaction(nullptr, 0, conversation, hszItem, CF_TEXT, XTYP_REQUEST, timeout, nullptr);
  if (hszItem != nullptr) DdeFreeStringHandle(m_idInst, hszItem);
  if (result != nullptr) DdeFreeDataHandle(result);
  DdeDisconnect(conversation);
  return result;
}

int TConexioDDE::Conectat() const { return m_hszServei != nullptr && m_hszTopic != nullptr && m_idInst != 0 ? 1 : 0; }
