// The run-length coders byte for byte, and round trips.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/persist/compression.h>

#include "support/stopwatch.h"

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

// The packet rules applied one byte at a time, as the formats state them: the
// reference the word-wide coders must match byte for byte.
Bytes ReferencePairs(const Bytes& in, std::size_t maxRun, bool rll, std::size_t limit, int& result) {
  Bytes out;
  for (std::size_t i = 0; i < in.size();) {
    std::size_t run = 1;
    while (i + run < in.size() && in[i + run] == in[i] && run < maxRun) ++run;
    if (out.size() + 2 > limit) {
      result = 0;
      return out;
    }
    out.push_back(static_cast<unsigned char>(rll ? 0x100 - (run - 1) : run - 1));
    out.push_back(in[i]);
    i += run;
  }
  result = 1;
  return out;
}

Bytes ReferencePack(const Bytes& in) {
  Bytes out;
  const std::size_t n = in.size();
  std::size_t literals = 0, i = 0;
  const auto flush = [&](std::size_t to) {
    for (; literals < to;) {
      const std::size_t r = std::min<std::size_t>(to - literals, 128);
      out.push_back(static_cast<unsigned char>(r - 1));
      out.insert(out.end(), in.begin() + static_cast<long>(literals), in.begin() + static_cast<long>(literals + r));
      literals += r;
    }
  };
  while (n > 2 && i < n - 2) {
    const unsigned char v = in[i];
    if (in[i + 1] != v || (literals < i && in[i + 2] != v)) {
      ++i;
      continue;
    }
    flush(i);
    std::size_t end = i + 2;
    while (end < n && in[end] == v) ++end;
    std::size_t remaining = end - i;
    for (; remaining > 128; remaining -= 128) out.insert(out.end(), {0x81, v});
    if (remaining > 1) {
      out.insert(out.end(), {static_cast<unsigned char>(257 - remaining), v});
      literals = end;
    } else {
      literals = end - 1;
    }
    i = end;
  }
  flush(n);
  return out;
}

TEST(Compression, MatchesTheByteAtATimeRules) {
  std::mt19937 rng(9);
  for (int round = 0; round < 300; ++round) {
    // Runs of every length class (1, 2, 3, up to past 256) in random order, and
    // sizes around the coders' 64-byte windows.
    Bytes data(round < 100 ? static_cast<std::size_t>(round) : rng() % 6000);
    for (std::size_t i = 0; i < data.size();) {
      const unsigned kind = rng() % 8;
      const std::size_t run = kind < 3 ? 1 + kind : kind < 6 ? 1 + rng() % 20 : 100 + rng() % 400;
      const auto v = static_cast<unsigned char>(rng() % 3);
      for (std::size_t k = 0; k < run && i < data.size(); ++k) data[i++] = v;
    }
    ASSERT_EQ(Pack(data), ReferencePack(data)) << "round " << round;
    const std::size_t limits[] = {2 * data.size() + 2, data.size(), data.size() / 3 + 1, 64};
    for (std::size_t limit : limits) {
      int wantRle = 0, wantRll = 0, got = 0;
      const Bytes rle = ReferencePairs(data, 256, false, limit, wantRle);
      const Bytes rll = ReferencePairs(data, 129, true, limit, wantRll);
      Bytes out(2 * data.size() + 2, 0xEE);
      unsigned long n = static_cast<unsigned long>(data.size());
      got = TCompression::ComprimirRLE(data.data(), n, out.data(), static_cast<unsigned long>(limit));
      ASSERT_EQ(got, wantRle) << "rle round " << round << " limit " << limit;
      // A refused output still holds the pairs that fitted.
      ASSERT_TRUE(std::equal(rle.begin(), rle.end(), out.begin())) << "rle round " << round << " limit " << limit;
      if (got) {
        ASSERT_EQ(n, rle.size());
      }
      n = static_cast<unsigned long>(data.size());
      got = TCompression::ComprimirRLL(data.data(), n, out.data(), static_cast<unsigned long>(limit));
      ASSERT_EQ(got, wantRll) << "rll round " << round << " limit " << limit;
      ASSERT_TRUE(std::equal(rll.begin(), rll.end(), out.begin())) << "rll round " << round << " limit " << limit;
      if (got) {
        ASSERT_EQ(n, rll.size());
      }
    }
  }
}

