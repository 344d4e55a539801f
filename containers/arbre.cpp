#include <kwlib63/containers/arbre.h>

#include <kwlib63/containers/newcopy.h>
#include <kwlib63/framework/exception.h>

constinit CMoxelRTTI TArbre::m_rttiTArbre(&TItem::m_rttiTItem, "TArbre", kwtipus::TArbre, sizeof(TArbre), nullptr);

namespace {
constexpr std::uint16_t kBinari = 1;
constexpr std::uint16_t kPropietari = 2;
}  // namespace

TArbre::TArbre(TItem* item, int ownsItem) : m_pItem(item), m_nFlags(ownsItem ? kPropietari : 0) {}

TArbre::TArbre(TItem* item, TArbre* left, TArbre* right, int ownsItem)
    : m_pItem(item), m_nFlags(static_cast<std::uint16_t>(kBinari | (ownsItem ? kPropietari : 0))) {
  if (m_fills.Afegir(left) < 0 || m_fills.Afegir(right) < 0) AfxThrowMemoryException();
}

TArbre::TArbre(const TArbre* other) : m_pItem(nullptr), m_nFlags(0) {
  if (other == nullptr) return;
  m_pItem = other->m_pItem != nullptr ? other->m_pItem->Duplicar() : nullptr;
  m_nFlags = other->m_nFlags;
  // The copied item is the copy's own: it owns it, so that it is not lost.
  if (m_pItem != nullptr) m_nFlags |= kPropietari;
  for (int i = 0; i < other->GetNumFills(); ++i) {
    const TArbre* child = other->getFill(i);
    TArbre* copy = child != nullptr ? new TArbre(child) : nullptr;
    if (m_fills.Afegir(copy) < 0) {
      delete copy;
      AfxThrowMemoryException();
    }
  }
}

TArbre::TArbre(const TArbre& other)
    : TItem(other), m_pItem(other.m_pItem), m_fills(other.m_fills),
      m_nFlags(static_cast<std::uint16_t>(other.m_nFlags & ~kPropietari)) {}

TArbre& TArbre::operator=(const TArbre& other) {
  m_pItem = other.m_pItem;
  m_fills = other.m_fills;
  m_nFlags = static_cast<std::uint16_t>(other.m_nFlags & ~kPropietari);
  return *this;
}

TArbre::~TArbre() {
  if (m_nFlags & kPropietari) delete m_pItem;
}

TItem* TArbre::Duplicar() const { return kwcont::NewCopy(this); }
CMoxelRTTI* TArbre::GetRTTI() const { return &m_rttiTArbre; }

void TArbre::SetItem(TItem* item, int deleteOld) {
  if (deleteOld && m_pItem != nullptr && m_pItem != item) delete m_pItem;
  m_pItem = item;
}

TArbre* TArbre::getFill(int i) const { return static_cast<TArbre*>(m_fills.GetItem(i)); }

void TArbre::setFill(TArbre* child, int pos, int deleteOld) {
  TItem* old = m_fills.Canviar(child, pos);
  if (deleteOld && old != nullptr && old != child) delete old;
}

int TArbre::InsertarFill(TArbre* child, int pos) { return pos >= 0 ? insertarFill(child, pos) : afegirFill(child); }

void TArbre::EliminarFill(int pos) { delete treuFill(pos); }

template <typename Visit>
int TArbre::i_preordre(int depth, Visit&& f) {
  int result = f(this, depth);
  if (result < 0) return result;
  for (int i = 0; i < GetNumFills(); ++i) {
    if (TArbre* child = getFill(i)) {
      result = child->i_preordre(depth + 1, f);
      if (result < 0) return result;
    }
  }
  return result;
}

template <typename Visit>
int TArbre::i_inordre(int depth, Visit&& f) {
  if (TArbre* left = getFill(0)) {
    if (const int r = left->i_inordre(depth + 1, f); r < 0) return r;
  }
  if (const int r = f(this, depth); r < 0) return r;
  if (TArbre* right = getFill(1)) {
    if (const int r = right->i_inordre(depth + 1, f); r < 0) return r;
  }
  return 0;
}

template <typename Visit>
int TArbre::i_postordre(int depth, Visit&& f) {
  // Each child, then its descendants in pre-order; the starting node last.
  for (int i = 0; i < GetNumFills(); ++i) {
    TArbre* child = getFill(i);
    if (child == nullptr) continue;
    if (const int r = f(child, depth + 1); r < 0) return r;
    for (int j = 0; j < child->GetNumFills(); ++j) {
      if (TArbre* grandchild = child->getFill(j)) {
        if (const int r = grandchild->i_preordre(depth + 2, f); r < 0) return r;
      }
    }
  }
  return f(this, depth);
}

namespace {
// Adapts a walk over items or over nodes to the one recursive form.
auto OverItems(TArbre::VISITA_ITEM f, __int64 param) {
  return [f, param](TArbre* node, int depth) { return f(node->GetItem(), depth, param); };
}
auto OverNodes(TArbre::VISITA_NODE f, __int64 param) {
  return [f, param](TArbre* node, int depth) { return f(node, depth, param); };
}
}  // namespace

// The walks do not change the tree; the node forms hand the nodes to the caller.
int TArbre::Preordre(VISITA_ITEM f, __int64 param) const { return const_cast<TArbre*>(this)->i_preordre(0, OverItems(f, param)); }
int TArbre::Inordre(VISITA_ITEM f, __int64 param) const { return const_cast<TArbre*>(this)->i_inordre(0, OverItems(f, param)); }
int TArbre::Postordre(VISITA_ITEM f, __int64 param) const { return const_cast<TArbre*>(this)->i_postordre(0, OverItems(f, param)); }
int TArbre::PreordreA(VISITA_NODE f, __int64 param) { return i_preordre(0, OverNodes(f, param)); }
int TArbre::InordreA(VISITA_NODE f, __int64 param) { return i_inordre(0, OverNodes(f, param)); }
int TArbre::PostordreA(VISITA_NODE f, __int64 param) { return i_postordre(0, OverNodes(f, param)); }
