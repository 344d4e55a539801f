#include <kwlib63/res/resource.h>

namespace kwres {

extern const KW_STRINGRESOURCE kStringsFrench[];
extern const std::size_t kStringsFrenchCount;
extern const KW_STRINGRESOURCE kStringsEnglish[];
extern const std::size_t kStringsEnglishCount;

std::span<const KW_STRINGTABLE> LibraryStringTables() {
  static const KW_STRINGTABLE tables[] = {
      {LANG_FR_FR, kStringsFrench, kStringsFrenchCount},
      {LANG_EN_US, kStringsEnglish, kStringsEnglishCount},
  };
  return tables;
}

}  // namespace kwres
