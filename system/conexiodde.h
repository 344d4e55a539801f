// TConexioDDE: one client connection of TDDEInterface, with a DDE instance of its
// own; it opens a conversation for each transaction and closes it afterwards.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/dde.h>

class KW_API TConexioDDE {
 public:
  TConexioDDE() = default;
  virtual ~TConexioDDE() = default;

  // Starts a new instance (ending the one it had) without notifications, and makes
  // the service and topic handles; 1 when both exist, 0 on a pending error.
  int Conectar(const wchar_t* serviceName, const wchar_t* topic, PFNCALLBACK callback);
  // Frees the handles and ends the instance; always 1.
  int Desconectar();
  // Sends `command` (with its terminator) as an asynchronous execute; 1 when it
  // was sent. A pending error after connecting returns 0 and leaves the
  // conversation open.
  int EnviarDades(const wchar_t* command);
  // Kept as it has always been: an open conversation returns null at once (and
  // stays open); otherwise, with no error pending, the request goes to a null
  // conversation. It never delivers data.
  HDDEDATA DemanarDades(const wchar_t* item, unsigned long timeout);
  int Conectat() const;

  HSZ m_hszServei = nullptr;
  HSZ m_hszTopic = nullptr;
  DWORD m_idInst = 0;
};
