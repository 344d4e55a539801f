// The run-length coders against libtiff's PackBits codec, on 64 MiB of image-like
// data (an 8192 x 8192 grey image in one strip) and of random bytes.
#include <cstring>
#include <string>
#include <vector>
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <kwlib63/persist/compression.h>

#include "benchdata.h"

namespace {

using kwbench::kSize;
using kwbench::SetBytes;

constexpr std::uint32_t kSide = 8192;
static_assert(std::size_t{kSide} * kSide == kSize);

// A TIFF file held in memory, for libtiff's client I/O.
struct MemoryFile {
  std::vector<unsigned char> bytes;
  std::size_t pos = 0;

  static tsize_t Read(thandle_t h, tdata_t buf, tsize_t n) {
    auto* f = static_cast<MemoryFile*>(h);
    const std::size_t count = std::min(static_cast<std::size_t>(n), f->bytes.size() - std::min(f->pos, f->bytes.size()));
    std::memcpy(buf, f->bytes.data() + f->pos, count);
    f->pos += count;
    return static_cast<tsize_t>(count);
  }
  static tsize_t Write(thandle_t h, tdata_t buf, tsize_t n) {
    auto* f = static_cast<MemoryFile*>(h);
    if (f->pos + static_cast<std::size_t>(n) > f->bytes.size()) f->bytes.resize(f->pos + static_cast<std::size_t>(n));
    std::memcpy(f->bytes.data() + f->pos, buf, static_cast<std::size_t>(n));
    f->pos += static_cast<std::size_t>(n);
    return n;
  }
  static toff_t Seek(thandle_t h, toff_t off, int whence) {
    auto* f = static_cast<MemoryFile*>(h);
    const toff_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? f->pos : f->bytes.size();
    f->pos = static_cast<std::size_t>(base + off);
    return f->pos;
  }
  static int Close(thandle_t) { return 0; }
  static toff_t Size(thandle_t h) { return static_cast<MemoryFile*>(h)->bytes.size(); }
  static int Map(thandle_t, tdata_t*, toff_t*) { return 0; }
  static void Unmap(thandle_t, tdata_t, toff_t) {}

  TIFF* Open(const char* mode) {
    pos = 0;
    return TIFFClientOpen("memory", mode, this, Read, Write, Seek, Close, Size, Map, Unmap);
  }
};

// The image written as one PackBits strip by libtiff; false when libtiff refuses.
bool TiffEncode(MemoryFile& file, const std::vector<unsigned char>& image) {
  file.bytes.clear();
  TIFF* tif = file.Open("w");
  if (tif == nullptr) return false;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kSide);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kSide);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, kSide);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
  const bool ok = TIFFWriteEncodedStrip(tif, 0, const_cast<unsigned char*>(image.data()), static_cast<tmsize_t>(kSize)) >= 0;
  TIFFClose(tif);
  return ok;
}

void BM_TiffPackbits(benchmark::State& state, const std::vector<unsigned char>& image) {
  MemoryFile file;
  file.bytes.reserve(kSize + kSize / 64);
  for (auto _ : state) {
    if (!TiffEncode(file, image)) state.SkipWithError("libtiff refused the strip");
  }
  SetBytes(state);
}
BENCHMARK_CAPTURE(BM_TiffPackbits, Image, kwbench::ImageBytes());
BENCHMARK_CAPTURE(BM_TiffPackbits, Random, kwbench::RandomBytes());

void BM_Packbits(benchmark::State& state, std::vector<unsigned char>& data) {
  std::vector<unsigned char> out(kSize + kSize / 128 + 16);
  for (auto _ : state) {
    unsigned long n = kSize;
    TCompression::ComprimirPackbits(data.data(), n, out.data());
    benchmark::DoNotOptimize(n);
  }
  SetBytes(state);
}
BENCHMARK_CAPTURE(BM_Packbits, Image, kwbench::ImageBytes());
BENCHMARK_CAPTURE(BM_Packbits, Random, kwbench::RandomBytes());

void BM_Rle(benchmark::State& state, std::vector<unsigned char>& data) {
  std::vector<unsigned char> out(2 * kSize);
  for (auto _ : state) {
    unsigned long n = kSize;
    if (!TCompression::ComprimirRLE(data.data(), n, out.data(), 2 * kSize)) state.SkipWithError("RLE output full");
    benchmark::DoNotOptimize(n);
  }
  SetBytes(state);
}
BENCHMARK_CAPTURE(BM_Rle, Image, kwbench::ImageBytes());
BENCHMARK_CAPTURE(BM_Rle, Random, kwbench::RandomBytes());

void BM_TiffUnpackbits(benchmark::State& state) {
  const auto& image = kwbench::ImageBytes();
  MemoryFile file;
  if (!TiffEncode(file, image)) state.SkipWithError("libtiff refused the strip");
  std::vector<unsigned char> out(kSize);
  for (auto _ : state) {
    TIFF* tif = file.Open("r");
    if (tif == nullptr || TIFFReadEncodedStrip(tif, 0, out.data(), static_cast<tmsize_t>(kSize)) != static_cast<tmsize_t>(kSize)) {
      state.SkipWithError("libtiff could not read the strip");
    }
    if (tif != nullptr) TIFFClose(tif);
  }
  if (out != image) state.SkipWithError("libtiff decoded other bytes");
  SetBytes(state);
}
BENCHMARK(BM_TiffUnpackbits);

void BM_Unpackbits(benchmark::State& state) {
  auto& image = kwbench::ImageBytes();
  std::vector<unsigned char> packed(kSize + kSize / 128 + 16), out(kSize + 129);
  unsigned long n = kSize;
  TCompression::ComprimirPackbits(image.data(), n, packed.data());
  for (auto _ : state) {
    if (TCompression::DescomprimirPackbits(packed.data(), n, kSize, out.data()) != kSize) state.SkipWithError("short output");
  }
  if (std::memcmp(out.data(), image.data(), kSize) != 0) state.SkipWithError("decoded other bytes");
  SetBytes(state);
}
BENCHMARK(BM_Unpackbits);

}  // namespace
