// Bytes that end exactly where an inaccessible page begins, so that reading or
// writing one byte past them faults at once (the sanitizers miss such accesses
// when they stay inside a larger heap block).
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

namespace kwtest {

class GuardedBuffer {
 public:
  // `n` writable bytes (zeros), the last one just before a PROT_NONE page; with
  // n = 0, data() points at that page.
  explicit GuardedBuffer(std::size_t n) : m_size(n) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (n + page - 1) / page * page;
    m_length = usable + page;
    void* base = mmap(nullptr, m_length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) throw std::runtime_error("mmap failed");
    m_base = static_cast<unsigned char*>(base);
    if (mprotect(m_base + usable, page, PROT_NONE) != 0) {
      munmap(m_base, m_length);
      throw std::runtime_error("mprotect failed");
    }
    m_data = m_base + usable - n;
  }
  ~GuardedBuffer() { munmap(m_base, m_length); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  unsigned char* data() { return m_data; }
  std::size_t size() const { return m_size; }

 private:
  unsigned char* m_base = nullptr;
  std::size_t m_length = 0;
  unsigned char* m_data = nullptr;
  std::size_t m_size = 0;
};

}  // namespace kwtest
