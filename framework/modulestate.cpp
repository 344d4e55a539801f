#include <kwlib63/framework/modulestate.h>

#include <mutex>

#include <kwlib63/platform/module.h>

IMPLEMENT_DYNAMIC(CDynLinkLibrary, CObject)

namespace {
// Never destroyed: the library unlinks itself while the process exits, after
// ordinary static objects are gone.
std::recursive_mutex& GlobalLock() {
  static auto* lock = new std::recursive_mutex;
  return *lock;
}
}  // namespace

void AfxLockGlobals(int) { GlobalLock().lock(); }
void AfxUnlockGlobals(int) { GlobalLock().unlock(); }

AFX_MODULE_STATE* AfxGetModuleState() {
  static AFX_MODULE_STATE state = [] {
    AFX_MODULE_STATE s;
    s.m_hCurrentInstanceHandle = kwplat::GetModuleHandleW(nullptr);
    s.m_hCurrentResourceHandle = s.m_hCurrentInstanceHandle;
    return s;
  }();
  return &state;
}

void CDynLinkLibraryList::AddTail(CDynLinkLibrary* library) {
  CDynLinkLibrary** link = &m_pHead;
  while (*link != nullptr) link = &(*link)->m_pNextDLL;
  *link = library;
}

void CDynLinkLibraryList::Remove(CDynLinkLibrary* library) {
  for (CDynLinkLibrary** link = &m_pHead; *link != nullptr; link = &(*link)->m_pNextDLL) {
    if (*link == library) {
      *link = library->m_pNextDLL;
      return;
    }
  }
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system)
    : m_hModule(state.hModule), m_hResource(state.hResource), m_bSystem(system) {
  AfxLockGlobals(CRIT_DYNLINKLIST);
  AfxGetModuleState()->m_libraryList.AddTail(this);
  AfxUnlockGlobals(CRIT_DYNLINKLIST);
}

CDynLinkLibrary::~CDynLinkLibrary() {
  AfxLockGlobals(CRIT_DYNLINKLIST);
  AfxGetModuleState()->m_libraryList.Remove(this);
  AfxUnlockGlobals(CRIT_DYNLINKLIST);
}

BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module) {
  if (state.bInitialized) return TRUE;
  if (module == nullptr) return FALSE;
  state.hModule = module;
  state.hResource = module;
  state.bInitialized = TRUE;
  return TRUE;
}

void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all) {
  AfxLockGlobals(CRIT_DYNLINKLIST);
  CDynLinkLibraryList& list = AfxGetModuleState()->m_libraryList;
  for (CDynLinkLibrary* lib = list.GetHead(); lib != nullptr;) {
    CDynLinkLibrary* next = CDynLinkLibraryList::GetNext(lib);
    if (all || lib->m_hModule == state.hModule) delete lib;
    lib = next;
  }
  AfxUnlockGlobals(CRIT_DYNLINKLIST);
}

HINSTANCE AfxGetInstanceHandle() { return AfxGetModuleState()->m_hCurrentInstanceHandle; }
HINSTANCE AfxGetResourceHandle() { return AfxGetModuleState()->m_hCurrentResourceHandle; }
void AfxSetResourceHandle(HINSTANCE resource) { AfxGetModuleState()->m_hCurrentResourceHandle = resource; }
