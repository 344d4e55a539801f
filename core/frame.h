// The library frame: what happens when libkwlib63 is loaded into a process and
// unloaded from it, how another module links the library into its own view of
// the resource chain, and the current user-interface language.
//
// At load the library (1) records itself as an extension module, (2) asks
// qzmultilangLoadLibrary for the module that holds the resources of the chosen
// language and makes it its resource module, and (3) links itself into the
// process's chain of resource modules, ahead of the modules linked after it.
#pragma once

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/modulestate.h>
#include <kwlib63/framework/wintypes.h>

extern "C" {
// Links the library into the caller's module state; returns what
// AfxLinkExtensionModule returns. For the maker's regular libraries.
KW_API int KWLib_LinkDll();

// Returns the module that holds the resources of the chosen language, given the
// library's own module. The library's own version returns `instance`: the
// library's tables, French by default and English. It is called once, while the
// library is loaded; a program replaces it by defining a function of this name
// and exporting it (link with -rdynamic, or ENABLE_EXPORTS in CMake).
KW_API HINSTANCE qzmultilangLoadLibrary(HINSTANCE instance);
}

// Links `module` into the current module state's chain: 1 when it is there or
// has been added (also when the entry could not be allocated), 0 when there is
// no module state.
KW_API int AfxLinkExtensionModule(AFX_EXTENSION_MODULE& module);

// The current language (a Windows language id, 0x0400 at load); one value for
// the process. AfxSetLanguage returns the previous one.
KW_API unsigned short AfxSetLanguage(unsigned short langId);
KW_API unsigned short AfxGetLanguage();

// The library's own module and its resource module.
KW_API HINSTANCE AfxGetKWLibInstance();
KW_API HINSTANCE AfxGetKWLibResource();
