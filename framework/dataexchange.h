// CDataExchange: one exchange between a dialog's controls, found by id among its
// window's controls, and the dialog's values, in one direction.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wnd.h>

class KW_API CDataExchange {
 public:
  CDataExchange(CWnd* dialog, BOOL saveAndValidate) : m_bSaveAndValidate(saveAndValidate), m_pDlgWnd(dialog) {}

  // The control's handle (remembered as the last control), or null when the
  // dialog has no control `id`.
  HWND PrepareCtrl(int id);
  // The same for an edit control.
  HWND PrepareEditCtrl(int id);

  BOOL m_bSaveAndValidate;  // TRUE: controls to values
  CWnd* m_pDlgWnd;
  int m_idLastControl = 0;
  BOOL m_bEditLastControl = FALSE;
};
