#include <kwlib63/containers/llista.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include <kwlib63/containers/stablesort.h>
#include <kwlib63/containers/newcopy.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/progress/iecalls.h>

constinit CMoxelRTTI TLlista::m_rttiTLlista(&TItem::m_rttiTItem, "TLlista", kwtipus::TLlista, sizeof(TLlista),
                                            nullptr);

namespace {

constexpr int kMinPas = 16;
constexpr int kMaxPas = 16384;

// Arrays carry the number of lists that hold them just before the slots.
struct ArrayHeader {
  long holders;
  long everShared;  // non-zero once a second list held it: see Done
};
static_assert(sizeof(ArrayHeader) % alignof(TItem*) == 0);

ArrayHeader* HeaderOf(TItem** slots) {
  return reinterpret_cast<ArrayHeader*>(reinterpret_cast<char*>(slots) - sizeof(ArrayHeader));
}

// A zero-filled array of `capacity` slots, or null when memory runs out.
TItem** NewArray(int capacity) {
  void* block = std::calloc(1, sizeof(ArrayHeader) + static_cast<std::size_t>(capacity) * sizeof(TItem*));
  if (block == nullptr) return nullptr;
  static_cast<ArrayHeader*>(block)->holders = 1;
  return reinterpret_cast<TItem**>(static_cast<char*>(block) + sizeof(ArrayHeader));
}

bool IsShared(TItem** slots) { return slots != nullptr && HeaderOf(slots)->holders > 1; }

// One more list holds the array.
void Share(TItem** slots) {
  if (slots == nullptr) return;
  ++HeaderOf(slots)->holders;
  HeaderOf(slots)->everShared = 1;
}

// Lets go of one hold on the array; the last one frees it.
void DropArray(TItem** slots) {
  if (slots != nullptr && --HeaderOf(slots)->holders == 0) std::free(HeaderOf(slots));
}

}  // namespace

TLlista::TLlista() = default;

TLlista::TLlista(const TLlista* other) {
  if (other == nullptr) return;
  m_bPropietari = other->m_bPropietari;
  if (ampliar(other->m_nItems) < 0) AfxThrowMemoryException();
  for (int i = 0; i < other->m_nItems; ++i) {
    const TItem* item = other->m_ppItems[i];
    m_ppItems[m_nItems++] = item != nullptr ? item->Duplicar() : nullptr;
  }
  m_nActual = m_nItems;
}

TLlista::TLlista(const TLlista& other)
    : TItem(other),
      m_bPropietari(other.m_bPropietari),
      m_nMida(other.m_nMida),
      m_nPas(other.m_nPas),
      m_nItems(other.m_nItems),
      m_nActual(other.m_nActual),
      m_ppItems(other.m_ppItems) {
  Share(m_ppItems);
}

TLlista& TLlista::operator=(const TLlista& other) {
  if (this == &other) return *this;
  Share(other.m_ppItems);
  // As before, the former contents are not deleted: only the hold on the array goes.
  DropArray(m_ppItems);
  m_bPropietari = other.m_bPropietari;
  m_nMida = other.m_nMida;
  m_nPas = other.m_nPas;
  m_nItems = other.m_nItems;
  m_nActual = other.m_nActual;
  m_ppItems = other.m_ppItems;
  return *this;
}

TLlista::~TLlista() { Done(m_bPropietari); }

TItem* TLlista::Duplicar() const { return kwcont::NewCopy(this); }

CMoxelRTTI* TLlista::GetRTTI() const { return &m_rttiTLlista; }
int TLlista::EsBuit() const { return EsBuida(); }

void TLlista::Init() {
  // Nothing is released: a list that shares the array gives up its hold.
  if (IsShared(m_ppItems)) --HeaderOf(m_ppItems)->holders;
  m_nMida = 0;
  m_nItems = 0;
  m_nPas = kMinPas;
  m_ppItems = nullptr;
}

void TLlista::Done(int deleteItems) {
  if (m_ppItems == nullptr) return;
  // Items of a shared array belong to the last list that holds it.
  if (deleteItems && !IsShared(m_ppItems)) {
    // Another holder may have filled slots beyond this list's count; the last
    // holder deletes them too. Vacated slots are always null.
    const int used = HeaderOf(m_ppItems)->everShared ? m_nMida : m_nItems;
    for (int i = used - 1; i >= 0; --i) {
      delete m_ppItems[i];
      m_ppItems[i] = nullptr;
    }
  }
  Release();
}

void TLlista::Release() {
  DropArray(m_ppItems);
  m_ppItems = nullptr;
  m_nItems = 0;
  m_nMida = 0;
  m_nPas = kMinPas;
}

