#include "blocopcions.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/codepage.h>

constinit CMoxelRTTI TBlocOpcions::m_rttiTBlocOpcions(&TItem::m_rttiTItem, "TBlocOpcions", kwtipus::TBlocOpcions,
                                                      sizeof(TBlocOpcions), nullptr);

namespace {

// The data block, little-endian, without padding:
//   "DRIVER-BLOC"            11 bytes, the header
//   then one record per value, in the order of their names:
//   name length              16 bits, characters of the name (read as signed, at least 1)
//   name                     that many bytes in the ANSI code page
//   type code                1 byte, TIPUS_BLOC_*
//   payload                  INT32: 4 bytes, signed; REAL64: 8 bytes, an IEEE double;
//                            SUBBLOC, BINARI: a 32-bit byte count and the bytes;
//                            STRING: a 16-bit byte count (read as signed) and the UTF-16
//                            units; STRINGA (read only): a 16-bit count and ANSI bytes;
//                            BUIT: nothing
constexpr char kHeader[] = "DRIVER-BLOC";
constexpr std::size_t kHeaderSize = 11;

// Results of reading a data block.
constexpr int kMalformed = -3;    // cut short, or with a wrong header or count
constexpr int kUnknownType = -9;  // a record with a type code the block does not know


wchar_t* CopyText(const wchar_t* text) {
  if (text == nullptr) return nullptr;
  wchar_t* copy = wcsdup(text);
  if (copy == nullptr) AfxThrowMemoryException();
  return copy;
}

void* CopyBytes(const void* data, unsigned long size) {
  if (size == 0 || data == nullptr) return nullptr;
  void* copy = std::malloc(size);
  if (copy == nullptr) AfxThrowMemoryException();
  std::memcpy(copy, data, size);
  return copy;
}

std::wstring FromAnsi(const char* bytes, std::size_t n) {
  if (n == 0) return std::wstring();
  std::wstring text(n, L'\0');
  kwplat::MultiByteToWideChar(CP_ACP, 0, bytes, static_cast<int>(n), text.data(), static_cast<int>(n));
  return text;
}

// The name in the ANSI code page, one byte per UTF-16 unit as the block counts them.
std::string NameToAnsi(const std::u16string& units) {
  std::string bytes;
  for (const char16_t u : units) {
    const wchar_t w = static_cast<wchar_t>(u);
    char b = '?';
    kwplat::WideCharToMultiByte(CP_ACP, 0, &w, 1, &b, 1, nullptr, nullptr);
    bytes += b;
  }
  return bytes;
}

// Appends `value` as its little-endian bytes.
template <typename T>
void Put(std::string& out, T value) {
  char bytes[sizeof value];
  kwfw::StoreLe(bytes, value);
  out.append(bytes, sizeof bytes);
}

bool Utf16Less(const std::wstring& a, const std::wstring& b) { return kwfw::WideToUtf16(a) < kwfw::WideToUtf16(b); }

// One record of a data block, read where it lies: the payload is copied only when
// the value is made.
struct Record {
  std::wstring name;  // from the ANSI code page, up to a zero as a name is used
  int type = TIPUS_BLOC_BUIT;
  const unsigned char* payload = nullptr;  // the value's bytes, after any count
  std::size_t size = 0;

  ITEMBLOCOPCIONS Value() const {
    ITEMBLOCOPCIONS value;
    switch (type) {
      case TIPUS_BLOC_INT32: value.SetInt32(static_cast<std::int32_t>(kwfw::Load32(payload))); break;
      case TIPUS_BLOC_REAL64: {
        const std::uint64_t bits = kwfw::Load64(payload);
        double d;
        std::memcpy(&d, &bits, 8);
        value.SetReal64(d);
        break;
      }
      case TIPUS_BLOC_SUBBLOC:
      case TIPUS_BLOC_BINARI:
        value.SetDadesBin(const_cast<unsigned char*>(payload), static_cast<unsigned long>(size), 1, type);
        break;
      case TIPUS_BLOC_STRING: {
        const std::string_view bytes(reinterpret_cast<const char*>(payload), size);
        value.SetString(kwfw::Utf16ToWide(kwfw::Utf16LeUnits(bytes)).c_str());
        break;
      }
      case TIPUS_BLOC_STRINGA:
        value.SetString(FromAnsi(reinterpret_cast<const char*>(payload), size).c_str());
        break;
      default: break;  // empty: no payload
    }
    return value;
  }
};

// The records of a data block, one after another, never reading past `mida`.
class Records {
 public:
  Records(const unsigned char* dades, std::size_t mida) : m_dades(dades), m_mida(dades != nullptr ? mida : 0) {}

