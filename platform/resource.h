// Resource string tables. A module (the executable or a shared library)
// registers its tables while it is being loaded; the tables are kept as Windows
// keeps them: blocks of 16 strings, block n holding ids (n - 1) * 16 to n * 16 - 1,
// each string a 16-bit length followed by that many UTF-16 units, in one language.
//
//   static const KW_STRINGRESOURCE kFrench[] = {{18000, L"..."}, ...};
//   static const KW_STRINGTABLE kTables[] = {{LANG_FR_FR, kFrench, std::size(kFrench)}};
//   static const CStringTableRegistration kRegistration(&kTables, kTables, LANG_FR_FR);
#pragma once

#include <cstddef>
#include <span>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

inline LPWSTR MAKEINTRESOURCEW(WORD id) { return reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(id)); }
inline bool IS_INTRESOURCE(LPCWSTR r) { return (reinterpret_cast<ULONG_PTR>(r) >> 16) == 0; }
#define RT_STRING MAKEINTRESOURCEW(6)

struct KW_API KW_STRINGRESOURCE {
  UINT id;
  const wchar_t* text;
};

struct KW_API KW_STRINGTABLE {
  LANGID language;
  const KW_STRINGRESOURCE* strings;
  std::size_t count;
};

namespace kwplat {

// Registers the tables of the module that contains `anchor` (any address inside
// it) and returns that module. Languages 0 and 0x0400 resolve to `defaultLanguage`
// in that module. A second registration of a module replaces the first.
KW_API HMODULE RegisterStringTables(const void* anchor, std::span<const KW_STRINGTABLE> tables, LANGID defaultLanguage);
KW_API void UnregisterStringTables(HMODULE module);

// The string-table block `name` of `module` in exactly `language`, or null with
// ERROR_RESOURCE_*_NOT_FOUND. Only RT_STRING is served.
KW_API HRSRC FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language);
// The block's data, or null with ERROR_RESOURCE_DATA_NOT_FOUND when `resource` is
// not a block of `module` (any more). Valid while the module stays registered.
KW_API HGLOBAL LoadResource(HMODULE module, HRSRC resource);
KW_API LPVOID LockResource(HGLOBAL data);
KW_API DWORD SizeofResource(HMODULE module, HRSRC resource);

// String `id` of `module` (null: the executable) in the module's default language,
// or else in the lowest language the module has it in. Copies at most
// bufferMax - 1 units and a terminator; returns the count copied, 0 when there is
// no such string (an empty string counts as none).
KW_API int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int bufferMax);

}  // namespace kwplat

// Registers a module's string tables for as long as the object lives.
class KW_API CStringTableRegistration {
 public:
  CStringTableRegistration(const void* anchor, std::span<const KW_STRINGTABLE> tables, LANGID defaultLanguage)
      : m_hModule(kwplat::RegisterStringTables(anchor, tables, defaultLanguage)) {}
  ~CStringTableRegistration() { kwplat::UnregisterStringTables(m_hModule); }
  CStringTableRegistration(const CStringTableRegistration&) = delete;
  CStringTableRegistration& operator=(const CStringTableRegistration&) = delete;
  HMODULE GetModule() const { return m_hModule; }

 private:
  HMODULE m_hModule;
};
