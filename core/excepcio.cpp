#include <kwlib63/core/excepcio.h>

#include <cwchar>
#include <new>

#include <kwlib63/core/loadstring.h>
#include <kwlib63/core/moxelmessagebox.h>
#include <kwlib63/res/resource.h>

IMPLEMENT_DYNAMIC(CMoxelExcepcio, CException)

CMoxelExcepcio::CMoxelExcepcio(int code, const wchar_t* message, const wchar_t* module)
    : CException(TRUE), m_nCodi(code), m_sMissatge(message), m_sModul(module != nullptr && *module != 0 ? module : L"?") {}

BOOL CMoxelExcepcio::GetErrorMessage(LPTSTR buffer, UINT maxChars, PUINT /*helpContext*/) {
  CString category;
  if (m_nCodi == -1) {
    category = AfxLoadString(IDS_EXCEPCIO_MEMORIA);
  } else if (m_nCodi == -2) {
    category = AfxLoadString(IDS_EXCEPCIO_NOSUPORTADA);
  } else {
    category = L"?";
  }
  const CString text = m_sMissatge.IsEmpty()
                           ? AfxFormatString(IDS_EXCEPCIO, m_nCodi, category.GetString(), m_sModul.GetString())
                           : AfxFormatString(IDS_EXCEPCIO_MISSATGE, m_nCodi, category.GetString(), m_sModul.GetString(),
                                             m_sMissatge.GetString());
  // The original writes without a bound; the buffer's size is honoured here.
  if (buffer != nullptr && maxChars > 0) {
    const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(text.GetLength()), maxChars - 1);
    std::wmemcpy(buffer, text.GetString(), n);
    buffer[n] = 0;
  }
  return 1;
}

int CMoxelExcepcio::ReportError(UINT type, UINT /*messageId*/) {
  wchar_t text[1024];
  if (GetErrorMessage(text, 1024, nullptr) == 0) return 0;
  return AfxMoxelMessageBox(text, type, 0, nullptr);
}

void AfxThrowMoxelExcepcio(int code, const wchar_t* message, const wchar_t* module) {
  CMoxelExcepcio* e = nullptr;
  try {
    e = new CMoxelExcepcio(code, message, module);
  } catch (const std::bad_alloc&) {
  } catch (CMemoryException* inner) {
    inner->Delete();
  }
  throw e;
}

void AfxThrowMoxelExcepcio(const wchar_t* message, const wchar_t* module, int code) {
  AfxThrowMoxelExcepcio(code, message, module);
}

void AfxThrowCancel(const wchar_t* message, const wchar_t* module) { AfxThrowMoxelExcepcio(message, module, -5); }

void AfxDumpExcepcio(CDumpContext& dump, CException* e, const wchar_t* message, const wchar_t* where) {
  if (e != nullptr) {
    wchar_t text[1024];
    e->GetErrorMessage(text, 1023, nullptr);
  }
  dump << L"Excepció a [" << (where != nullptr ? where : L"(desconegut)") << L"]"
       << (message != nullptr ? message : L"(msg desconegut)") << L"\n";
}
