// The run-length coders byte for byte, and round trips.
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/persist/compression.h>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes FromText(const std::string& s) { return Bytes(s.begin(), s.end()); }

Bytes Rle(Bytes in, unsigned long max = 0, int* result = nullptr) {
  Bytes out(2 * in.size() + 2, 0xEE);
  unsigned long n = static_cast<unsigned long>(in.size());
  const int r = TCompression::ComprimirRLE(in.data(), n, out.data(), max);
  if (result != nullptr) *result = r;
  out.resize(r ? n : 0);
  return out;
}

Bytes Rll(Bytes in, unsigned long max = 0, int* result = nullptr) {
  Bytes out(2 * in.size() + 2, 0xEE);
  unsigned long n = static_cast<unsigned long>(in.size());
  const int r = TCompression::ComprimirRLL(in.data(), n, out.data(), max);
  if (result != nullptr) *result = r;
  out.resize(r ? n : 0);
  return out;
}

Bytes Pack(Bytes in) {
  Bytes out(in.size() + in.size() / 128 + 2, 0xEE);
  unsigned long n = static_cast<unsigned long>(in.size());
  EXPECT_EQ(TCompression::ComprimirPackbits(in.data(), n, out.data()), 1);
  out.resize(n);
  return out;
}

Bytes Unpack(Bytes in, unsigned long max) {
  Bytes out(max + 129, 0xEE);
  out.resize(TCompression::DescomprimirPackbits(in.data(), static_cast<unsigned long>(in.size()), max, out.data()));
  return out;
}

TEST(Compression, RunLengthPairs) {
  EXPECT_EQ(Rle(Bytes(300, 'v')), (Bytes{255, 'v', 43, 'v'}));
  EXPECT_EQ(Rll(Bytes(300, 'v')), (Bytes{0x80, 'v', 0x80, 'v', 0xD7, 'v'}));
  EXPECT_EQ(Rll(FromText("AAB"), 4), (Bytes{0xFF, 'A', 0x00, 'B'}));
  int result = -1;
  EXPECT_EQ(Rle(FromText("XYZ"), 0, &result), Bytes{});
  EXPECT_EQ(result, 0);  // 6 bytes needed, the limit is the input's 3
  EXPECT_EQ(Rll(FromText("XYZ"), 0, &result), Bytes{});
  EXPECT_EQ(result, 0);
  EXPECT_EQ(Rle(FromText("XYZ"), 6), (Bytes{0, 'X', 0, 'Y', 0, 'Z'}));
  unsigned long n = 0;
  EXPECT_EQ(TCompression::ComprimirRLE(nullptr, n, nullptr, 0), 1);
  EXPECT_EQ(n, 0u);
}

TEST(Compression, PackBitsPacketChoices) {
  struct {
    std::string in;
    Bytes out;
  } cases[] = {
      {"AAB", {0xFF, 'A', 0x00, 'B'}},
      {"ABB", {0x02, 'A', 'B', 'B'}},  // the final pair is never a run start
      {"ABBA", {0x03, 'A', 'B', 'B', 'A'}},
      {"ABBBA", {0x00, 'A', 0xFE, 'B', 0x00, 'A'}},
      {"AA", {0x01, 'A', 'A'}},
      {"", {}},
  };
  for (const auto& c : cases) EXPECT_EQ(Pack(FromText(c.in)), c.out) << c.in;
  EXPECT_EQ(Pack(Bytes(129, 'v')), (Bytes{0x81, 'v', 0x00, 'v'}));
  EXPECT_EQ(Pack(Bytes(130, 'v')), (Bytes{0x81, 'v', 0xFF, 'v'}));
  Bytes literals(300);
  for (std::size_t i = 0; i < literals.size(); ++i) literals[i] = static_cast<unsigned char>(i % 2 ? i : 255 - i);
  const Bytes packed = Pack(literals);
  ASSERT_EQ(packed.size(), 300u + 3u);  // 128 + 128 + 44, each with its header
  EXPECT_EQ(packed[0], 127);
  EXPECT_EQ(packed[129], 127);
  EXPECT_EQ(packed[258], 43);
}

TEST(Compression, DecodersKeepTheirLimits) {
  // A run packet of h = 0x80 gives 129 copies, even past the destination's limit.
  EXPECT_EQ(Unpack(Bytes{0x80, 0x41}, 10), Bytes(129, 0x41));
  // RLE never writes past its limit.
  Bytes in{255, 'v'};
  Bytes out(10, 0xEE);
  EXPECT_EQ(TCompression::DescomprimirRLE(in.data(), 2, 4, out.data()), 4u);
  EXPECT_EQ(out[4], 0xEE);
  // Packets cut short by the end of the input: what is there, then stop.
  EXPECT_EQ(Unpack(Bytes{0x05, 'a', 'b'}, 100), FromText("ab"));
  EXPECT_EQ(Unpack(Bytes{0x00, 'a', 0xFE}, 100), FromText("a"));
  in = {3, 'x', 7};
  EXPECT_EQ(TCompression::DescomprimirRLE(in.data(), 3, 100, out.data()), 4u);
  EXPECT_EQ(TCompression::DescomprimirPackbits(nullptr, 0, 100, nullptr), 0u);
}

TEST(Compression, RoundTrips) {
  std::mt19937 rng(5);
  for (int round = 0; round < 200; ++round) {
    Bytes data(rng() % 2000);
    // Image-like data: flat stretches with noise.
    for (std::size_t i = 0; i < data.size();) {
      const std::size_t run = 1 + rng() % (rng() % 3 == 0 ? 300 : 3);
      const auto v = static_cast<unsigned char>(rng() % 4);
      for (std::size_t k = 0; k < run && i < data.size(); ++k) data[i++] = v;
    }
    const std::size_t n = data.size();
    EXPECT_EQ(Unpack(Pack(data), static_cast<unsigned long>(n)), data) << "packbits round " << round;
    const Bytes rll = Rll(data, static_cast<unsigned long>(2 * n + 2));
    EXPECT_EQ(Unpack(rll, static_cast<unsigned long>(n)), data) << "rll round " << round;
    Bytes rle = Rle(data, static_cast<unsigned long>(2 * n + 2));
    Bytes back(n + 1, 0);
    back.resize(TCompression::DescomprimirRLE(rle.data(), static_cast<unsigned long>(rle.size()), static_cast<unsigned long>(n), back.data()));
    EXPECT_EQ(back, data) << "rle round " << round;
  }
}

}  // namespace
