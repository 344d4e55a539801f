#include <kwlib63/framework/dataexchange.h>

HWND CDataExchange::PrepareCtrl(int id) {
  CWnd* control = m_pDlgWnd != nullptr ? m_pDlgWnd->GetDlgItem(id) : nullptr;
  m_idLastControl = id;
  m_bEditLastControl = FALSE;
  return control != nullptr ? control->GetSafeHwnd() : nullptr;
}

HWND CDataExchange::PrepareEditCtrl(int id) {
  HWND control = PrepareCtrl(id);
  m_bEditLastControl = TRUE;
  return control;
}
