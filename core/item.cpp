#include <kwlib63/core/item.h>

#include <cstring>
#include <mutex>
#include <string>
#include <unordered_map>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/memory.h>

constinit CMoxelRTTI TItem::m_rttiTItem(nullptr, "TItem", kwtipus::TItem, sizeof(TItem), nullptr);

int CMoxelRTTI::EsTipus(int typeId) const {
  for (const CMoxelRTTI* r = this; r != nullptr; r = r->m_pParent) {
    if (r->m_nTipus == typeId) return 1;
  }
  return 0;
}

int CMoxelRTTI::EsTipus(const CMoxelRTTI* other) const { return other != nullptr ? EsTipus(other->m_nTipus) : 0; }

TItem* CMoxelRTTI::CrearItem() const { return m_pfnCrear != nullptr ? m_pfnCrear() : nullptr; }

TItem::~TItem() = default;
TItem* TItem::Duplicar() const { return nullptr; }
CMoxelRTTI* TItem::GetRTTI() const { return &m_rttiTItem; }
int TItem::EsBuit() const { return 0; }
int TItem::Iguals(const TItem* other) const { return Comparar(other) == 0 ? 1 : 0; }
int TItem::Comparar(const TItem*) const { return 0; }
int TItem::Guardar(std::FILE*) const { return -2; }
int TItem::Llegir(std::FILE*) { return -2; }

int TItem::EsTipus(int typeId) const { return GetRTTI()->EsTipus(typeId); }
int TItem::EsTipus(const CMoxelRTTI* record) const { return GetRTTI()->EsTipus(record); }
int TItem::QueSoc() const { return GetRTTI()->m_nTipus; }

const wchar_t* TItem::GetNomClasse() const {
  // Records are constant, so the wide names are kept aside, one per class name,
  // and never freed.
  static std::mutex lock;  // guards names
  static std::unordered_map<const char*, std::wstring> names;
  const char* name = GetRTTI()->m_lpszClassName;
  std::lock_guard guard(lock);
  auto it = names.find(name);
  if (it == names.end()) it = names.emplace(name, kwfw::Utf8ToWide(name != nullptr ? name : "")).first;
  return it->second.c_str();
}

TItem* AfxTestClasseItem(const TItem* item, const CMoxelRTTI* record) {
  if (item == nullptr || record == nullptr) return nullptr;
  return item->EsTipus(record->m_nTipus) ? const_cast<TItem*>(item) : nullptr;
}

int AfxItemValid(const TItem* item) {
  if (item == nullptr) return 0;
  void* self = const_cast<TItem*>(item);
  if (kwplat::IsBadReadPtr(self, 8) || kwplat::IsBadWritePtr(self, 8)) return 0;
  const void* vtable;
  std::memcpy(&vtable, self, sizeof vtable);
  if (kwplat::IsBadReadPtr(vtable, 8)) return 0;
  if (kwplat::IsBadReadPtr(self, item->GetRTTI()->m_nMida)) return 0;
  return item->EsTipus(2000);
}
