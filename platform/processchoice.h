// A process-wide choice (a bus, a folder, a configuration file) that a call can
// make, an environment variable can give, and that otherwise has a default.
#pragma once

#include <mutex>
#include <string>

#include <kwlib63/framework/wintypes.h>

namespace kwplat {

class ProcessChoice {
 public:
  // `fallback` may be empty: no default.
  ProcessChoice(const char* variable, const char* fallback) : m_variable(variable), m_fallback(fallback) {}
  ProcessChoice(const ProcessChoice&) = delete;
  ProcessChoice& operator=(const ProcessChoice&) = delete;

  // Null or empty goes back to the variable and the default.
  void Set(LPCWSTR value);
  // What was set, else the variable when set and not empty, else the default.
  std::string Get() const;

 private:
  const char* m_variable;
  const char* m_fallback;
  mutable std::mutex m_lock;  // guards m_value
  std::string m_value;
};

}  // namespace kwplat
