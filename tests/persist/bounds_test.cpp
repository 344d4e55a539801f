// The readers of outside bytes never touch a byte past their input: each takes
// inputs of every length from 0 to 64 that end where an inaccessible page begins,
// so that a read one byte too far faults, and writes into outputs placed the same
// way where the contract sizes them. The contents put the end where it hurts: a
// packet whose count runs past it, Base64 cut inside a group, a CSV quote left
// open, a record longer than what is left of its file. The CSV reader and the
// serializer read files, so they get files of exactly each length.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/base64.h>
#include <kwlib63/persist/base64_impl.h>
#include <kwlib63/persist/compression.h>
#include <kwlib63/persist/crc32.h>
#include <kwlib63/persist/crc32_impl.h>
#include <kwlib63/persist/csv_parser.h>
#include <kwlib63/persist/serializer.h>

#include "support/guardedbuffer.h"
#include "support/tempdir.h"

namespace {

using Bytes = std::vector<unsigned char>;
using kwtest::GuardedBuffer;

constexpr std::size_t kLongest = 64;

// A guarded buffer holding the first `n` bytes of `from`.
void Fill(GuardedBuffer& buffer, const Bytes& from) { std::copy_n(from.begin(), buffer.size(), buffer.data()); }

Bytes RandomBytes(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  Bytes b(n);
  for (auto& c : b) c = static_cast<unsigned char>(rng());
  return b;
}

TEST(Bounds, Crc32EveryEngineStopsAtTheEnd) {
  const Bytes data = RandomBytes(300, 3);
  std::vector<std::size_t> lengths(kLongest + 1);
  for (std::size_t n = 0; n <= kLongest; ++n) lengths[n] = n;
  // Longer ones too, so that the folding engines reach their tails.
  lengths.insert(lengths.end(), {65, 79, 127, 128, 129, 200, 255, 256, 257, 300});
  for (const std::size_t n : lengths) {
    GuardedBuffer in(n);
    Fill(in, data);
    unsigned long bytewise = 0xFFFFFFFFul;
    for (std::size_t i = 0; i < n; ++i) bytewise = AfxUpdateCRC32(static_cast<char>(data[i]), bytewise);
    const std::uint32_t reg = static_cast<std::uint32_t>(bytewise);
    EXPECT_EQ(AfxComputeCRC32(in.data(), n), n == 0 ? 0ul : (~bytewise & 0xFFFFFFFFul)) << n;
    EXPECT_EQ(kwpersist::Crc32Portable(0xFFFFFFFFu, in.data(), n), reg) << n;
    if (kwpersist::Crc32SimdAvailable()) {
      EXPECT_EQ(kwpersist::Crc32Simd(0xFFFFFFFFu, in.data(), n), reg) << n;
    }
    if (kwpersist::Crc32WideAvailable()) {
      EXPECT_EQ(kwpersist::Crc32Wide(0xFFFFFFFFu, in.data(), n), reg) << n;
    }
  }
}

// Text of every length cut from a valid text, so most cuts fall inside a group of
// four; the NUL is the last byte before the guard page, and the output is exactly
// Base64decode_len bytes. The bytes are those the whole characters carry.
TEST(Bounds, Base64DecodeOfTextCutAnywhere) {
  const Bytes original = RandomBytes(kLongest / 4 * 3, 5);
  std::string text(static_cast<std::size_t>(Base64encode_len(static_cast<int>(original.size()))), '#');
  Base64encode(text.data(), reinterpret_cast<const char*>(original.data()), static_cast<int>(original.size()));
  ASSERT_EQ(std::strlen(text.c_str()), kLongest);
  for (std::size_t n = 0; n <= kLongest; ++n) {
    GuardedBuffer in(n + 1);
    std::memcpy(in.data(), text.data(), n);
    in.data()[n] = '\0';
    const char* coded = reinterpret_cast<const char*>(in.data());
    const int length = Base64decode_len(coded);
    ASSERT_EQ(length, static_cast<int>((n + 3) / 4 * 3 + 1)) << n;
    const std::size_t rest = n % 4;
    const std::size_t expected = n / 4 * 3 + (rest >= 2 ? 1 : 0) + (rest == 3 ? 1 : 0);
    for (const bool wide : {false, kwpersist::Base64WideAvailable()}) {
      GuardedBuffer out(static_cast<std::size_t>(length));
      const int got = kwpersist::Base64DecodeWith(reinterpret_cast<char*>(out.data()), coded, wide);
      ASSERT_EQ(got, static_cast<int>(expected)) << n << (wide ? " wide" : " scalar");
      EXPECT_TRUE(std::equal(original.begin(), original.begin() + got, out.data())) << n;
      EXPECT_EQ(out.data()[got], '\0') << n;
    }
  }
}

// Every length of input, read from the guarded end, encoded by both engines into
// exactly Base64encode_len bytes, also guarded, and compared with the text taken
// six bits at a time. The lengths cover several vector blocks and every tail.
TEST(Bounds, Base64EncodeOfEveryLength) {
  static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const Bytes data = RandomBytes(200, 6);
  for (std::size_t n = 0; n <= data.size(); ++n) {
    std::string expected;
    for (std::size_t bit = 0; bit < n * 8; bit += 6) {
      unsigned value = 0;
      for (std::size_t k = bit; k < bit + 6; ++k) value = value << 1 | (k < n * 8 ? (data[k / 8] >> (7 - k % 8)) & 1u : 0u);
      expected += alphabet[value];
    }
    expected.append((4 - expected.size() % 4) % 4, '=');
    GuardedBuffer in(n);
    Fill(in, data);
    const int length = Base64encode_len(static_cast<int>(n));
    ASSERT_EQ(length, static_cast<int>(expected.size() + 1)) << n;
    for (const bool wide : {false, kwpersist::Base64WideAvailable()}) {
      GuardedBuffer out(static_cast<std::size_t>(length));
      ASSERT_EQ(kwpersist::Base64EncodeWith(reinterpret_cast<char*>(out.data()), reinterpret_cast<const char*>(in.data()),
                                            static_cast<int>(n), wide),
                length)
          << n;
      EXPECT_EQ(reinterpret_cast<const char*>(out.data()), expected) << n << (wide ? " wide" : " scalar");
    }
  }
}

// What the decoders must give for input that may end inside a packet: every whole
// packet, then what the input holds of a cut literal, and nothing of a run whose
// value is missing. PackBits checks its limit before each packet only.
Bytes UnpackModel(const Bytes& in, std::size_t max) {
  Bytes out;
  for (std::size_t i = 0; i < in.size() && out.size() < max;) {
    const unsigned h = in[i++];
    if (h < 128) {
      const std::size_t count = std::min<std::size_t>(h + 1u, in.size() - i);
      out.insert(out.end(), in.begin() + static_cast<long>(i), in.begin() + static_cast<long>(i + count));
      i += count;
    } else if (i < in.size()) {
      out.insert(out.end(), 257 - h, in[i++]);
    }
  }
  return out;
}

Bytes RleModel(const Bytes& in, std::size_t max) {
  Bytes out;
  for (std::size_t i = 0; i + 1 < in.size() && out.size() < max; i += 2) {
    out.insert(out.end(), std::min<std::size_t>(in[i] + 1u, max - out.size()), in[i + 1]);
  }
  return out;
}

// Short packets, then a literal of 128 that no cut below 65 bytes leaves whole.
Bytes Packets() {
  Bytes p = {0x02, 'a', 'b', 'c', 0xFD, 'r', 0x00, 'z', 0x80, 'q', 0xFF, 'w', 0x7F};
  for (unsigned char c = 0; p.size() < 2 * kLongest; ++c) p.push_back(c);
  return p;
}

TEST(Bounds, DecompressorsStopInsideACutPacket) {
  const Bytes stream = Packets();
  for (std::size_t n = 0; n <= kLongest; ++n) {
    GuardedBuffer in(n);
    Fill(in, stream);
    const Bytes cut(stream.begin(), stream.begin() + static_cast<long>(n));
    for (const unsigned long max : {3ul, 500ul}) {
      GuardedBuffer out(max + 129);  // the margin a packet that starts below the limit may use
      const unsigned long got = TCompression::DescomprimirPackbits(in.data(), static_cast<unsigned long>(n), max, out.data());
      EXPECT_EQ(Bytes(out.data(), out.data() + got), UnpackModel(cut, max)) << "PackBits " << n << " max " << max;

      GuardedBuffer exact(max);  // RLE never writes past its limit
      const unsigned long rle = TCompression::DescomprimirRLE(in.data(), static_cast<unsigned long>(n), max, exact.data());
      EXPECT_EQ(Bytes(exact.data(), exact.data() + rle), RleModel(cut, max)) << "RLE " << n << " max " << max;
    }
  }
}

// The compressors read their input by words and windows: every length, from the
// guarded end, into outputs of the documented worst-case size, and back.
TEST(Bounds, CompressorsReadOnlyTheirInput) {
  Bytes data;
  std::mt19937 rng(9);
  while (data.size() < kLongest) data.insert(data.end(), 1 + rng() % 5, static_cast<unsigned char>(rng() % 3));
  for (std::size_t n = 0; n <= kLongest; ++n) {
    GuardedBuffer in(n);
    Fill(in, data);
    const Bytes expected(data.begin(), data.begin() + static_cast<long>(n));
    for (const bool rll : {false, true}) {
      GuardedBuffer out(2 * n);
      unsigned long length = static_cast<unsigned long>(n);
      const int ok = rll ? TCompression::ComprimirRLL(in.data(), length, out.data(), static_cast<unsigned long>(2 * n))
                         : TCompression::ComprimirRLE(in.data(), length, out.data(), static_cast<unsigned long>(2 * n));
      ASSERT_EQ(ok, 1) << n;
      const Bytes packed(out.data(), out.data() + length);
      EXPECT_EQ(rll ? UnpackModel(packed, n) : RleModel(packed, n), expected) << (rll ? "RLL " : "RLE ") << n;
    }
    GuardedBuffer out(n + (n + 127) / 128);
    unsigned long length = static_cast<unsigned long>(n);
    ASSERT_EQ(TCompression::ComprimirPackbits(in.data(), length, out.data()), 1) << n;
    EXPECT_EQ(UnpackModel(Bytes(out.data(), out.data() + length), n), expected) << "PackBits " << n;
  }
}

class BoundsOfFiles : public ::testing::Test {
 protected:
  // The first `n` bytes of `bytes` as the whole file.
  std::wstring WriteFile(const std::string& bytes, std::size_t n) {
    std::FILE* f = std::fopen(m_path.c_str(), "wb");
    EXPECT_NE(f, nullptr);
    EXPECT_EQ(std::fwrite(bytes.data(), 1, n, f), n);
    std::fclose(f);
    return kwfw::Utf8ToWide(m_path);
  }

