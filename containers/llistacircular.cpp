#include <kwlib63/containers/llistacircular.h>


#include <kwlib63/containers/newcopy.h>

constinit CMoxelRTTI TLlistaCircular::m_rttiTLlistaCircular(&TLlista::m_rttiTLlista, "TLlistaCircular",
                                                            kwtipus::TLlistaCircular, sizeof(TLlistaCircular),
                                                            nullptr);

TItem* TLlistaCircular::Duplicar() const { return kwcont::NewCopy(this); }

CMoxelRTTI* TLlistaCircular::GetRTTI() const { return &m_rttiTLlistaCircular; }

int TLlistaCircular::CalculaPosicio(int pos) const {
  const int n = Cnt();
  if (n == 0 || (pos >= 0 && pos < n)) return pos;
  if (pos >= n) return pos % n;
  // Widened, so that the smallest int can be negated.
  const int rest = static_cast<int>((-(static_cast<long long>(pos))) % n);
  return rest == 0 ? 0 : n - rest;
}

TItem* TLlistaCircular::GetItem(int pos) const { return Cnt() == 0 ? nullptr : TLlista::GetItem(CalculaPosicio(pos)); }

int TLlistaCircular::Insertar(TItem* item, int pos) {
  if (pos == Cnt() || Cnt() == 0) return TLlista::Insertar(item, Cnt() == 0 ? 0 : pos);
  return TLlista::Insertar(item, CalculaPosicio(pos));
}

TItem* TLlistaCircular::Canviar(TItem* item, int pos) {
  return TLlista::Canviar(item, Cnt() == 0 ? 0 : CalculaPosicio(pos));
}

int TLlistaCircular::Eliminar(int pos) { return TLlista::Eliminar(Cnt() == 0 ? 0 : CalculaPosicio(pos)); }

TItem* TLlistaCircular::Treure(int pos) { return TLlista::Treure(Cnt() == 0 ? 0 : CalculaPosicio(pos)); }

void TLlistaCircular::Posicionar(int pos) { TLlista::Posicionar(Cnt() == 0 ? 0 : CalculaPosicio(pos)); }

int TLlistaCircular::Seguent() {
  if (PosActual() == Cnt()) {
    TLlista::Posicionar(0);
    return 1;
  }
  return TLlista::Seguent();
}

int TLlistaCircular::Previ() {
  if (PosActual() != 0) return TLlista::Previ();
  Final();
  return 1;
}
