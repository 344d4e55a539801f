// Shared pieces of the persist fault tests: the file exception a fault must raise.
#pragma once

#include <cerrno>

#include <kwlib63/framework/exception.h>

#include "support/faultplan.h"

namespace kwtest {

// The cause and system error a CFileException carries for the injected error.
inline int CauseOf(const Fault& fault) { return fault.error == ENOSPC ? CFileException::diskFull : CFileException::hardIO; }
inline LONG OsErrorOf(const Fault& fault) { return fault.error == ENOSPC ? 112 : 1117; }

}  // namespace kwtest
