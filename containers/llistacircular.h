// TLlistaCircular: a list whose positions wrap around: every position given to it
// is first taken modulo the count (-1 is the last item). Stepping forward wraps
// only from the position behind the last item, not from the last item itself:
// callers rely on that, and it is kept.
#pragma once

#include <kwlib63/containers/llista.h>
#include <kwlib63/framework/export.h>

class KW_API TLlistaCircular : public TLlista {
 public:
  static CMoxelRTTI m_rttiTLlistaCircular;

  TLlistaCircular() = default;
  TLlistaCircular(const TLlistaCircular* other) : TLlista(other) {}
  TLlistaCircular(const TLlistaCircular&) = default;
  TLlistaCircular& operator=(const TLlistaCircular&) = default;

  TItem* Duplicar() const override;
  CMoxelRTTI* GetRTTI() const override;

  // The position wrapped into the list (0 to count - 1), for a non-empty list.
  int CalculaPosicio(int pos) const;

  TItem* GetItem(int pos) const;
  TItem* ItemAt(int pos) const { return GetItem(pos); }
  TItem* operator[](int pos) const { return GetItem(pos); }
  // A position equal to the count appends.
  int Insertar(TItem* item, int pos) override;
  TItem* Canviar(TItem* item, int pos = -1) override;
  int Eliminar(int pos = -1) override;
  TItem* Treure(int pos = -1) override;
  void Posicionar(int pos);
  // From the position behind the last item to the first; else the list's Seguent.
  int Seguent();
  // From the first item to the last; else the list's Previ.
  int Previ();
};