  // 0 when the records may be read (none for a null or empty block), -3 for a
  // block too short for its header or with another header.
  int Start() {
    if (m_mida == 0) return 0;
    if (m_mida < kHeaderSize || std::memcmp(m_dades, kHeader, kHeaderSize) != 0) return kMalformed;
    m_pos = kHeaderSize;
    return 0;
  }

  // 1 with the next record, 0 at the end of the data, -3 for a record cut short or
  // malformed, -9 for an unknown type code.
  int Next(Record& r) {
    if (m_pos >= m_mida) return 0;
    if (Left() < 2) return kMalformed;
    const auto n = static_cast<std::int16_t>(kwfw::Load16(m_dades + m_pos));
    m_pos += 2;
    if (n < 1 || static_cast<std::size_t>(n) > Left()) return kMalformed;
    r.name = FromAnsi(reinterpret_cast<const char*>(m_dades + m_pos), static_cast<std::size_t>(n));
    r.name.resize(std::wcslen(r.name.c_str()));
    m_pos += static_cast<std::size_t>(n);
    if (Left() < 1) return kMalformed;
    r.type = static_cast<signed char>(m_dades[m_pos++]);
    if (r.type > TIPUS_BLOC_STRING || r.type < TIPUS_BLOC_BUIT) return kUnknownType;
    std::size_t count = 0;
    switch (r.type) {
      case TIPUS_BLOC_INT32: count = 4; break;
      case TIPUS_BLOC_REAL64: count = 8; break;
      case TIPUS_BLOC_SUBBLOC:
      case TIPUS_BLOC_BINARI:
        if (Left() < 4) return kMalformed;
        count = kwfw::Load32(m_dades + m_pos);
        m_pos += 4;
        break;
      case TIPUS_BLOC_STRING:
      case TIPUS_BLOC_STRINGA: {
        if (Left() < 2) return kMalformed;
        const auto signedCount = static_cast<std::int16_t>(kwfw::Load16(m_dades + m_pos));
        m_pos += 2;
        if (signedCount < 0) return kMalformed;
        count = static_cast<std::size_t>(signedCount);
        break;
      }
      default: break;  // empty: no payload
    }
    if (count > Left()) return kMalformed;
    r.payload = m_dades + m_pos;
    r.size = count;
    m_pos += count;
    return 1;
  }

 private:
  std::size_t Left() const { return m_mida - m_pos; }

  const unsigned char* m_dades;
  std::size_t m_mida;
  std::size_t m_pos = 0;
};

// Whether a path's rest, below its first level, has an empty part ("", "/b",
// "b/", "b//c"): storing under it fails there.
bool HasEmptyPart(std::wstring_view rest) {
  return rest.empty() || rest.front() == L'/' || rest.back() == L'/' || rest.find(L"//") != std::wstring_view::npos;
}

// What a block made from these bytes would hold under `name` (no "/" in it),
// found without making the block: the load is followed record by record, with
// what Afegir does to that name, up to where the load would stop. The empty
// nested block a path record makes has `kHeader` as its bytes.
bool FindInBlock(const unsigned char* dades, std::size_t mida, std::wstring_view name, Record& found) {
  bool have = false;
  Records records(dades, mida);
  if (name.empty() || records.Start() != 0) return false;
  Record r;
  while (records.Next(r) > 0) {
    const std::size_t slash = r.name.find(L'/');
    if (r.name.empty() || slash == 0) break;  // refused, which stops the load
    if (slash == std::wstring::npos) {
      if (r.name == name) {
        found = r;
        have = true;
      }
      continue;
    }
    if (std::wstring_view(r.name).substr(0, slash) == name && !(have && found.type == TIPUS_BLOC_SUBBLOC)) {
      found = Record{std::wstring(name), TIPUS_BLOC_SUBBLOC, reinterpret_cast<const unsigned char*>(kHeader), kHeaderSize};
      have = true;
    }
    if (HasEmptyPart(std::wstring_view(r.name).substr(slash + 1))) break;
  }
  return have;
}

}  // namespace

// --- ITEMBLOCOPCIONS ----------------------------------------------------------

ITEMBLOCOPCIONS::ITEMBLOCOPCIONS(const wchar_t* text) : nTipus(TIPUS_BLOC_STRING), pDades(CopyText(text)) {}

ITEMBLOCOPCIONS::ITEMBLOCOPCIONS(const char* text) : nTipus(TIPUS_BLOC_STRING), pDades(nullptr) {
  if (text != nullptr) pDades = CopyText(FromAnsi(text, std::strlen(text)).c_str());
}