// The decoder against a byte-at-a-time one on random packet streams: every header
// value, inputs cut anywhere, limits anywhere. The whole destination is compared,
// so a byte written past the decoded output shows, and the input sits in a block
// of its exact size, so that a read past it is caught by the sanitizer.
TEST(Compression, PackBitsDecoderMatchesTheModelByteForByte) {
  const auto reference = [](const Bytes& in, std::size_t max, Bytes& out) {
    std::size_t i = 0, o = 0;
    while (i < in.size() && o < max) {
      const unsigned h = in[i++];
      if (h < 128) {
        for (unsigned k = 0; k <= h && i < in.size(); ++k) out[o++] = in[i++];
      } else if (i < in.size()) {
        for (unsigned k = 0; k < 257 - h; ++k) out[o++] = in[i];
        ++i;
      }
    }
    return o;
  };
  const unsigned seed = std::random_device{}();
  std::mt19937 rng(seed);
  for (int round = 0; round < 3000; ++round) {
    Bytes stream;
    const std::size_t packets = rng() % (round < 1000 ? 8 : 200);
    for (std::size_t p = 0; p < packets; ++p) {
      // Short packets most of the time, as noisy images give, and every length now and then.
      const unsigned h = rng() % 4 != 0 ? (rng() % 2 != 0 ? rng() % 20 : 255 - rng() % 20) : rng() % 256;
      stream.push_back(static_cast<unsigned char>(h));
      const std::size_t body = h < 128 ? h + 1u : 1u;
      for (std::size_t k = 0; k < body; ++k) stream.push_back(static_cast<unsigned char>(rng()));
    }
    if (rng() % 2 == 0) stream.resize(rng() % (stream.size() + 1));  // cut anywhere, even inside a packet
    const std::size_t max = rng() % 3 == 0 ? rng() % 200 : 130 * packets + 1;
    const auto input = std::make_unique<unsigned char[]>(std::max<std::size_t>(stream.size(), 1));
    std::copy(stream.begin(), stream.end(), input.get());
    Bytes want(max + 129, 0xEE), got(max + 129, 0xEE);
    const std::size_t n = reference(stream, max, want);
    ASSERT_EQ(TCompression::DescomprimirPackbits(input.get(), static_cast<unsigned long>(stream.size()),
                                                 static_cast<unsigned long>(max), got.data()),
              n)
        << "seed " << seed << ", round " << round;
    ASSERT_EQ(got, want) << "seed " << seed << ", round " << round;
  }
}

// Packet counts come from the data: half a million packets of each kind decode in
// time proportional to their number (a decoder going back over the packets it has
// done would take hours here).
TEST(Compression, HalfAMillionPacketsDecodeInLinearTime) {
  constexpr std::size_t kPackets = 500'000;
  Bytes runs, singles, doubles;
  for (std::size_t i = 0; i < kPackets; ++i) {
    const auto v = static_cast<unsigned char>(i);
    runs.insert(runs.end(), {0xFF, v});     // PackBits: 2 copies
    singles.insert(singles.end(), {0x00, v});  // PackBits and RLE: 1 byte
    doubles.insert(doubles.end(), {0x01, v});  // RLE: 2 copies
  }
  Bytes out(2 * kPackets + 129);
  const auto max = static_cast<unsigned long>(2 * kPackets), n = static_cast<unsigned long>(2 * kPackets);
  unsigned long packbitsRuns = 0, packbitsSingles = 0, rleDoubles = 0, rleSingles = 0;
  const double seconds = kwtest::SecondsTaken([&] {
    packbitsRuns = TCompression::DescomprimirPackbits(runs.data(), n, max, out.data());
    packbitsSingles = TCompression::DescomprimirPackbits(singles.data(), n, max, out.data());
    rleDoubles = TCompression::DescomprimirRLE(doubles.data(), n, max, out.data());
    rleSingles = TCompression::DescomprimirRLE(singles.data(), n, max, out.data());
  });
  EXPECT_EQ(packbitsRuns, 2 * kPackets);
  EXPECT_EQ(packbitsSingles, kPackets);
  EXPECT_EQ(rleDoubles, 2 * kPackets);
  EXPECT_EQ(rleSingles, kPackets);
  for (std::size_t i = 0; i < kPackets; i += 99'991) ASSERT_EQ(out[i], static_cast<unsigned char>(i)) << i;
  EXPECT_LT(seconds, 60.0);
}

}  // namespace
