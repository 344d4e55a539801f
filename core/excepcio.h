// CMoxelExcepcio: the library's exception, with a code, a message and the name of
// the module that raised it. Thrown by pointer and released with Delete():
//
//   try { ... } catch (CMoxelExcepcio* e) {
//     if (!e->EsCancel()) e->ReportError();
//     e->Delete();
//   }
#pragma once

#include <kwlib63/framework/dumpcontext.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/export.h>

class KW_API CMoxelExcepcio : public CException {
  DECLARE_DYNAMIC(CMoxelExcepcio)
 public:
  // A null message gives an empty one; a null or empty module gives "?".
  CMoxelExcepcio(int code, const wchar_t* message, const wchar_t* module);

  // 1 exactly when the code is -5 (cancelled by the user).
  int EsCancel() const { return m_nCodi == -5 ? 1 : 0; }

  using CException::GetErrorMessage;
  // Writes the full text into `buffer` and returns 1, always. The text is cut to
  // `maxChars` units with the terminator; callers pass at least 1024.
  BOOL GetErrorMessage(LPTSTR buffer, UINT maxChars, PUINT helpContext = nullptr) override;
  // Shows the full text with AfxMoxelMessageBox in a box of style `type` and
  // returns its button; 0 when there is no text. `messageId` is not used.
  int ReportError(UINT type = MB_OK, UINT messageId = 0) override;

  int m_nCodi;
  CString m_sMissatge;
  CString m_sModul;
};

// Throw a new CMoxelExcepcio (a null pointer when it cannot be allocated).
[[noreturn]] KW_API void AfxThrowMoxelExcepcio(const wchar_t* message, const wchar_t* module, int code);
[[noreturn]] KW_API void AfxThrowMoxelExcepcio(int code, const wchar_t* message, const wchar_t* module);
// Code -5: the user cancelled.
[[noreturn]] KW_API void AfxThrowCancel(const wchar_t* message = nullptr, const wchar_t* module = nullptr);

// Writes "Excepció a [where]message\n" to `dump`, with "(desconegut)" for a null
// `where` and "(msg desconegut)" for a null message.
KW_API void AfxDumpExcepcio(CDumpContext& dump, CException* e, const wchar_t* message, const wchar_t* where);