ITEMBLOCOPCIONS::ITEMBLOCOPCIONS(const ITEMBLOCOPCIONS& other) : pDades(nullptr) { *this = other; }

ITEMBLOCOPCIONS& ITEMBLOCOPCIONS::operator=(const ITEMBLOCOPCIONS& other) {
  if (this == &other) return *this;
  Reset();
  switch (other.nTipus) {
    case TIPUS_BLOC_INT32: lValor = other.lValor; break;
    case TIPUS_BLOC_REAL64: dValor = other.dValor; break;
    case TIPUS_BLOC_SUBBLOC:
    case TIPUS_BLOC_BINARI:
      pDades = CopyBytes(other.pDades, other.nMida);
      nMida = pDades != nullptr ? other.nMida : 0;
      break;
    case TIPUS_BLOC_STRING: pDades = CopyText(static_cast<const wchar_t*>(other.pDades)); break;
    default: break;  // empty, and narrow text, whose bytes are deliberately not copied
  }
  nTipus = other.nTipus;
  return *this;
}

void ITEMBLOCOPCIONS::Reset() {
  if (nTipus >= TIPUS_BLOC_STRINGA && nTipus <= TIPUS_BLOC_STRING) std::free(pDades);
  nTipus = TIPUS_BLOC_BUIT;
  pDades = nullptr;
  nMida = 0;
}

void ITEMBLOCOPCIONS::SetInt32(long valor) {
  Reset();
  nTipus = TIPUS_BLOC_INT32;
  lValor = valor;
}

void ITEMBLOCOPCIONS::SetReal64(double valor) {
  Reset();
  nTipus = TIPUS_BLOC_REAL64;
  dValor = valor;
}

void ITEMBLOCOPCIONS::SetString(const wchar_t* text) {
  wchar_t* copy = CopyText(text);
  Reset();
  nTipus = TIPUS_BLOC_STRING;
  pDades = copy;
}

void ITEMBLOCOPCIONS::SetDadesBin(void* data, unsigned long size, int bCopiar, int type) {
  void* block = bCopiar != 0 ? CopyBytes(data, size) : data;
  Reset();
  nTipus = type;
  pDades = block;
  nMida = bCopiar != 0 && block == nullptr ? 0 : size;
}

void ITEMBLOCOPCIONS::SetBlocOpcions(const TBlocOpcions* bloc) {
  unsigned int size = 0;
  unsigned char* data = bloc != nullptr ? bloc->ToBlocDades(size) : nullptr;
  SetDadesBin(data, size, 0, TIPUS_BLOC_SUBBLOC);
}

// --- TBlocOpcions -------------------------------------------------------------

TBlocOpcions::TBlocOpcions(const unsigned char* dades, unsigned int mida) {
  if (dades != nullptr && mida != 0) FromBlocDades(dades, mida, 0);
}

TBlocOpcions::TBlocOpcions(const TBlocOpcions* altre) {
  if (altre != nullptr) m_mapa = altre->m_mapa;
}

TBlocOpcions::~TBlocOpcions() = default;

TItem* TBlocOpcions::Duplicar() const { return new TBlocOpcions(this); }

CMoxelRTTI* TBlocOpcions::GetRTTI() const { return &m_rttiTBlocOpcions; }

int TBlocOpcions::Afegir(const wchar_t* nom, const ITEMBLOCOPCIONS& valor) {
  const std::wstring_view name = nom != nullptr ? nom : L"";
  // A name is never empty: a data block could not hold it (its length would be 0).
  if (name.empty()) return kFailed;
  const std::size_t slash = name.find(L'/');
  if (slash == std::wstring_view::npos) {
    try {
      m_mapa[std::wstring(name)] = valor;
      return 0;
    } catch (CException* e) {
      e->Delete();
    } catch (const std::bad_alloc&) {
    }
    return kFailed;
  }
  // The nested level is made when missing (or holding another type). The value goes
  // into a copy of it that is not stored back, as the interface defines; so are the
  // levels below, which can only refuse an empty part of the name: nothing is built
  // for them, and a long path costs its length, not its length times its depth.
  const std::wstring first(name.substr(0, slash));
  const auto it = m_mapa.find(first);
  if (it == m_mapa.end() || it->second.nTipus != TIPUS_BLOC_SUBBLOC) {
    const TBlocOpcions empty;
    if (const int r = EntraSubBloc(first.c_str(), &empty); r != 0) return r;
  }
  return HasEmptyPart(name.substr(slash + 1)) ? -1 : 0;
}