bool TLlista::Reallocate(int capacity) {
  TItem** slots = NewArray(capacity);
  if (slots == nullptr) return false;
  if (m_ppItems != nullptr) {
    std::memcpy(slots, m_ppItems, static_cast<std::size_t>(m_nItems) * sizeof(TItem*));
    // The items move with this list; a list still sharing the old array sees nulls.
    if (IsShared(m_ppItems)) std::fill(m_ppItems, m_ppItems + m_nItems, nullptr);
    DropArray(m_ppItems);
  }
  Adopt(slots, capacity);
  return true;
}

void TLlista::Adopt(TItem** slots, int capacity) {
  m_ppItems = slots;
  m_nMida = capacity;
}

int TLlista::ampliar(int n) {
  if (m_nMida - m_nItems >= n) return 0;
  const long long need = static_cast<long long>(m_nItems) + n;
  const long long capacity = need + m_nPas - need % m_nPas;
  if (capacity > 0x7FFFFFFF || !Reallocate(static_cast<int>(capacity))) return -1;
  if (m_nMida > 2 * m_nPas && m_nPas < kMaxPas) m_nPas = std::min(m_nPas * 2, kMaxPas);
  return 0;
}

int TLlista::reduir() {
  if (m_nItems == 0) {
    Release();
    return 0;
  }
  const int wanted = m_nPas - m_nItems % m_nPas + m_nItems;
  if (wanted >= m_nMida) return 0;
  if (!Reallocate(wanted)) return -1;
  if (m_nMida <= m_nPas && m_nPas >= 17) m_nPas = std::max(m_nPas / 2, kMinPas);
  return 0;
}

int TLlista::Afegir(TItem* item) { return Insertar(item, m_nItems); }

TItem* TLlista::Canviar(TItem* item, int pos) {
  if (pos >= 0) m_nActual = pos;
  // A slot outside the array is refused rather than written.
  if (m_nActual < 0 || m_nActual >= m_nMida) return nullptr;
  TItem* old = m_ppItems[m_nActual];
  m_ppItems[m_nActual] = item;
  return old;
}

int TLlista::Insertar(TItem* item, int pos) {
  pos = std::clamp(pos, 0, m_nItems);
  if (ampliar(1) < 0) return -1;
  std::memmove(m_ppItems + pos + 1, m_ppItems + pos, static_cast<std::size_t>(m_nItems - pos) * sizeof(TItem*));
  m_ppItems[pos] = item;
  ++m_nItems;
  m_nActual = pos + 1;
  return 0;
}

TItem* TLlista::Treure(int pos) {
  if (pos >= 0) m_nActual = pos;
  // A position outside the list is refused rather than read.
  if (m_nActual < 0 || m_nActual >= m_nItems) return nullptr;
  TItem* item = m_ppItems[m_nActual];
  std::memmove(m_ppItems + m_nActual, m_ppItems + m_nActual + 1,
               static_cast<std::size_t>(m_nItems - m_nActual - 1) * sizeof(TItem*));
  m_ppItems[--m_nItems] = nullptr;
  reduir();
  return item;
}

int TLlista::Eliminar(int pos) {
  if (pos >= 0) m_nActual = pos;
  if (m_nActual < 0 || m_nActual >= m_nItems) return -1;
  TItem* item = m_ppItems[m_nActual];
  std::memmove(m_ppItems + m_nActual, m_ppItems + m_nActual + 1,
               static_cast<std::size_t>(m_nItems - m_nActual - 1) * sizeof(TItem*));
  m_ppItems[--m_nItems] = nullptr;
  delete item;
  return reduir();
}

int TLlista::Invertir() {
  for (int i = 0, j = m_nItems - 1; i < j; ++i, --j) std::swap(m_ppItems[i], m_ppItems[j]);
  return 0;
}

int TLlista::Ordenar(COMPARA compare, __int64 param, TIndicadorEstat* ie) {
  if (m_nItems == 0) return 0;
  if (compare == nullptr) return -2;
  // The insertion sort it stands for takes items from the back and places each
  // before the first it does not exceed: equal items keep their order, a stable
  // sort by `compare`.
  return kwcont::StableSort(
      m_ppItems, static_cast<std::size_t>(m_nItems),
      [compare, param](const TItem* a, const TItem* b) { return compare(a, b, param) < 0; }, ie);
}

