// The 64 MiB inputs the format benchmarks share, made once per binary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>
#include <benchmark/benchmark.h>

namespace kwbench {

inline constexpr std::size_t kSize = 64u << 20;

// Uniformly random bytes: nothing to compress.
inline std::vector<unsigned char>& RandomBytes() {
  static std::vector<unsigned char> data = [] {
    std::vector<unsigned char> v(kSize);
    std::mt19937_64 rng(3);
    for (std::size_t i = 0; i < kSize; i += 8) {
      const std::uint64_t r = rng();
      for (std::size_t k = 0; k < 8; ++k) v[i + k] = static_cast<unsigned char>(r >> (8 * k));
    }
    return v;
  }();
  return data;
}

// An 8-bit image of 8192 x 8192: flat regions of random grey, runs 16 to 527
// pixels long, with one pixel in eight disturbed by noise.
inline std::vector<unsigned char>& ImageBytes() {
  static std::vector<unsigned char> data = [] {
    std::vector<unsigned char> v(kSize);
    std::mt19937 rng(5);
    for (std::size_t i = 0; i < kSize;) {
      const unsigned char grey = static_cast<unsigned char>(rng());
      const std::size_t run = 16 + rng() % 512;
      for (std::size_t k = 0; k < run && i < kSize; ++k, ++i) v[i] = grey;
    }
    for (std::size_t i = 0; i < kSize; i += 1 + rng() % 15) v[i] = static_cast<unsigned char>(v[i] + rng() % 5);
    return v;
  }();
  return data;
}

inline void SetBytes(benchmark::State& state, std::size_t perIteration = kSize) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(perIteration));
}

}  // namespace kwbench