int TBlocOpcions::EntraValorInt32(const wchar_t* nom, long valor) { return Afegir(nom, ITEMBLOCOPCIONS(valor)); }

int TBlocOpcions::EntraValorReal64(const wchar_t* nom, double valor) { return Afegir(nom, ITEMBLOCOPCIONS(valor)); }

int TBlocOpcions::EntraValorString(const wchar_t* nom, const wchar_t* valor) {
  try {
    return Afegir(nom, ITEMBLOCOPCIONS(valor));
  } catch (CException* e) {
    e->Delete();
    return kFailed;
  }
}

int TBlocOpcions::EntraValorBinari(const wchar_t* nom, const void* dades, unsigned long mida) {
  void* copy = nullptr;
  if (mida > 0) {
    copy = std::malloc(mida);
    if (copy == nullptr) return kFailed;
    if (dades != nullptr) std::memcpy(copy, dades, mida);
  }
  try {
    return Afegir(nom, ITEMBLOCOPCIONS(copy, mida, TIPUS_BLOC_BINARI));
  } catch (CException* e) {
    e->Delete();
    return kFailed;
  }
}

int TBlocOpcions::EntraSubBloc(const wchar_t* nom, const TBlocOpcions* bloc) {
  try {
    ITEMBLOCOPCIONS value;
    value.SetBlocOpcions(bloc);
    return Afegir(nom, value);
  } catch (CException* e) {
    e->Delete();
    return kFailed;
  }
}

int TBlocOpcions::Buscar(const wchar_t* nom, ITEMBLOCOPCIONS& valor) const {
  std::wstring_view name = nom != nullptr ? nom : L"";
  std::size_t slash = name.find(L'/');
  const auto it = m_mapa.find(std::wstring(name.substr(0, slash)));
  if (slash == std::wstring_view::npos) {
    if (it == m_mapa.end()) return 0;
    valor = it->second;
    return 1;
  }
  if (it == m_mapa.end() || it->second.nTipus != TIPUS_BLOC_SUBBLOC) return 0;
  // Each deeper level is searched in its bytes, as the block TornaSubBloc would make
  // of them holds it, without making that block.
  Record level{std::wstring(), TIPUS_BLOC_SUBBLOC, static_cast<const unsigned char*>(it->second.pDades), it->second.nMida};
  for (;;) {
    name = name.substr(slash + 1);
    slash = name.find(L'/');
    Record found;
    if (!FindInBlock(level.payload, level.size, name.substr(0, slash), found)) return 0;
    if (slash == std::wstring_view::npos) {
      valor = found.Value();
      return 1;
    }
    if (found.type != TIPUS_BLOC_SUBBLOC) return 0;
    level = found;
  }
}

long TBlocOpcions::TornaValorInt32(const wchar_t* nom, long perDefecte) const {
  const auto it = m_mapa.find(nom != nullptr ? nom : L"");
  return it != m_mapa.end() && it->second.nTipus == TIPUS_BLOC_INT32 ? it->second.lValor : perDefecte;
}

double TBlocOpcions::TornaValorReal64(const wchar_t* nom, double perDefecte) const {
  const auto it = m_mapa.find(nom != nullptr ? nom : L"");
  return it != m_mapa.end() && it->second.nTipus == TIPUS_BLOC_REAL64 ? it->second.dValor : perDefecte;
}

CString TBlocOpcions::TornaValorString(const wchar_t* nom, const wchar_t* perDefecte) const {
  CString s;
  TornaValorString(nom, s, perDefecte);
  return s;
}

void TBlocOpcions::TornaValorString(const wchar_t* nom, CString& s, const wchar_t* perDefecte) const {
  const auto it = m_mapa.find(nom != nullptr ? nom : L"");
  s = it != m_mapa.end() && it->second.nTipus == TIPUS_BLOC_STRING ? static_cast<const wchar_t*>(it->second.pDades)
                                                                     : perDefecte;
}

void* TBlocOpcions::TornaValorBinari(const wchar_t* nom, unsigned long& mida) const {
  const auto it = m_mapa.find(nom != nullptr ? nom : L"");
  if (it == m_mapa.end() || it->second.nTipus != TIPUS_BLOC_BINARI) return nullptr;
  void* copy = std::malloc(it->second.nMida > 0 ? it->second.nMida : 1);
  if (copy == nullptr) return nullptr;
  if (it->second.nMida > 0) std::memcpy(copy, it->second.pDades, it->second.nMida);
  mida = it->second.nMida;
  return copy;
}

