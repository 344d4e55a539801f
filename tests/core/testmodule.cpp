// A module with its own string tables, in English by default, standing in for a
// language module or for one of the maker's libraries that links into the chain.
#include <kwlib63/framework/modulestate.h>
#include <kwlib63/platform/resource.h>

namespace {
const KW_STRINGRESOURCE kEnglish[] = {
    {18000, L"module: not enough memory"},
    {30001, L""},  // empty: counts as missing
    {30040, L"30040 from the module"},
    {30003, L"30003 from the module"},
};
const KW_STRINGTABLE kTables[] = {{LANG_EN_US, kEnglish, std::size(kEnglish)}};
const CStringTableRegistration kRegistration(&kTables, kTables, LANG_EN_US);
AFX_EXTENSION_MODULE g_module = {};
}  // namespace

extern "C" AFX_EXTENSION_MODULE* kwtest_module() {
  AfxInitExtensionModule(g_module, kRegistration.GetModule());
  return &g_module;
}
