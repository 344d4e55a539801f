#include <kwlib63/containers/pila.h>


#include <kwlib63/containers/newcopy.h>

constinit CMoxelRTTI TPila::m_rttiTPila(&TLlista::m_rttiTLlista, "TPila", kwtipus::TPila, sizeof(TPila), nullptr);

TItem* TPila::Duplicar() const { return kwcont::NewCopy(this); }

CMoxelRTTI* TPila::GetRTTI() const { return &m_rttiTPila; }

int TPila::push(TItem* item) { return Insertar(item, Cnt()); }
int TPila::pop() { return Eliminar(Cnt() - 1); }
TItem* TPila::poptop() { return Treure(Cnt() - 1); }
TItem* TPila::top() const { return GetItem(Cnt() - 1); }

int TPilaLimitada::push(TItem* item) {
  if (m_nLimit < 1) {
    delete item;
    return 0;
  }
  while (Cnt() >= m_nLimit) Eliminar(0);
  return Insertar(item, Cnt());
}

void TPilaLimitada::SetTamany(int limit) {
  m_nLimit = limit;
  while (Cnt() > m_nLimit && Cnt() >= 1) {
    Principi();
    Eliminar(0);
  }
}
