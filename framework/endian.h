// Little-endian loads and stores of 16, 32 and 64 bits at any address: the one
// way the library codes the integers of its file formats. memcpy of a fixed size
// compiles to a single move, so these cost nothing over a cast and never read
// unaligned memory through a wider type.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace kwfw {

// The byte order reversed, for the big-endian machines the library also builds on.
template <typename T>
T ByteSwap(T v) {
  if constexpr (sizeof v == 2) return static_cast<T>(__builtin_bswap16(v));
  if constexpr (sizeof v == 4) return static_cast<T>(__builtin_bswap32(v));
  if constexpr (sizeof v == 8) return static_cast<T>(__builtin_bswap64(v));
}

template <typename T>
T LoadLe(const void* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (std::endian::native == std::endian::big) v = ByteSwap(v);
  return v;
}

template <typename T>
void StoreLe(void* p, T v) {
  if constexpr (std::endian::native == std::endian::big) v = ByteSwap(v);
  std::memcpy(p, &v, sizeof v);
}

inline std::uint16_t Load16(const void* p) { return LoadLe<std::uint16_t>(p); }
inline std::uint32_t Load32(const void* p) { return LoadLe<std::uint32_t>(p); }
inline std::uint64_t Load64(const void* p) { return LoadLe<std::uint64_t>(p); }
inline void Store16(void* p, std::uint16_t v) { StoreLe(p, v); }
inline void Store32(void* p, std::uint32_t v) { StoreLe(p, v); }
inline void Store64(void* p, std::uint64_t v) { StoreLe(p, v); }

}  // namespace kwfw
