#include <kwlib63/platform/resource.h>

#include <cwchar>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/module.h>

// HRSRC and HGLOBAL are the address of a block's image; blocks never move or
// change while their module stays registered.

namespace kwplat {
namespace {

using BlockKey = std::pair<WORD, LANGID>;  // block number, language

struct ModuleStrings {
  LANGID defaultLanguage = 0;
  std::map<BlockKey, std::u16string> blocks;
};

// Never destroyed: modules unregister while the process exits, after ordinary
// static objects are gone.
std::shared_mutex& RegistryLock() {
  static auto* lock = new std::shared_mutex;
  return *lock;
}
std::map<HMODULE, ModuleStrings>& Registry() {  // guarded by RegistryLock()
  static auto* registry = new std::map<HMODULE, ModuleStrings>;
  return *registry;
}

std::u16string BuildBlock(const std::u16string (&entries)[16]) {
  std::u16string image;
  for (const std::u16string& e : entries) {
    image += static_cast<char16_t>(e.size());
    image += e;
  }
  return image;
}

LANGID Resolve(const ModuleStrings& m, WORD language) {
  return language == LANG_NEUTRAL || language == LANG_USER_DEFAULT ? m.defaultLanguage : language;
}

}  // namespace

HMODULE RegisterStringTables(const void* anchor, std::span<const KW_STRINGTABLE> tables, LANGID defaultLanguage) {
  const HMODULE module = GetModuleFromAddress(anchor);
  if (module == nullptr) return nullptr;
  ModuleStrings strings;
  strings.defaultLanguage = defaultLanguage;
  for (const KW_STRINGTABLE& table : tables) {
    std::map<WORD, std::u16string[16]> entries;
    for (std::size_t i = 0; i < table.count; ++i) {
      const KW_STRINGRESOURCE& s = table.strings[i];
      if (s.id > 0xFFFF || s.text == nullptr) continue;
      std::u16string text = kwfw::WideToUtf16(s.text);
      if (text.size() > 0xFFFF) text.resize(0xFFFF);
      entries[static_cast<WORD>(s.id / 16 + 1)][s.id % 16] = std::move(text);
    }
    for (const auto& [block, list] : entries) strings.blocks[{block, table.language}] = BuildBlock(list);
  }
  std::unique_lock lock(RegistryLock());
  Registry()[module] = std::move(strings);
  return module;
}

void UnregisterStringTables(HMODULE module) {
  std::unique_lock lock(RegistryLock());
  Registry().erase(module);
}

HRSRC FindResourceExW(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language) {
  if (module == nullptr) module = GetModuleHandleW(nullptr);
  std::shared_lock lock(RegistryLock());
  const auto m = Registry().find(module);
  if (m == Registry().end()) {
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
  }
  if (type != RT_STRING) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
  }
  if (!IS_INTRESOURCE(name)) {
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return nullptr;
  }
  const auto block = static_cast<WORD>(reinterpret_cast<ULONG_PTR>(name));
  const auto it = m->second.blocks.find({block, Resolve(m->second, language)});
  if (it == m->second.blocks.end()) {
    SetLastError(ERROR_RESOURCE_LANG_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<HRSRC>(const_cast<std::u16string*>(&it->second));
}

namespace {
// The block `resource` names when it is still one of `module`'s, else null: a
// module unregistered since FindResourceExW no longer has it.
const std::u16string* LiveBlock(HMODULE module, HRSRC resource) {
  if (module == nullptr) module = GetModuleHandleW(nullptr);
  std::shared_lock lock(RegistryLock());
  const auto m = Registry().find(module);
  if (m == Registry().end() || resource == nullptr) return nullptr;
  for (const auto& [key, block] : m->second.blocks) {
    if (reinterpret_cast<HRSRC>(const_cast<std::u16string*>(&block)) == resource) return &block;
  }
  return nullptr;
}
}  // namespace

HGLOBAL LoadResource(HMODULE module, HRSRC resource) {
  const std::u16string* block = LiveBlock(module, resource);
  if (block == nullptr) {
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
  }
  return const_cast<char16_t*>(block->data());
}

LPVOID LockResource(HGLOBAL data) { return data; }

DWORD SizeofResource(HMODULE module, HRSRC resource) {
  const std::u16string* block = LiveBlock(module, resource);
  return block != nullptr ? static_cast<DWORD>(block->size() * sizeof(char16_t)) : 0;
}

int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int bufferMax) {
  if (buffer == nullptr || bufferMax <= 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  *buffer = 0;
  if (module == nullptr) module = GetModuleHandleW(nullptr);
  std::shared_lock lock(RegistryLock());
  const auto m = Registry().find(module);
  if (m == Registry().end() || id > 0xFFFF) {
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return 0;
  }
  const auto block = static_cast<WORD>(id / 16 + 1);
  auto it = m->second.blocks.find({block, m->second.defaultLanguage});
  if (it == m->second.blocks.end()) it = m->second.blocks.lower_bound({block, 0});
  if (it == m->second.blocks.end() || it->first.first != block) {
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return 0;
  }
  const std::u16string& image = it->second;
  std::size_t pos = 0;
  for (UINT i = 0; i < id % 16; ++i) pos += 1 + image[pos];
  const std::size_t len = image[pos];
  if (len == 0) {
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return 0;
  }
  const std::wstring text = kwfw::Utf16ToWide(std::u16string_view(image).substr(pos + 1, len));
  const std::size_t n = std::min<std::size_t>(text.size(), static_cast<std::size_t>(bufferMax) - 1);
  std::wmemcpy(buffer, text.c_str(), n);
  buffer[n] = 0;
  return static_cast<int>(n);
}

}  // namespace kwplat
