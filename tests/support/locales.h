// The locales that tests comparing text run in: the plain one, UTF-8, and Turkish,
// whose dotted and dotless i break case folding that leans on the locale.
#pragma once

#include <clocale>
#include <string>

namespace kwtest {

inline constexpr const char* kTextLocales[] = {"C", "C.UTF-8", "tr_TR.UTF-8"};

// Sets LC_ALL for as long as it lives, then puts the former one back.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) : m_former(std::setlocale(LC_ALL, nullptr)) {
    m_ok = std::setlocale(LC_ALL, name) != nullptr;
  }
  ~ScopedLocale() { std::setlocale(LC_ALL, m_former.c_str()); }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;
  // False when the locale is not generated on this machine (scripts/install-deps).
  bool Ok() const { return m_ok; }

 private:
  std::string m_former;
  bool m_ok = false;
};

}  // namespace kwtest
