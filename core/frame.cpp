#include <kwlib63/core/frame.h>

#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <new>

#include <kwlib63/platform/module.h>
#include <kwlib63/platform/resource.h>
#include <kwlib63/res/resource.h>

namespace {

AFX_EXTENSION_MODULE g_kwlibDLL = {};
std::atomic<unsigned short> g_language{LANG_USER_DEFAULT};
CStringTableRegistration* g_strings = nullptr;

using MultilangHook = HINSTANCE (*)(HINSTANCE);

// The program's own qzmultilangLoadLibrary when it exports one, else ours.
MultilangHook FindMultilangHook() {
  void* symbol = dlsym(RTLD_DEFAULT, "qzmultilangLoadLibrary");
  return symbol != nullptr ? reinterpret_cast<MultilangHook>(symbol) : &qzmultilangLoadLibrary;
}

__attribute__((constructor)) void ProcessAttach() {
  const HINSTANCE instance = kwplat::GetModuleFromAddress(reinterpret_cast<const void*>(&ProcessAttach));
  g_strings = new CStringTableRegistration(&g_kwlibDLL, kwres::LibraryStringTables(), KW_DEFAULT_LANGUAGE);
  if (!AfxInitExtensionModule(g_kwlibDLL, instance)) {
    std::fputs("kwlib63: the library could not locate its own module\n", stderr);
    return;
  }
  g_kwlibDLL.hResource = FindMultilangHook()(instance);
  new CDynLinkLibrary(g_kwlibDLL);
}

__attribute__((destructor)) void ProcessDetach() {
  AfxTermExtensionModule(g_kwlibDLL);
  delete g_strings;
  g_strings = nullptr;
}

}  // namespace

extern "C" HINSTANCE qzmultilangLoadLibrary(HINSTANCE instance) { return instance; }

extern "C" int KWLib_LinkDll() { return AfxLinkExtensionModule(g_kwlibDLL); }

int AfxLinkExtensionModule(AFX_EXTENSION_MODULE& module) {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  if (state == nullptr) return 0;
  AfxLockGlobals(CRIT_DYNLINKLIST);
  for (CDynLinkLibrary* lib = state->m_libraryList.GetHead(); lib != nullptr; lib = CDynLinkLibraryList::GetNext(lib)) {
    if (!lib->m_bSystem && lib->m_hModule == module.hModule) {
      AfxUnlockGlobals(CRIT_DYNLINKLIST);
      return 1;
    }
  }
  AfxUnlockGlobals(CRIT_DYNLINKLIST);
  // The entry links itself into the chain; it is freed when its module is terminated.
  (void)new (std::nothrow) CDynLinkLibrary(module);
  return 1;
}

unsigned short AfxSetLanguage(unsigned short langId) { return g_language.exchange(langId); }
unsigned short AfxGetLanguage() { return g_language.load(); }

HINSTANCE AfxGetKWLibInstance() { return g_kwlibDLL.hModule; }
HINSTANCE AfxGetKWLibResource() { return g_kwlibDLL.hResource; }
