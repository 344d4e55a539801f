#include <kwlib63/ui/dcattribselector.h>

CDCSelectObject::CDCSelectObject(CDC* dc, CGdiObject* object, int bDelete)
    : CDCAttribSelector(dc),
      m_pOldObject(dc != nullptr ? dc->SelectObject(object) : nullptr),
      m_bDelete(bDelete) {}

CDCSelectObject::~CDCSelectObject() {
  if (m_pDC != nullptr && m_pOldObject != nullptr) {
    CGdiObject* displaced = m_pDC->SelectObject(m_pOldObject);
    if (m_bDelete && displaced != nullptr) displaced->DeleteObject();
  }
  m_pOldObject = nullptr;
}
