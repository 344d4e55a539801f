// CopyBytes: memcpy for the short copies a record file makes per record. A call
// into the C library's memcpy costs more than moving fifty bytes, so copies of up
// to 64 bytes are made here with moves of fixed sizes that stay inline; longer
// ones go to memcpy.
#pragma once

#include <cstddef>
#include <cstring>

namespace kwfw {

namespace detail {
// A fixed-size copy compiles to a few register moves.
template <std::size_t N>
inline void MoveFixed(unsigned char* to, const unsigned char* from) {
  std::memcpy(to, from, N);
}

// A head and a tail of N bytes each, overlapping in the middle: for N <= n <= 2N
// every byte of [0, n) is copied and nothing outside it is read or written.
template <std::size_t N>
inline void MoveEnds(unsigned char* to, const unsigned char* from, std::size_t n) {
  MoveFixed<N>(to, from);
  MoveFixed<N>(to + n - N, from + n - N);
}
}  // namespace detail

// Copies `n` bytes between blocks that do not overlap, as memcpy does.
inline void CopyBytes(void* to, const void* from, std::size_t n) {
  auto* d = static_cast<unsigned char*>(to);
  const auto* s = static_cast<const unsigned char*>(from);
  if (n > 64) {
    std::memcpy(d, s, n);
  } else if (n >= 32) {
    detail::MoveEnds<32>(d, s, n);
  } else if (n >= 16) {
    detail::MoveEnds<16>(d, s, n);
  } else if (n >= 8) {
    detail::MoveEnds<8>(d, s, n);
  } else if (n >= 4) {
    detail::MoveEnds<4>(d, s, n);
  } else if (n > 0) {
    d[0] = s[0];
    d[n / 2] = s[n / 2];
    d[n - 1] = s[n - 1];
  }
}

}  // namespace kwfw
