#include <kwlib63/platform/module.h>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstring>
#include <cwchar>
#include <map>
#include <mutex>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>

namespace kwplat {
namespace {

// The address of the first loadable segment that starts at file offset 0: the
// ELF header of the object, which dladdr reports as dli_fbase too.
const void* HeaderAddress(const dl_phdr_info* info) {
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& ph = info->dlpi_phdr[i];
    if (ph.p_type == PT_LOAD && ph.p_offset == 0) return reinterpret_cast<const void*>(info->dlpi_addr + ph.p_vaddr);
  }
  return nullptr;
}

std::string ExecutablePath() {
  std::string path(4096, '\0');
  const ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
  path.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  return path;
}

struct Search {
  std::string name;  // empty: the executable
  const void* found = nullptr;
};

int Visit(dl_phdr_info* info, std::size_t, void* data) {
  auto* search = static_cast<Search*>(data);
  const void* header = HeaderAddress(info);
  if (search->name.empty()) {  // the executable comes first
    search->found = header;
    return 1;
  }
  const std::string file = info->dlpi_name != nullptr ? info->dlpi_name : "";
  if (file.empty()) return 0;
  const std::size_t slash = file.rfind('/');
  if (file == search->name || file.substr(slash == std::string::npos ? 0 : slash + 1) == search->name) {
    search->found = header;
    return 1;
  }
  return 0;
}

// The dynamic linker's handles of the libraries LoadLibraryW loaded, by module,
// one per load not yet freed.
std::mutex g_loadedLock;  // guards g_loaded
std::multimap<HMODULE, void*> g_loaded;

}  // namespace

HMODULE GetModuleHandleW(LPCWSTR name) {
  Search search;
  if (name != nullptr) {
    search.name = kwfw::WideToUtf8(name);
    if (search.name.empty()) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return nullptr;
    }
  }
  dl_iterate_phdr(Visit, &search);
  if (search.found == nullptr) SetLastError(ERROR_MOD_NOT_FOUND);
  return static_cast<HMODULE>(const_cast<void*>(search.found));
}

HMODULE GetModuleFromAddress(const void* address) {
  Dl_info info;
  if (address == nullptr || dladdr(address, &info) == 0) return nullptr;
  return static_cast<HMODULE>(info.dli_fbase);
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
  const HMODULE exe = GetModuleHandleW(nullptr);
  if (module == nullptr) module = exe;
  std::string path;
  if (module == exe) {
    path = ExecutablePath();
  } else {
    Dl_info info;
    if (dladdr(module, &info) == 0 || info.dli_fbase != static_cast<void*>(module)) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return 0;
    }
    path = info.dli_fname != nullptr ? info.dli_fname : "";
  }
  const std::wstring wide = kwfw::Utf8ToWide(path);
  if (buffer == nullptr || size == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (wide.size() >= size) {
    std::wmemcpy(buffer, wide.c_str(), size - 1);
    buffer[size - 1] = 0;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  std::wmemcpy(buffer, wide.c_str(), wide.size() + 1);
  return static_cast<DWORD>(wide.size());
}

HMODULE LoadLibraryW(LPCWSTR path) {
  const std::string file = path != nullptr ? kwfw::WideToUtf8(path) : std::string();
  void* handle = file.empty() ? nullptr : dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  link_map* map = nullptr;
  Dl_info info;
  if (handle == nullptr || dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || dladdr(map->l_ld, &info) == 0) {
    if (handle != nullptr) dlclose(handle);
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  const auto module = static_cast<HMODULE>(info.dli_fbase);
  std::lock_guard guard(g_loadedLock);
  g_loaded.emplace(module, handle);
  return module;
}

BOOL FreeLibrary(HMODULE module) {
  void* handle = nullptr;
  {
    std::lock_guard guard(g_loadedLock);
    const auto at = g_loaded.find(module);
    if (at == g_loaded.end()) {
      SetLastError(ERROR_INVALID_HANDLE);
      return FALSE;
    }
    handle = at->second;
    g_loaded.erase(at);
  }
  dlclose(handle);
  return TRUE;
}

void* GetProcAddress(HMODULE module, LPCSTR name) {
  wchar_t path[4096];
  const DWORD length = GetModuleFileNameW(module, path, 4096);
  const bool exe = module == nullptr || module == GetModuleHandleW(nullptr);
  // A handle of our own keeps the module loaded while it is searched.
  void* handle = length == 0 || length >= 4096 || name == nullptr
                     ? nullptr
                     : dlopen(exe ? nullptr : kwfw::WideToUtf8(path).c_str(), RTLD_LAZY | RTLD_NOLOAD);
  void* symbol = handle != nullptr ? dlsym(handle, name) : nullptr;
  // dlsym also searches the module's dependencies; only the module's own count.
  Dl_info info;
  if (symbol != nullptr && (dladdr(symbol, &info) == 0 || info.dli_fbase != (exe ? GetModuleHandleW(nullptr) : module))) {
    symbol = nullptr;
  }
  if (handle != nullptr) dlclose(handle);
  if (symbol == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
  return symbol;
}

}  // namespace kwplat
