// An environment variable set, or unset, for as long as the object lives; the
// earlier value comes back afterwards.
#pragma once

#include <stdlib.h>

#include <optional>
#include <string>

namespace kwtest {

class ScopedEnv {
 public:
  // A null `value` unsets the variable.
  ScopedEnv(const char* name, const char* value) : m_name(name) {
    if (const char* old = getenv(name)) m_old = old;
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (m_old) {
      setenv(m_name.c_str(), m_old->c_str(), 1);
    } else {
      unsetenv(m_name.c_str());
    }
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_name;
  std::optional<std::string> m_old;
};

}  // namespace kwtest
