// A file descriptor with one owner, closed when the owner goes; moved, never
// copied. The close is close(2) itself: the descriptors of the write paths, which
// tests make fail through Sys() (syscalls.h), are closed there and not held here.
#pragma once

#include <unistd.h>

#include <utility>

namespace kwplat {

class UniqueFd {
 public:
  UniqueFd() = default;
  // Takes `fd`; a negative one (a failed open's -1) holds nothing.
  explicit UniqueFd(int fd) : m_fd(fd) {}
  ~UniqueFd() { Reset(); }
  UniqueFd(UniqueFd&& other) noexcept : m_fd(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  // The descriptor, still owned here; negative for none.
  int Get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }
  // Hands the descriptor over, unclosed; nothing is held afterwards.
  int Release() { return std::exchange(m_fd, -1); }
  // Closes what is held and takes `fd`. Linux releases a descriptor even when its
  // close fails, so there is nothing to report or retry.
  void Reset(int fd = -1) {
    if (m_fd >= 0) close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd = -1;
};

}  // namespace kwplat
