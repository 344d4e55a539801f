// TItem, the base of every item the containers hold, and CMoxelRTTI, the type
// record that each item class owns: a chain of parent records answering "is this
// item of that class or of a class derived from it" by numeric type id.
#pragma once

#include <cstddef>
#include <cstdio>

#include <kwlib63/framework/export.h>

class TItem;

// The type ids of the library's item classes. Ids are compared, never records:
// TLlistaCircular and TCrossList share 8 and a type test cannot tell them apart.
namespace kwtipus {
inline constexpr int TItem = 0;
inline constexpr int THash = 1;
inline constexpr int TLlista = 2;
inline constexpr int TPila = 5;
inline constexpr int TTaula = 6;
inline constexpr int TArbre = 7;
inline constexpr int TCrossList = 8;
inline constexpr int TLlistaCircular = 8;
inline constexpr int TCircularCrossList = 9;
inline constexpr int TBool = 10;
inline constexpr int TInt = 11;
inline constexpr int TFloat = 12;
inline constexpr int TChar = 14;
inline constexpr int THashItem = 20;
inline constexpr int TDouble = 31;
inline constexpr int TItemString = 200;
inline constexpr int TBlocOpcions = 13000;
}  // namespace kwtipus

// One static record per item class, constant after static initialisation.
class KW_API CMoxelRTTI {
 public:
  constexpr CMoxelRTTI(const CMoxelRTTI* parent, const char* className, int typeId, std::size_t instanceSize,
                       TItem* (*creator)())
      : m_pParent(parent), m_lpszClassName(className), m_nTipus(typeId), m_nMida(instanceSize), m_pfnCrear(creator) {}

  // 1 when this record or one of its ancestors has the type id, else 0.
  int EsTipus(int typeId) const;
  // The same test with `other`'s type id (0 when other is null).
  int EsTipus(const CMoxelRTTI* other) const;
  // A new default item from the record's factory (owned by the caller), or null
  // when the record has none.
  TItem* CrearItem() const;

  const CMoxelRTTI* m_pParent;   // null only for TItem
  const char* m_lpszClassName;   // ASCII
  int m_nTipus;
  std::size_t m_nMida;           // size of one instance, for AfxItemValid
  TItem* (*m_pfnCrear)();
};

class KW_API TItem {
 public:
  static CMoxelRTTI m_rttiTItem;

  TItem() = default;
  TItem(const TItem&) {}
  explicit TItem(const TItem*) {}
  TItem& operator=(const TItem&) { return *this; }

  // The virtual operations, in the order of the item's interface.
  virtual ~TItem();
  // A new copy owned by the caller; the base has none and returns null.
  virtual TItem* Duplicar() const;
  virtual CMoxelRTTI* GetRTTI() const;
  // Non-zero when the item is empty; the base never is.
  virtual int EsBuit() const;
  // 1 exactly when Comparar(other) is 0.
  virtual int Iguals(const TItem* other) const;
  // Three-way comparison; the base finds every pair equal.
  virtual int Comparar(const TItem* other) const;
  // The item's own stream form; -2 when the class has none (the base).
  virtual int Guardar(std::FILE* file) const;
  virtual int Llegir(std::FILE* file);

  int EsTipus(int typeId) const;
  int EsTipus(const CMoxelRTTI* record) const;
  int QueSoc() const;
  // The class name as wide text, valid for the life of the process.
  const wchar_t* GetNomClasse() const;
};

// `item` when its record chain holds `record`'s type id, else null (also for a
// null item).
KW_API TItem* AfxTestClasseItem(const TItem* item, const CMoxelRTTI* record);

// A debugging test: 0 for null or unreadable memory; otherwise EsTipus(2000).
// No library class has that id, so the answer is 0 for all of them; only a
// client class whose chain holds a record with id 2000 passes.
KW_API int AfxItemValid(const TItem* item);
