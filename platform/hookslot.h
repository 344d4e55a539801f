// A replaceable process-wide callback with its context pointer, as the message-box
// handler and the debug-output sink are. Internal to platform/.
#pragma once

#include <mutex>

namespace kwplat {

template <typename Fn>
class HookSlot {
 public:
  explicit constexpr HookSlot(Fn fallback) : m_fallback(fallback), m_fn(fallback) {}

  // Installs `fn` (null: the fallback) and returns the previous one and its context.
  Fn Set(Fn fn, void* context, void** previousContext) {
    std::lock_guard lock(m_lock);
    const Fn previous = m_fn;
    if (previousContext != nullptr) *previousContext = m_context;
    m_fn = fn != nullptr ? fn : m_fallback;
    m_context = fn != nullptr ? context : nullptr;
    return previous;
  }

  // Calls the installed callback, outside the lock, with its context last.
  template <typename... Args>
  auto Call(Args... args) {
    Fn fn;
    void* context;
    {
      std::lock_guard lock(m_lock);
      fn = m_fn;
      context = m_context;
    }
    return fn(args..., context);
  }

 private:
  const Fn m_fallback;
  std::mutex m_lock;  // guards m_fn, m_context
  Fn m_fn;
  void* m_context = nullptr;
};

}  // namespace kwplat
