// Checksums and coders against their usual peers, on the same 64 MiB.
#include <random>
#include <string>
#include <vector>
#include <benchmark/benchmark.h>
#include <zlib.h>
#include <glib.h>

#include <kwlib63/persist/base64.h>
#include <kwlib63/persist/compression.h>
#include <kwlib63/persist/crc32.h>
#include <kwlib63/persist/crc32_impl.h>

namespace {

constexpr std::size_t kSize = 64u << 20;

const std::vector<unsigned char>& RandomBytes() {
  static const std::vector<unsigned char> data = [] {
    std::vector<unsigned char> v(kSize);
    std::mt19937_64 rng(3);
    for (std::size_t i = 0; i < kSize; i += 8) {
      const std::uint64_t r = rng();
      for (int k = 0; k < 8; ++k) v[i + static_cast<std::size_t>(k)] = static_cast<unsigned char>(r >> (8 * k));
    }
    return v;
  }();
  return data;
}

void SetBytes(benchmark::State& state) { state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize)); }

void BM_Crc32(benchmark::State& state) {
  auto& data = const_cast<std::vector<unsigned char>&>(RandomBytes());
  for (auto _ : state) benchmark::DoNotOptimize(AfxComputeCRC32(data.data(), data.size()));
  SetBytes(state);
}
BENCHMARK(BM_Crc32);

void BM_Crc32Portable(benchmark::State& state) {
  const auto& data = RandomBytes();
  for (auto _ : state) benchmark::DoNotOptimize(kwpersist::Crc32Portable(0xFFFFFFFFu, data.data(), data.size()));
  SetBytes(state);
}
BENCHMARK(BM_Crc32Portable);

void BM_ZlibCrc32(benchmark::State& state) {
  const auto& data = RandomBytes();
  for (auto _ : state) benchmark::DoNotOptimize(crc32_z(0, data.data(), data.size()));
  SetBytes(state);
}
BENCHMARK(BM_ZlibCrc32);

void BM_PackbitsRandom(benchmark::State& state) {
  auto& data = const_cast<std::vector<unsigned char>&>(RandomBytes());
  std::vector<unsigned char> out(kSize + kSize / 128 + 16);
  for (auto _ : state) {
    unsigned long n = static_cast<unsigned long>(kSize);
    TCompression::ComprimirPackbits(data.data(), n, out.data());
    benchmark::DoNotOptimize(n);
  }
  SetBytes(state);
}
BENCHMARK(BM_PackbitsRandom);

const std::string& EncodedText() {
  static const std::string text = [] {
    const auto& data = RandomBytes();
    std::string t(static_cast<std::size_t>(Base64encode_len(static_cast<int>(kSize))), '\0');
    Base64encode(t.data(), reinterpret_cast<const char*>(data.data()), static_cast<int>(kSize));
    return t;
  }();
  return text;
}

void BM_Base64Encode(benchmark::State& state) {
  const auto& data = RandomBytes();
  std::string out(static_cast<std::size_t>(Base64encode_len(static_cast<int>(kSize))), '\0');
  for (auto _ : state) benchmark::DoNotOptimize(Base64encode(out.data(), reinterpret_cast<const char*>(data.data()), static_cast<int>(kSize)));
  SetBytes(state);
}
BENCHMARK(BM_Base64Encode);

void BM_GlibBase64Encode(benchmark::State& state) {
  const auto& data = RandomBytes();
  for (auto _ : state) {
    gchar* text = g_base64_encode(data.data(), data.size());
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
  SetBytes(state);
}
BENCHMARK(BM_GlibBase64Encode);

void BM_Base64Decode(benchmark::State& state) {
  const std::string& text = EncodedText();
  std::string out(kSize + 8, '\0');
  for (auto _ : state) benchmark::DoNotOptimize(Base64decode(out.data(), text.c_str()));
  SetBytes(state);
}
BENCHMARK(BM_Base64Decode);

void BM_GlibBase64Decode(benchmark::State& state) {
  const std::string& text = EncodedText();
  for (auto _ : state) {
    gsize n = 0;
    guchar* bytes = g_base64_decode(text.c_str(), &n);
    benchmark::DoNotOptimize(bytes);
    g_free(bytes);
  }
  SetBytes(state);
}
BENCHMARK(BM_GlibBase64Decode);

}  // namespace
