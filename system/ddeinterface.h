// TDDEInterface: a DDE server under one service name with up to ten topics, and a
// client through up to thirty connection slots (of which Conectar fills only the
// first ten). Applications derive from it, override the three COM_ handlers and
// give it a callback that forwards every call to ProcessarCallback. Every pending
// DDE error is shown in a message box by CheckErrorDDE.
#pragma once

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/dde.h>
#include <kwlib63/system/conexiodde.h>

class KW_API TDDEInterface {
 public:
  static constexpr int kTopics = 10;
  static constexpr int kConnections = 30;

  explicit TDDEInterface(PFNCALLBACK callback);
  TDDEInterface(const wchar_t* serviceName, const wchar_t* firstTopic, PFNCALLBACK callback);
  // Stops the server and disconnects every slot.
  virtual ~TDDEInterface();
  TDDEInterface(const TDDEInterface&) = delete;
  TDDEInterface& operator=(const TDDEInterface&) = delete;

  // An execute received on `topic`; positive to acknowledge it.
  virtual int COM_Execute(const wchar_t* command, const wchar_t* topic);
  // Another server registered `serviceName`.
  virtual int COM_Register(const wchar_t* serviceName);
  // The data answering a request (a data handle of this server's instance).
  virtual HDDEDATA COM_Request(unsigned int format, const wchar_t* item);

  // 1 when the server runs under its name with its topics; 0 on a pending error.
  int InitServidor();
  int DoneServidor();
  // Adds the topic in the first free slot (no duplicate check); 0 when all ten
  // are taken.
  int AfegirNouTopic(const wchar_t* topic);
  // Removes the first topic of that name, whatever its case; 0 when none.
  int BorrarTopic(const wchar_t* topic);

  // The slot connected to the service's topic, or -1.
  int Conectar(const wchar_t* serviceName, const wchar_t* topic);
  int EnviarDades(int slot, const wchar_t* command);
  HDDEDATA DemanarDades(int slot, const wchar_t* item, unsigned long timeout);
  int Desconectar(int slot);

  HDDEDATA ProcessarCallback(UINT type, UINT format, HCONV conversation, HSZ hsz1, HSZ hsz2, HDDEDATA data,
                             ULONG_PTR data1, ULONG_PTR data2);

  // Shows the instance's pending error, if any, and returns 1; 0 when none.
  static int CheckErrorDDE(unsigned long idInst);

  DWORD m_idInst = 0;
  CString m_strServei;
  CString m_strTopics[kTopics];
  PFNCALLBACK m_pfnCallback;
  HSZ m_hszServei = nullptr;
  HSZ m_hszTopics[kTopics] = {};
  TConexioDDE m_Conexions[kConnections];

 protected:
  int BuscarTopicLliure() const;
  int BuscarConexioLliure() const;

 private:
  // The text of a string handle of this server's instance.
  CString Text(HSZ handle) const;
};
