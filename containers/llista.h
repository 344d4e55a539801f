// TLlista: the library's general container, an ordered sequence of owned TItem
// pointers in one growable array, with a cursor. TLlistaOrdenada keeps its items
// in the order of their own Comparar and finds them by binary search.
//
// The array grows and shrinks in granules of a step that adapts between 16 and
// 16384. Changes return 0, or -1 when the array cannot grow (the list unchanged).
// Positions given to Canviar, Eliminar, Treure and Posicionar are not checked.
//
// Copying from a reference is shallow: both lists then share one array. The array
// is counted, so it is released once, and its items are deleted only by the last
// list that holds it. A list that reallocates a shared array takes the items with
// it and leaves nulls behind for the other.
#pragma once

#include <kwlib63/core/item.h>
#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

class TIndicadorEstat;

class KW_API TLlista : public TItem {
 public:
  using COMPARA = int (*)(const TItem* a, const TItem* b, __int64 param);
  using VISITA = int (*)(TItem* item, int index, __int64 param);

  static CMoxelRTTI m_rttiTLlista;

  TLlista();
  // A deep copy: each item copied with Duplicar (null stays null). Raises
  // CMemoryException when the array cannot be reserved. `other` may be null.
  TLlista(const TLlista* other);
  TLlista(const TLlista& other);
  TLlista& operator=(const TLlista& other);
  ~TLlista() override;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;
  int EsBuit() const override;

  // The virtual operations of the list, in the order of its interface.
  virtual int Afegir(TItem* item);
  // Puts `item` in the slot at `pos` (the cursor when negative) and returns the
  // former content, not deleted.
  virtual TItem* Canviar(TItem* item, int pos = -1);
  // Inserts at `pos` clamped to 0..count; the cursor ends behind the new item.
  virtual int Insertar(TItem* item, int pos);
  // Removes the item at `pos` (the cursor when negative) and deletes it, whatever
  // the owner flag says.
  virtual int Eliminar(int pos = -1);
  // Removes the item at `pos` (the cursor when negative) and hands it over.
  virtual TItem* Treure(int pos = -1);
  virtual int Invertir();
  // A stable sort by `compare`. 0, -5 when the indicator reports a cancel (the
  // list unchanged), -2 without a comparison.
  virtual int Ordenar(COMPARA compare, __int64 param = 0, TIndicadorEstat* ie = nullptr);
  // Inserts copies (Duplicar) of other's items at `pos`, or at the end when `pos`
  // is negative. -1 when a copy fails.
  virtual int Concatenar(const TLlista* other, int pos = -1);
  // Moves other's items in at `pos`, or at the end when `pos` is negative; `other`
  // is left empty and usable.
  virtual int Fusionar(TLlista* other, int pos = -1);

  // Forgets the array without releasing it.
  void Init();
  // Releases the array, deleting the items first when `deleteItems` is set.
  void Done(int deleteItems);
  // Appends `n` null items.
  int CreaBuida(int n);
  // Calls visit for every item, last to first when bit 0 of `flags` is set. -5 on
  // a cancel, a negative result of visit at once, else visit's last result.
  int Recorrer(VISITA visit, int flags = 0, __int64 param = 0, TIndicadorEstat* ie = nullptr) const;

  int Cnt() const { return m_nItems; }
  int EsBuida() const { return m_nItems < 1 ? 1 : 0; }
  // The item at `i`, or null outside the list.
  TItem* GetItem(int i) const;
  TItem* ItemAt(int i) const { return GetItem(i); }
  TItem* operator[](int i) const { return GetItem(i); }
  TItem* Actual() const { return GetItem(m_nActual); }

  int PosActual() const { return m_nActual; }
  void Posicionar(int i) { m_nActual = i; }
  int Principi();
  int Final();
  int Seguent();
  int Previ();
  int EsPrimer() const { return m_nActual < 1 ? 1 : 0; }
  int EsUltim() const { return m_nActual >= m_nItems - 1 ? 1 : 0; }

  int GetPropietari() const { return m_bPropietari; }
  // The array's size and growth step, for callers that tune their lists.
  int GetCapacitat() const { return m_nMida; }
  int GetPas() const { return m_nPas; }

 protected:
  // Room for `n` more items; -1 when the array cannot grow.
  int ampliar(int n);
  // Shrinks the array after a removal; -1 when it cannot be reallocated.
  int reduir();

  int m_bPropietari = 1;
  int m_nMida = 0;   // capacity
  int m_nPas = 16;   // growth step
  int m_nItems = 0;  // count
  int m_nActual = 0; // cursor
  TItem** m_ppItems = nullptr;

 private:
  // Makes `slots` the list's array of `capacity` slots (its items already in it).
  void Adopt(TItem** slots, int capacity);
  // Moves the items into a new array of `capacity` slots; false when out of memory.
  bool Reallocate(int capacity);
  void Release();
};

class KW_API TLlistaOrdenada : public TLlista {
 public:
  explicit TLlistaOrdenada(int duplicates = 0) : m_bDuplicats(duplicates) {}
  TLlistaOrdenada(const TLlistaOrdenada&) = default;
  TLlistaOrdenada& operator=(const TLlistaOrdenada&) = default;
  ~TLlistaOrdenada() override;

  // Inserts in order of the items' own Comparar. An equal item is replaced (and
  // deleted) unless duplicates are allowed, when the new one goes before it.
  int Afegir(TItem* item) override;
  // 1 and the index of an equal item, or 0 and the index where `item` belongs.
  int BuscarPosicio(const TItem* item, int& pos) const;
  // The index of an equal item, or -1.
  int BuscarItem(const TItem* item) const;

 protected:
  int BusquedaDic(const TItem* item, int lo, int hi, int& pos) const;
  int m_bDuplicats;
};