  kwtest::TempDir m_tmp{"kwlib-bounds"};
  std::string m_path = m_tmp.At("file");
};

// Lines of "ab" in quotes, with each line end, cut at every length: a cut inside
// the quotes leaves one open at the end of the file, and its field runs to the
// end of the line, the supplied terminator included.
TEST_F(BoundsOfFiles, CsvQuoteLeftOpenAtTheEnd) {
  for (const std::string end : {"\n", "\r", "\r\n"}) {
    const std::string unit = "\"ab\"" + end;
    std::string text;
    while (text.size() < kLongest) text += unit;
    for (std::size_t n = 0; n <= kLongest; ++n) {
      std::vector<std::vector<std::string>> expected(n / unit.size(), {"ab"});
      static const char* const kTails[] = {nullptr, "\n", "a\n", "ab\n", "ab", "ab"};
      if (const char* tail = kTails[n % unit.size()]) expected.push_back({tail});
      csv_parser parser;
      parser.set_enclosed_char('"', ENCLOSURE_REQUIRED);
      ASSERT_TRUE(parser.init(WriteFile(text, n).c_str()));
      std::vector<std::vector<std::string>> rows;
      while (parser.has_more_rows()) rows.push_back(parser.get_row());
      if (n == 0) expected.emplace_back();  // the one call that finds no line
      EXPECT_EQ(rows, expected) << "line end " << int{end.back()} << ", " << n << " bytes";
    }
  }
}

// The file header, record 1 (20 bytes) and record 2, a sibling announcing 1000
// bytes of which 6 follow, cut at every length. Records are read into buffers of
// exactly their announced size.
TEST_F(BoundsOfFiles, SerializerRecordsLongerThanTheFile) {
  std::string bytes = std::string("\x07\x00\x01\x00\x02\x00\x03\x00", 8);
  bytes.append(reinterpret_cast<const char*>(KW_SER_SIGNATURE), sizeof KW_SER_SIGNATURE);
  bytes += std::string("\x01\x00\x00\x00\x14\x00\x00\x00\x00\x00", 10) + "twenty bytes of data";
  bytes += std::string("\x02\x00\x00\x00\xE8\x03\x00\x00\x00\x00", 10) + "cut sh";
  ASSERT_EQ(bytes.size(), kLongest);
  for (std::size_t n = 0; n <= kLongest; ++n) {
    const std::wstring path = WriteFile(bytes, n);
    const int first = n < 18 ? -7 : n < 28 ? -16102 : n < 48 ? -7 : 0;
    void* data = nullptr;
    unsigned long length = 0;
    EXPECT_EQ(TSerializer::GetRegistre(path.c_str(), 1, data, length), first) << n;
    if (first == 0) {
      EXPECT_EQ(std::string(static_cast<char*>(data), length), "twenty bytes of data") << n;
    }
    std::free(data);
    data = nullptr;
    const int second = n < 18 ? -7 : n < 58 ? -16102 : -7;
    EXPECT_EQ(TSerializer::GetRegistre(path.c_str(), 2, data, length), second) << n;
    EXPECT_EQ(data, nullptr) << n;

    TSerializer* s = TSerializer::Open(path.c_str(), 0);
    ASSERT_NE(s, nullptr);
    short type, w2, w3, w4;
    if (s->GetHeader(type, w2, w3, w4) == 0) {
      GuardedBuffer one(20);
      unsigned long got = 0;
      EXPECT_EQ(s->ReadNextRecord(1, one.data(), 20, &got, -1, nullptr), n < 28 ? -17 : n < 48 ? -7 : 0) << n;
      if (n >= 48) {
        GuardedBuffer two(1000);
        EXPECT_EQ(s->ReadNextRecord(2, two.data(), 1000, &got, -1, nullptr), n < 58 ? -17 : -7) << n;
      }
    }
    TSerializer::Close(s);
  }
}

}  // namespace
