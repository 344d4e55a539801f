// Checksums, Base64 and the record file against their usual peers, on the same 64 MiB.
#include <string>
#include <vector>
#include <benchmark/benchmark.h>
#include <zlib.h>
#include <glib.h>
#include <modp_b64.h>

#include <kwlib63/persist/base64.h>
#include <kwlib63/persist/crc32.h>
#include <kwlib63/persist/crc32_impl.h>
#include <kwlib63/persist/serializer.h>

#include <fcntl.h>
#include <unistd.h>
#include <cstdio>
#include <cstring>

#include "benchdata.h"

namespace {

using kwbench::kSize;
using kwbench::RandomBytes;
using kwbench::SetBytes;

void BM_Crc32(benchmark::State& state) {
  auto& data = RandomBytes();
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

constexpr int kRecords = 1'000'000;
constexpr unsigned long kRecordBytes = 50;
const char* const kRecordFile = "/tmp/kwlib-bench-records.dat";

// One million records of 50 bytes through the serializer.
void BM_SerializerWrite(benchmark::State& state) {
  char data[kRecordBytes];
  std::memset(data, 'x', sizeof data);
  for (auto _ : state) {
    TSerializer* s = TSerializer::Open(L"/tmp/kwlib-bench-records.dat", 1);
    s->CreateHeader(1, 0, 0, 0);
    for (int i = 0; i < kRecords; ++i) s->WriteRecord(data, kRecordBytes, static_cast<unsigned long>(i));
    TSerializer::Close(s);
  }
  state.SetBytesProcessed(state.iterations() * kRecords * static_cast<std::int64_t>(kRecordBytes + 10));
}
BENCHMARK(BM_SerializerWrite)->Unit(benchmark::kMillisecond);

// The same bytes with write() in 8 MiB blocks.
void BM_WriteBlocks(benchmark::State& state) {
  const std::size_t total = 18 + kRecords * (kRecordBytes + 10);
  std::vector<char> block(8u << 20, 'x');
  for (auto _ : state) {
    const int fd = open(kRecordFile, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (std::size_t done = 0; done < total;) {
      const std::size_t n = std::min(block.size(), total - done);
      if (write(fd, block.data(), n) != static_cast<ssize_t>(n)) break;
      done += n;
    }
    close(fd);
  }
  state.SetBytesProcessed(state.iterations() * kRecords * static_cast<std::int64_t>(kRecordBytes + 10));
}
BENCHMARK(BM_WriteBlocks)->Unit(benchmark::kMillisecond);

void BM_SerializerRead(benchmark::State& state) {
  {
    char data[kRecordBytes] = {};
    TSerializer* s = TSerializer::Open(L"/tmp/kwlib-bench-records.dat", 1);
    s->CreateHeader(1, 0, 0, 0);
    for (int i = 0; i < kRecords; ++i) s->WriteRecord(data, kRecordBytes, static_cast<unsigned long>(i));
    TSerializer::Close(s);
  }
  char data[kRecordBytes];
  for (auto _ : state) {
    TSerializer* s = TSerializer::Open(L"/tmp/kwlib-bench-records.dat", 0);
    short t, w2, w3, w4;
    s->GetHeader(t, w2, w3, w4);
    SER_RECORDHEADER h;
    while (s->NextRecord(h)) s->ReadRecord(data, h.nLength);
    TSerializer::Close(s);
  }
  state.SetBytesProcessed(state.iterations() * kRecords * static_cast<std::int64_t>(kRecordBytes + 10));
}
BENCHMARK(BM_SerializerRead)->Unit(benchmark::kMillisecond);

void BM_ReadBlocks(benchmark::State& state) {
  std::vector<char> block(8u << 20);
  for (auto _ : state) {
    const int fd = open(kRecordFile, O_RDONLY);
    while (read(fd, block.data(), block.size()) > 0) {
    }
    close(fd);
  }
  state.SetBytesProcessed(state.iterations() * kRecords * static_cast<std::int64_t>(kRecordBytes + 10));
}
BENCHMARK(BM_ReadBlocks)->Unit(benchmark::kMillisecond);

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

void BM_ModpBase64Encode(benchmark::State& state) {
  const auto& data = RandomBytes();
  std::string out(modp_b64_encode_len(kSize), '\0');
  for (auto _ : state) benchmark::DoNotOptimize(modp_b64_encode(out.data(), reinterpret_cast<const char*>(data.data()), kSize));
  SetBytes(state);
}
BENCHMARK(BM_ModpBase64Encode);

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

void BM_ModpBase64Decode(benchmark::State& state) {
  const std::string& text = EncodedText();
  const std::size_t length = text.find('\0') == std::string::npos ? text.size() : text.find('\0');
  std::string out(modp_b64_decode_len(length) + 1, '\0');
  for (auto _ : state) {
    const std::size_t n = modp_b64_decode(out.data(), text.data(), length);
    if (n != kSize) state.SkipWithError("modp_b64 did not decode the text");
    benchmark::DoNotOptimize(n);
  }
  SetBytes(state);
}
BENCHMARK(BM_ModpBase64Decode);

}  // namespace
