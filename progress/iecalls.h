// The library's own calls of a status indicator that may be null: each answers
// as the null indicator does (go on, nothing shown) without calling through a
// null pointer.
#pragma once

#include <kwlib63/progress/indicadorestat.h>

namespace kwprog {

inline int MostrarEstatRel(TIndicadorEstat* ie, double rel) { return ie != nullptr ? ie->MostrarEstatRel(rel) : 1; }
inline int SetRangPosicioRel(TIndicadorEstat* ie, unsigned long long pos, unsigned long long total) {
  return ie != nullptr ? ie->SetRangPosicioRel(pos, total) : 1;
}
inline int PopRangRel(TIndicadorEstat* ie) { return ie != nullptr ? ie->PopRangRel() : 1; }

}  // namespace kwprog
