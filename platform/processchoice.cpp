#include "processchoice.h"

#include <cstdlib>

#include <kwlib63/framework/textconv.h>

namespace kwplat {

void ProcessChoice::Set(LPCWSTR value) {
  std::lock_guard guard(m_lock);
  m_value = value != nullptr ? kwfw::WideToUtf8(value) : std::string();
}

std::string ProcessChoice::Get() const {
  {
    std::lock_guard guard(m_lock);
    if (!m_value.empty()) return m_value;
  }
  const char* variable = std::getenv(m_variable);
  return variable != nullptr && *variable != '\0' ? variable : m_fallback;
}

}  // namespace kwplat
