// The process's module state: the executable's instance and current resource
// module, the application object, and the chain of libraries whose resources the
// process searches (extension modules, each a CDynLinkLibrary, in link order).
// Linux has one module state per process: every module shares it.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/object.h>
#include <kwlib63/framework/wintypes.h>

class CWinApp;

struct KW_API AFX_EXTENSION_MODULE {
  BOOL bInitialized;
  HMODULE hModule;
  HMODULE hResource;
};

class KW_API CDynLinkLibrary : public CObject {
  DECLARE_DYNAMIC(CDynLinkLibrary)
 public:
  // Links the module at the end of the chain; unlinked when destroyed.
  explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system = FALSE);
  ~CDynLinkLibrary() override;
  CDynLinkLibrary(const CDynLinkLibrary&) = delete;
  CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;

  HMODULE m_hModule;
  HMODULE m_hResource;
  BOOL m_bSystem;
  CDynLinkLibrary* m_pNextDLL = nullptr;
};

// The chain of libraries; walk it only between AfxLockGlobals(CRIT_DYNLINKLIST)
// and AfxUnlockGlobals(CRIT_DYNLINKLIST).
class KW_API CDynLinkLibraryList {
 public:
  CDynLinkLibrary* GetHead() const { return m_pHead; }
  static CDynLinkLibrary* GetNext(const CDynLinkLibrary* library) { return library->m_pNextDLL; }
  void AddTail(CDynLinkLibrary* library);
  void Remove(CDynLinkLibrary* library);

 private:
  CDynLinkLibrary* m_pHead = nullptr;
};

struct KW_API AFX_MODULE_STATE {
  BOOL m_bSystem = FALSE;
  HINSTANCE m_hCurrentInstanceHandle = nullptr;
  HINSTANCE m_hCurrentResourceHandle = nullptr;  // set by the application at start-up
  CWinApp* m_pCurrentWinApp = nullptr;
  CDynLinkLibraryList m_libraryList;
};

KW_API AFX_MODULE_STATE* AfxGetModuleState();

inline constexpr int CRIT_DYNLINKLIST = 0;
// The framework's global lock (recursive).
KW_API void AfxLockGlobals(int lockType);
KW_API void AfxUnlockGlobals(int lockType);

// Records the module's handle; its resources are its own until changed.
KW_API BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module);
// Unlinks and frees the module's CDynLinkLibrary entries.
KW_API void AfxTermExtensionModule(AFX_EXTENSION_MODULE& state, BOOL all = FALSE);

KW_API HINSTANCE AfxGetInstanceHandle();
KW_API HINSTANCE AfxGetResourceHandle();
KW_API void AfxSetResourceHandle(HINSTANCE resource);
