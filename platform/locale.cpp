#include <kwlib63/platform/locale.h>

#include <langinfo.h>
#include <locale.h>

#include <kwlib63/platform/lasterror.h>

namespace kwplat {

int GetLocaleInfoW(LCID /*locale*/, LCTYPE type, LPWSTR data, int size) {
  if (type != LOCALE_IMEASURE) {
    SetLastError(ERROR_INVALID_FLAGS);
    return 0;
  }
  locale_t user = newlocale(LC_MEASUREMENT_MASK, "", static_cast<locale_t>(nullptr));
  if (user == static_cast<locale_t>(nullptr)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  // glibc answers 1 for metric and 2 for US customary, as the first byte.
  const bool us = nl_langinfo_l(_NL_MEASUREMENT_MEASUREMENT, user)[0] == 2;
  freelocale(user);
  if (size == 0) return 2;
  if (data == nullptr || size < 2) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  data[0] = us ? L'1' : L'0';
  data[1] = L'\0';
  return 2;
}

}  // namespace kwplat
