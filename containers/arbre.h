// TArbre: a tree node that is an item: one item and an ordered list of owned child
// nodes. A node made with two children is binary; its left and right children are
// children 0 and 1. Walks call a function with each node (or its item) and depth;
// a negative result stops a walk and is returned.
//
// The post-order walks put only the starting node after its descendants: below the
// first level they go in pre-order. Callers depend on that order; it is kept.
#pragma once

#include <cstdint>

#include <kwlib63/containers/llista.h>
#include <kwlib63/framework/export.h>

class KW_API TArbre : public TItem {
 public:
  using VISITA_ITEM = int (*)(const TItem* item, int depth, __int64 param);
  using VISITA_NODE = int (*)(TArbre* node, int depth, __int64 param);

  static CMoxelRTTI m_rttiTArbre;

  // A leaf; it deletes its item when `ownsItem` is set.
  TArbre(TItem* item, int ownsItem);
  // A binary node with the two children (also null ones: it always has two slots).
  TArbre(TItem* item, TArbre* left, TArbre* right, int ownsItem);
  // A deep copy: the item and every child copied with Duplicar.
  TArbre(const TArbre* other);
  // Shallow: the item and the children's array are shared. The array is counted
  // (the children are deleted once); the copy does not own the item, so that it is
  // not deleted twice.
  TArbre(const TArbre& other);
  TArbre& operator=(const TArbre& other);
  ~TArbre() override;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;
  int EsBuit() const override { return EsFulla(); }

  TItem* GetItem() const { return m_pItem; }
  // Stores `item`; with `deleteOld`, deletes the former item first (unless it is `item`).
  void SetItem(TItem* item, int deleteOld);

  int GetNumFills() const { return m_fills.Cnt(); }
  int EsFulla() const { return m_fills.Cnt() == 0 ? 1 : 0; }
  int EsBinari() const { return (m_nFlags & 1) != 0 ? 1 : 0; }

  TArbre* GetFill(int i) const { return getFill(i); }
  TArbre* GetFillEsquerre() const { return getFill(0); }
  TArbre* GetFillDret() const { return getFill(1); }
  // Replaces child `pos`; with `deleteOld`, deletes the former child unless it is `child`.
  void SetFill(TArbre* child, int pos, int deleteOld) { setFill(child, pos, deleteOld); }
  void SetFillEsquerre(TArbre* child, int deleteOld) { setFill(child, 0, deleteOld); }
  void SetFillDret(TArbre* child, int deleteOld) { setFill(child, 1, deleteOld); }
  // Inserts at `pos` (clamped), or appends when `pos` is negative. 0, or -1.
  int InsertarFill(TArbre* child, int pos);
  // Takes child `pos` out and hands it over.
  TArbre* TreureFill(int pos) { return treuFill(pos); }
  // Takes child `pos` out and deletes it.
  void EliminarFill(int pos);

  int Preordre(VISITA_ITEM f, __int64 param) const;
  int Inordre(VISITA_ITEM f, __int64 param) const;
  int Postordre(VISITA_ITEM f, __int64 param) const;
  int PreordreA(VISITA_NODE f, __int64 param);
  int InordreA(VISITA_NODE f, __int64 param);
  int PostordreA(VISITA_NODE f, __int64 param);

 protected:
  TArbre* getFill(int i) const;
  void setFill(TArbre* child, int pos, int deleteOld);
  int afegirFill(TArbre* child) { return m_fills.Afegir(child); }
  int insertarFill(TArbre* child, int pos) { return m_fills.Insertar(child, pos); }
  TArbre* treuFill(int pos) { return static_cast<TArbre*>(m_fills.Treure(pos)); }

 private:
  // The recursive walks, from this node at `depth`; `f` receives the node.
  template <typename Visit>
  int i_preordre(int depth, Visit&& f);
  template <typename Visit>
  int i_inordre(int depth, Visit&& f);
  template <typename Visit>
  int i_postordre(int depth, Visit&& f);

  TItem* m_pItem;
  TLlista m_fills;
  std::uint16_t m_nFlags;  // bit 0: binary; bit 1: owns the item
};
