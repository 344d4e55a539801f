// Scope guards that change one attribute of a CDC and put the previous value back
// when they go. Guards nested on the same attribute restore in reverse order: the
// inner one first, so the outer value comes back before the one that stood before
// both. A copied guard restores as well (both copies do).
#pragma once

#include <kwlib63/framework/dc.h>
#include <kwlib63/framework/export.h>

class KW_API CDCAttribSelector {
 public:
  explicit CDCAttribSelector(CDC* dc) : m_pDC(dc) {}
  virtual ~CDCAttribSelector() { m_pDC = nullptr; }
  CDCAttribSelector(const CDCAttribSelector&) = default;
  CDCAttribSelector& operator=(const CDCAttribSelector&) = default;

  CDC* m_pDC;
};

// Selects an object; a null object selects nothing and restores nothing. With
// `bDelete`, the guard's own object is deleted once it is displaced again.
class KW_API CDCSelectObject : public CDCAttribSelector {
 public:
  CDCSelectObject(CDC* dc, CGdiObject* object, int bDelete);
  ~CDCSelectObject() override;
  CDCSelectObject(const CDCSelectObject&) = default;
  CDCSelectObject& operator=(const CDCSelectObject&) = default;

  CGdiObject* m_pOldObject;
  int m_bDelete;
};

class KW_API CDCSelectStockObject : public CDCSelectObject {
 public:
  CDCSelectStockObject(CDC* dc, int stockId) : CDCSelectObject(dc, CGdiObject::FromStock(stockId), 0) {}
};

// The guards of one value: the setter's previous value is kept and set back.
template <typename Value, Value (CDC::*Set)(Value)>
class CDCSetValue : public CDCAttribSelector {
 public:
  CDCSetValue(CDC* dc, Value value) : CDCAttribSelector(dc), m_old(dc != nullptr ? (dc->*Set)(value) : Value{}) {}
  ~CDCSetValue() override {
    if (m_pDC != nullptr) (m_pDC->*Set)(m_old);
  }
  CDCSetValue(const CDCSetValue&) = default;
  CDCSetValue& operator=(const CDCSetValue&) = default;

  Value m_old;
};

using CDCSetROP2 = CDCSetValue<int, &CDC::SetROP2>;
using CDCSetPolyFillMode = CDCSetValue<int, &CDC::SetPolyFillMode>;
using CDCSetTextColor = CDCSetValue<COLORREF, &CDC::SetTextColor>;
using CDCSetTextAlign = CDCSetValue<UINT, &CDC::SetTextAlign>;
using CDCSetBkColor = CDCSetValue<COLORREF, &CDC::SetBkColor>;
using CDCSetBkMode = CDCSetValue<int, &CDC::SetBkMode>;
