// Value items: one plain value wrapped in a TItem so that it can live in the
// containers. Only TInt and TItemString compare by value; the other four use the
// base comparison, so any two of them are equal and sorted containers treat them
// as ties. That is intended and kept.
#pragma once

#include <kwlib63/core/item.h>
#include <kwlib63/framework/export.h>

class KW_API TInt : public TItem {
 public:
  static CMoxelRTTI m_rttiTInt;
  TInt(int value = 0) : m_nValor(value) {}
  int Get() const { return m_nValor; }
  void Set(int value) { m_nValor = value; }
  // Add or subtract 1, wrapping in 32 bits.
  void Inc();
  void Dec();
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;
  // This value minus the other's, wrapping in 32 bits: not clamped, so values
  // more than 2^31 apart give the wrong sign (kept; callers depend on it).
  // `other` is taken to be a TInt.
  int Comparar(const TItem* other) const override;

 private:
  int m_nValor;
};

class KW_API TBool : public TItem {
 public:
  static CMoxelRTTI m_rttiTBool;
  TBool(int value = 1) : m_bValor(value) {}
  int Get() const { return m_bValor; }
  // Stored as given: 5 stays 5.
  void Set(int value) { m_bValor = value; }
  // 1 when the value was 0, else 0.
  void Swap() { m_bValor = m_bValor == 0 ? 1 : 0; }
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

 private:
  int m_bValor;
};

class KW_API TChar : public TItem {
 public:
  static CMoxelRTTI m_rttiTChar;
  TChar(wchar_t value = 0) : m_cValor(value) {}
  wchar_t Get() const { return m_cValor; }
  void Set(wchar_t value) { m_cValor = value; }
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

 private:
  wchar_t m_cValor;
};

class KW_API TFloat : public TItem {
 public:
  static CMoxelRTTI m_rttiTFloat;
  TFloat(float value = 0.0f) : m_fValor(value) {}
  float Get() const { return m_fValor; }
  void Set(float value) { m_fValor = value; }
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

 private:
  float m_fValor;
};

class KW_API TDouble : public TItem {
 public:
  static CMoxelRTTI m_rttiTDouble;
  TDouble(double value = 0.0) : m_dValor(value) {}
  double Get() const { return m_dValor; }
  void Set(double value) { m_dValor = value; }
  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

 private:
  double m_dValor;
};

// A wide string owned by the item, or null.
//
// Copying from a reference shares the array: both items then hold the same
// pointer (Agafar returns it for both), as callers of the original interface
// expect. The array is counted, so it lives until the last item holding it lets
// go of it; giving one item a new text leaves the other's unchanged. Copy text
// between items with the pointer constructor, Duplicar or assignment from text.
class KW_API TItemString : public TItem {
 public:
  static CMoxelRTTI m_rttiTItemString;

  // Deep copies; null stays null. Raise CMemoryException when memory is exhausted.
  TItemString(const wchar_t* text = nullptr);
  TItemString(const TItemString* other);
  // Shallow: shares `other`'s array.
  TItemString(const TItemString& other);
  TItemString& operator=(const TItemString& other);
  ~TItemString() override;

  // Let go of the current array and store a copy of `text` (null stays null). When
  // memory is exhausted, raise CMemoryException and leave the item null.
  void operator=(const wchar_t* text);
  void Insertar(const wchar_t* text);

  // The stored pointer itself (may be null).
  wchar_t* Agafar() const { return m_pString; }
  operator wchar_t*() const { return m_pString; }

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;
  // Code-unit order, case-sensitive; `other` is taken to be a TItemString. A null
  // string compares as an empty one.
  int Comparar(const TItem* other) const override;
  int operator==(const TItemString& other) const;

 private:
  wchar_t* m_pString = nullptr;
};