TBlocOpcions* TBlocOpcions::TornaSubBloc(const wchar_t* nom) const {
  const auto it = m_mapa.find(nom != nullptr ? nom : L"");
  if (it == m_mapa.end() || it->second.nTipus != TIPUS_BLOC_SUBBLOC) return nullptr;
  return new TBlocOpcions(static_cast<const unsigned char*>(it->second.pDades), static_cast<unsigned int>(it->second.nMida));
}

int TBlocOpcions::Eliminar(const wchar_t* nom) { return m_mapa.erase(nom != nullptr ? nom : L"") > 0; }

void TBlocOpcions::Reset() { m_mapa.clear(); }

POSITION TBlocOpcions::GetPrimer() const {
  return m_mapa.empty() ? nullptr : reinterpret_cast<POSITION>(const_cast<std::wstring*>(&m_mapa.begin()->first));
}

void TBlocOpcions::GetSeguent(POSITION& pos, CString& nom, ITEMBLOCOPCIONS& valor) const {
  if (pos == nullptr) return;
  auto it = m_mapa.find(*reinterpret_cast<const std::wstring*>(pos));
  if (it == m_mapa.end()) {
    pos = nullptr;
    return;
  }
  nom = it->first.c_str();
  valor = it->second;
  ++it;
  pos = it == m_mapa.end() ? nullptr : reinterpret_cast<POSITION>(const_cast<std::wstring*>(&it->first));
}

int TBlocOpcions::Enumerar(int (*pfn)(const wchar_t*, ITEMBLOCOPCIONS&, __int64), __int64 lParam) const {
  std::vector<std::wstring> names;
  for (const auto& entry : m_mapa) names.push_back(entry.first);
  std::sort(names.begin(), names.end(), Utf16Less);
  int result = 0;
  for (const std::wstring& name : names) {
    ITEMBLOCOPCIONS copy = m_mapa.at(name);
    result = pfn(name.c_str(), copy, lParam);
  }
  return result;
}

unsigned char* TBlocOpcions::ToBlocDades(unsigned int& mida) const {
  std::string block(kHeader, kHeaderSize);
  std::vector<std::wstring> names;
  for (const auto& entry : m_mapa) names.push_back(entry.first);
  std::sort(names.begin(), names.end(), Utf16Less);
  for (const std::wstring& name : names) {
    const ITEMBLOCOPCIONS& v = m_mapa.at(name);
    const std::u16string units = kwfw::WideToUtf16(name);
    Put(block, static_cast<std::uint16_t>(units.size()));
    block += NameToAnsi(units);
    block += static_cast<char>(v.nTipus);
    switch (v.nTipus) {
      case TIPUS_BLOC_INT32: Put(block, static_cast<std::uint32_t>(static_cast<std::int32_t>(v.lValor))); break;
      case TIPUS_BLOC_REAL64: {
        std::uint64_t bits;
        std::memcpy(&bits, &v.dValor, 8);
        Put(block, bits);
        break;
      }
      case TIPUS_BLOC_SUBBLOC:
      case TIPUS_BLOC_BINARI:
        Put(block, static_cast<std::uint32_t>(v.nMida));
        if (v.nMida > 0) block.append(static_cast<const char*>(v.pDades), v.nMida);
        break;
      case TIPUS_BLOC_STRING: {
        // The count is 16 bits: a text of more than 16383 characters does not survive.
        const std::u16string text = kwfw::WideToUtf16(v.pDades != nullptr ? static_cast<const wchar_t*>(v.pDades) : L"");
        Put(block, static_cast<std::uint16_t>(2 * text.size()));
        block += kwfw::Utf16LeBytes(text);
        break;
      }
      default: break;  // empty and narrow text: no payload
    }
  }
  auto* out = static_cast<unsigned char*>(std::malloc(block.size()));
  if (out == nullptr) {
    mida = 0;
    return nullptr;
  }
  std::memcpy(out, block.data(), block.size());
  mida = static_cast<unsigned int>(block.size());
  return out;
}

int TBlocOpcions::FromBlocDades(const unsigned char* dades, unsigned int mida, int bAfegir) {
  if (bAfegir == 0) Reset();
  Records records(dades, mida);
  if (const int r = records.Start(); r != 0) return r;
  int result = 0;
  Record record;
  for (int r; (r = records.Next(record)) != 0;) {
    if (r < 0) return r;
    result = Afegir(record.name.c_str(), record.Value());
    if (result < 0) return result;
  }
  return result;
}