int TLlista::Concatenar(const TLlista* other, int pos) {
  if (other == nullptr || other->m_nItems == 0) return 0;
  const int k = other->m_nItems;
  // A list joined to itself, or to a copy sharing its array, copies the items as
  // they stood before the call: growing and shifting move them under the reads.
  std::vector<TItem*> before;
  if (other->m_ppItems == m_ppItems) before.assign(m_ppItems, m_ppItems + k);
  if (ampliar(k) < 0) return -1;
  TItem* const* source = before.empty() ? other->m_ppItems : before.data();
  const int at = pos >= 0 ? std::min(pos, m_nItems) : m_nItems;
  std::memmove(m_ppItems + at + k, m_ppItems + at, static_cast<std::size_t>(m_nItems - at) * sizeof(TItem*));
  for (int i = 0; i < k; ++i) {
    const TItem* item = source[i];
    TItem* copy = item != nullptr ? item->Duplicar() : nullptr;
    if (item != nullptr && copy == nullptr) {
      // Undo: the copies made go, the moved items come back.
      for (int j = 0; j < i; ++j) delete m_ppItems[at + j];
      std::memmove(m_ppItems + at, m_ppItems + at + k, static_cast<std::size_t>(m_nItems - at) * sizeof(TItem*));
      std::fill(m_ppItems + m_nItems, m_ppItems + m_nItems + k, nullptr);
      return -1;
    }
    m_ppItems[at + i] = copy;
  }
  m_nItems += k;
  return 0;
}

int TLlista::Fusionar(TLlista* other, int pos) {
  if (other == nullptr || other == this || other->m_nItems == 0) return 0;
  const int k = other->m_nItems;
  if (ampliar(k) < 0) return -1;
  const int at = pos >= 0 ? std::min(pos, m_nItems) : m_nItems;
  std::memmove(m_ppItems + at + k, m_ppItems + at, static_cast<std::size_t>(m_nItems - at) * sizeof(TItem*));
  std::memcpy(m_ppItems + at, other->m_ppItems, static_cast<std::size_t>(k) * sizeof(TItem*));
  m_nItems += k;
  if (IsShared(other->m_ppItems)) std::fill(other->m_ppItems, other->m_ppItems + k, nullptr);
  other->Release();
  other->m_nActual = 0;
  return 0;
}

int TLlista::CreaBuida(int n) {
  if (const int r = ampliar(n); r < 0) return r;
  for (int i = 0; i < n; ++i) {
    if (const int r = Afegir(nullptr); r < 0) return r;
  }
  return 0;
}

int TLlista::Recorrer(VISITA visit, int flags, __int64 param, TIndicadorEstat* ie) const {
  const int count = m_nItems;
  int result = 0;
  for (int visited = 0; visited < count; ++visited) {
    const int i = (flags & 1) ? count - 1 - visited : visited;
    if (!kwprog::SetRangPosicioRel(ie, static_cast<unsigned long long>(visited), static_cast<unsigned long long>(count))) {
      return -5;
    }
    // The visit may change the list: an index no longer within it gives null.
    result = visit(GetItem(i), i, param);
    if (!kwprog::PopRangRel(ie)) return -5;
    if (result < 0) return result;
  }
  return result;
}

TItem* TLlista::GetItem(int i) const {
  if (i < 0 || i >= m_nItems || m_ppItems == nullptr) return nullptr;
  return m_ppItems[i];
}

int TLlista::Principi() {
  if (m_nItems == 0) return 0;
  m_nActual = 0;
  return 1;
}

int TLlista::Final() {
  if (m_nItems == 0) return 0;
  m_nActual = m_nItems - 1;
  return 1;
}

int TLlista::Seguent() {
  if (m_nItems == 0 || m_nActual >= m_nItems - 1) return 0;
  ++m_nActual;
  return 1;
}

int TLlista::Previ() {
  if (m_nItems == 0 || m_nActual < 1) return 0;
  --m_nActual;
  return 1;
}

TLlistaOrdenada::~TLlistaOrdenada() = default;

int TLlistaOrdenada::BusquedaDic(const TItem* item, int lo, int hi, int& pos) const {
  // Always the searched item's own comparison. A null slot is taken to sort below
  // every item, rather than handed to Comparar.
  const auto compare = [&](int at) {
    const TItem* element = GetItem(at);
    return element != nullptr ? item->Comparar(element) : 1;
  };
  while (hi > lo) {
    const int mid = lo + (hi - lo) / 2;
    const int c = compare(mid);
    if (c == 0) {
      pos = mid;
      return 1;
    }
    if (c > 0) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  const int c = compare(lo);
  if (c == 0) {
    pos = lo;
    return 1;
  }
  pos = c > 0 ? lo + 1 : lo;
  return 0;
}

int TLlistaOrdenada::BuscarPosicio(const TItem* item, int& pos) const {
  if (m_nItems == 0 || item == nullptr) {
    pos = 0;
    return 0;
  }
  return BusquedaDic(item, 0, m_nItems - 1, pos);
}

int TLlistaOrdenada::BuscarItem(const TItem* item) const {
  int pos = 0;
  return BuscarPosicio(item, pos) ? pos : -1;
}

int TLlistaOrdenada::Afegir(TItem* item) {
  int pos = 0;
  const int found = BuscarPosicio(item, pos);
  if (found && !m_bDuplicats) {
    m_nActual = pos;
    TItem* old = m_ppItems[pos];
    m_ppItems[pos] = item;
    if (old != item) delete old;
    return 0;
  }
  return TLlista::Insertar(item, pos);
}
