#include "exestrings.h"

#include <iterator>

#include <kwlib63/platform/resource.h>

namespace kwtest {

const std::wstring kLongString(700, L'\u00E9');

namespace {
const KW_STRINGRESOURCE kStrings[] = {{40001, kLongString.c_str()}, {40002, L"short"}, {57344, kTitle}};
const KW_STRINGTABLE kTables[] = {{LANG_FR_FR, kStrings, std::size(kStrings)}};
const CStringTableRegistration kRegistration(&kTables, kTables, LANG_FR_FR);
}  // namespace

}  // namespace kwtest
