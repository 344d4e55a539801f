// GuardedBuffer: `size` bytes that end exactly where an inaccessible (PROT_NONE)
// page begins, so that a decoder reading one byte past its input faults at once.
// Owns its mapping; not copyable. A buffer of 0 bytes points at the guard page.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace kwtest {

class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t size) : m_size(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t pages = (size + page - 1) / page;
    m_length = (pages + 1) * page;
    void* base = mmap(nullptr, m_length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) throw std::runtime_error("GuardedBuffer: mmap failed");
    m_base = static_cast<unsigned char*>(base);
    if (mprotect(m_base + pages * page, page, PROT_NONE) != 0) {
      munmap(m_base, m_length);
      throw std::runtime_error("GuardedBuffer: mprotect failed");
    }
    m_data = m_base + pages * page - size;
  }
  // A copy of `size` bytes of `bytes`, placed against the guard page.
  GuardedBuffer(const void* bytes, std::size_t size) : GuardedBuffer(size) {
    if (size != 0) std::memcpy(m_data, bytes, size);
  }
  ~GuardedBuffer() { munmap(m_base, m_length); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  unsigned char* data() { return m_data; }
  const unsigned char* data() const { return m_data; }
  std::size_t size() const { return m_size; }
  // The bytes seen as an array of T (the end of a page is aligned for any T whose
  // size divides `size`).
  template <typename T>
  const T* As() const {
    return reinterpret_cast<const T*>(m_data);
  }

 private:
  unsigned char* m_base = nullptr;
  unsigned char* m_data = nullptr;
  std::size_t m_size = 0;
  std::size_t m_length = 0;
};

}  // namespace kwtest
