#include <kwlib63/core/valueitem.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include <kwlib63/framework/exception.h>

constinit CMoxelRTTI TInt::m_rttiTInt(&TItem::m_rttiTItem, "TInt", kwtipus::TInt, sizeof(TInt), nullptr);
constinit CMoxelRTTI TBool::m_rttiTBool(&TItem::m_rttiTItem, "TBool", kwtipus::TBool, sizeof(TBool), nullptr);
constinit CMoxelRTTI TChar::m_rttiTChar(&TItem::m_rttiTItem, "TChar", kwtipus::TChar, sizeof(TChar), nullptr);
constinit CMoxelRTTI TFloat::m_rttiTFloat(&TItem::m_rttiTItem, "TFloat", kwtipus::TFloat, sizeof(TFloat), nullptr);
constinit CMoxelRTTI TDouble::m_rttiTDouble(&TItem::m_rttiTItem, "TDouble", kwtipus::TDouble, sizeof(TDouble),
                                            nullptr);
constinit CMoxelRTTI TItemString::m_rttiTItemString(&TItem::m_rttiTItem, "TItemString", kwtipus::TItemString,
                                                    sizeof(TItemString), nullptr);

namespace {

// A new copy of a numeric item, or null when memory is exhausted.
template <typename T>
TItem* NewItem(const T& value) {
  return new (std::nothrow) T(value);
}

}  // namespace

void TInt::Inc() { m_nValor = static_cast<int>(static_cast<unsigned>(m_nValor) + 1u); }
void TInt::Dec() { m_nValor = static_cast<int>(static_cast<unsigned>(m_nValor) - 1u); }
TItem* TInt::Duplicar() const { return NewItem(*this); }
CMoxelRTTI* TInt::GetRTTI() const { return &m_rttiTInt; }
int TInt::Comparar(const TItem* other) const {
  const auto* o = static_cast<const TInt*>(other);
  return static_cast<int>(static_cast<unsigned>(m_nValor) - static_cast<unsigned>(o->m_nValor));
}

TItem* TBool::Duplicar() const { return NewItem(*this); }
CMoxelRTTI* TBool::GetRTTI() const { return &m_rttiTBool; }
TItem* TChar::Duplicar() const { return NewItem(*this); }
CMoxelRTTI* TChar::GetRTTI() const { return &m_rttiTChar; }
TItem* TFloat::Duplicar() const { return NewItem(*this); }
CMoxelRTTI* TFloat::GetRTTI() const { return &m_rttiTFloat; }
TItem* TDouble::Duplicar() const { return NewItem(*this); }
CMoxelRTTI* TDouble::GetRTTI() const { return &m_rttiTDouble; }

// TItemString arrays carry a use count just before the text.
namespace {

struct StringHeader {
  std::atomic<long> uses;
};
static_assert(sizeof(StringHeader) % alignof(wchar_t) == 0);

StringHeader* HeaderOf(wchar_t* text) {
  return reinterpret_cast<StringHeader*>(reinterpret_cast<char*>(text) - sizeof(StringHeader));
}

wchar_t* NewArray(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  const std::size_t len = std::wcslen(text);
  void* block = std::malloc(sizeof(StringHeader) + (len + 1) * sizeof(wchar_t));
  if (block == nullptr) AfxThrowMemoryException();
  new (block) StringHeader{1};
  auto* array = reinterpret_cast<wchar_t*>(static_cast<char*>(block) + sizeof(StringHeader));
  std::wmemcpy(array, text, len + 1);
  return array;
}

wchar_t* Share(wchar_t* array) {
  if (array != nullptr) HeaderOf(array)->uses.fetch_add(1, std::memory_order_relaxed);
  return array;
}

void Release(wchar_t* array) {
  if (array == nullptr) return;
  StringHeader* header = HeaderOf(array);
  if (header->uses.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    header->~StringHeader();
    std::free(header);
  }
}

}  // namespace

TItemString::TItemString(const wchar_t* text) : m_pString(NewArray(text)) {}
TItemString::TItemString(const TItemString* other) : m_pString(NewArray(other != nullptr ? other->m_pString : nullptr)) {}
TItemString::TItemString(const TItemString& other) : TItem(other), m_pString(Share(other.m_pString)) {}

TItemString& TItemString::operator=(const TItemString& other) {
  wchar_t* shared = Share(other.m_pString);
  Release(m_pString);
  m_pString = shared;
  return *this;
}

TItemString::~TItemString() { Release(m_pString); }

void TItemString::operator=(const wchar_t* text) { Insertar(text); }

void TItemString::Insertar(const wchar_t* text) {
  Release(m_pString);
  m_pString = nullptr;
  m_pString = NewArray(text);
}

TItem* TItemString::Duplicar() const {
  try {
    return new TItemString(this);
  } catch (const std::bad_alloc&) {
    return nullptr;
  } catch (CException* e) {
    e->Delete();
    return nullptr;
  }
}

CMoxelRTTI* TItemString::GetRTTI() const { return &m_rttiTItemString; }

int TItemString::Comparar(const TItem* other) const {
  const wchar_t* mine = m_pString != nullptr ? m_pString : L"";
  const wchar_t* theirs = static_cast<const TItemString*>(other)->m_pString;
  return std::wcscmp(mine, theirs != nullptr ? theirs : L"");
}

int TItemString::operator==(const TItemString& other) const { return Comparar(&other) == 0 ? 1 : 0; }
