// kwlib's own string table: its title, which names its registry folder
// (Software\Tormel\kwlib), where its settings such as the active unit are kept.
#include <iterator>

#include <kwlib63/platform/resource.h>

namespace {

const KW_STRINGRESOURCE kStrings[] = {{57344, L"kwlib"}};
const KW_STRINGTABLE kTables[] = {{LANG_EN_US, kStrings, std::size(kStrings)}};
const CStringTableRegistration kRegistration(&kTables, kTables, LANG_EN_US);

}  // namespace
