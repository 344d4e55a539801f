// Base64 and the circular byte buffer.
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/persist/base64.h>
#include <kwlib63/persist/base64_impl.h>
#include <kwlib63/persist/buffercircular.h>

namespace {

std::string Encode(const std::string& in) {
  std::string out(static_cast<std::size_t>(Base64encode_len(static_cast<int>(in.size()))), '#');
  EXPECT_EQ(Base64encode(out.data(), in.data(), static_cast<int>(in.size())), static_cast<int>(out.size()));
  EXPECT_EQ(out.back(), '\0');
  out.pop_back();
  return out;
}

std::string Decode(const std::string& coded, int* count = nullptr) {
  std::string out(static_cast<std::size_t>(Base64decode_len(coded.c_str())), '#');
  const int n = Base64decode(out.data(), coded.c_str());
  if (count != nullptr) *count = n;
  EXPECT_EQ(out[static_cast<std::size_t>(n)], '\0');
  return out.substr(0, static_cast<std::size_t>(n));
}

TEST(Base64, KnownTexts) {
  EXPECT_EQ(Base64encode_len(0), 1);
  EXPECT_EQ(Base64encode_len(1), 5);
  EXPECT_EQ(Encode(""), "");
  EXPECT_EQ(Encode("Man"), "TWFu");
  EXPECT_EQ(Encode("M"), "TQ==");
  EXPECT_EQ(Encode("Ma"), "TWE=");
  EXPECT_EQ(Encode(std::string("\xFB\xFF", 2)), "+/8=");
  EXPECT_EQ(Base64decode_len("TQ=="), 4);
  int n = -1;
  EXPECT_EQ(Decode("TQ==", &n), "M");
  EXPECT_EQ(n, 1);
  EXPECT_EQ(Decode("TWF\nu"), "Ma");  // the line break ends the data
  EXPECT_EQ(Decode("TW-Fu"), "M");    // so does URL-safe input
  EXPECT_EQ(Decode("TWFuT"), "Man");  // a single leftover character gives nothing
  EXPECT_EQ(Decode(""), "");
  EXPECT_EQ(Decode("TWFu TWFu"), "Man");
}

TEST(Base64, RoundTripsOfEveryLength) {
  std::mt19937 rng(8);
  for (int len = 0; len < 300; ++len) {
    std::string data(static_cast<std::size_t>(len), '\0');
    for (char& c : data) c = static_cast<char>(rng());
    ASSERT_EQ(Decode(Encode(data)), data) << len;
  }
}

// The scalar decoder and, where the CPU has it, the vector one, against the rule:
// the leading alphabet characters, three bytes per four, one or two for a rest of
// two or three. A byte outside the alphabet lands anywhere in or after the blocks.
TEST(Base64, BothDecodersStopAtTheFirstByteOutsideTheAlphabet) {
  static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::mt19937 rng(12);
  for (int round = 0; round < 2000; ++round) {
    std::string data(rng() % 200, '\0');
    for (char& c : data) c = static_cast<char>(rng());
    std::string text = Encode(data);
    if (round % 2 == 1 && !text.empty()) text[rng() % text.size()] = static_cast<char>(rng() % 2 ? rng() % 256 : '=');
    std::size_t valid = 0;
    while (valid < text.size() && alphabet.find(text[valid]) != std::string::npos && text[valid] != '\0') ++valid;
    std::string expected;
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < valid; ++k) {
      bits = bits << 6 | static_cast<std::uint32_t>(alphabet.find(text[k]));
      if (k % 4 == 3) expected += {static_cast<char>(bits >> 16), static_cast<char>(bits >> 8), static_cast<char>(bits)};
    }
    if (valid % 4 >= 2) expected += static_cast<char>(bits >> (valid % 4 == 2 ? 4 : 10));
    if (valid % 4 == 3) expected += static_cast<char>(bits >> 2);
    for (const bool wide : {false, kwpersist::Base64WideAvailable()}) {
      std::string out(static_cast<std::size_t>(Base64decode_len(text.c_str())), '#');
      const int n = kwpersist::Base64DecodeWith(out.data(), text.c_str(), wide);
      ASSERT_EQ(out.substr(0, static_cast<std::size_t>(n)), expected) << round << (wide ? " wide" : " scalar");
      ASSERT_EQ(out[static_cast<std::size_t>(n)], '\0');
    }
  }
}

// Wrapping, refused writes and partial reads are in QueueAgainstAModel; here the
// sized constructor, a freed buffer and the class record.
TEST(BufferCircular, SizedFreedAndItsClass) {
  CBufferCircular b(8);
  const unsigned char six[] = {1, 2, 3, 4, 5, 6};
  unsigned char out[16] = {};
  EXPECT_EQ(b.GetMidaLliure(), 8u);
  EXPECT_EQ(b.Write(six, 6), 1);
  b.Free();
  EXPECT_EQ(b.Write(six, 1), 0);
  EXPECT_EQ(b.Read(out, 1, 1), 0u);
  EXPECT_TRUE(b.IsKindOf(RUNTIME_CLASS(CBufferCircular)));
}

// A block of no bytes is a block: taking it succeeds, and the buffer then behaves
// as one of capacity 0 (nothing goes in or comes out). Junk is queued first so
// that a failed Alloc that kept the old block would show.
TEST(BufferCircular, AllocOfNoBytesSucceedsWithCapacityZero) {
  const unsigned char byte[] = {42};
  for (const unsigned long before : {0ul, 16ul}) {
    unsigned char out[1] = {0xEE};
    CBufferCircular b;
    if (before != 0) {
      ASSERT_EQ(b.Alloc(before), 1);
      ASSERT_EQ(b.Write(byte, 1), 1);
    }
    EXPECT_EQ(b.Alloc(0), 1) << before;
    EXPECT_EQ(b.GetMidaDades(), 0u) << before;
    EXPECT_EQ(b.GetMidaLliure(), 0u) << before;
    EXPECT_EQ(b.Write(byte, 1), 0) << before;
    EXPECT_EQ(b.Write(byte, 0), 0) << before;
    EXPECT_EQ(b.Read(out, 1, 1), 0u) << before;
    EXPECT_EQ(out[0], 0xEE) << before;
    EXPECT_EQ(b.Alloc(4), 1) << before;  // and a real block after it
    EXPECT_EQ(b.Write(byte, 1), 1) << before;
    EXPECT_EQ(b.Read(out, 1, 0), 1u) << before;
    EXPECT_EQ(out[0], 42) << before;
  }
}

TEST(BufferCircular, QueueAgainstAModel) {
  std::mt19937 rng(4);
  CBufferCircular b;
  ASSERT_EQ(b.Alloc(37), 1);
  std::vector<unsigned char> model;
  unsigned char next = 0;
  for (int step = 0; step < 3000; ++step) {
    const unsigned long n = rng() % 20;
    if (rng() % 2) {
      std::vector<unsigned char> data(n);
      for (auto& c : data) c = next++;
      const int ok = b.Write(data.data(), n);
      ASSERT_EQ(ok, model.size() + n <= 37 ? 1 : 0);
      if (ok) model.insert(model.end(), data.begin(), data.end());
      else next = static_cast<unsigned char>(next - n);
    } else {
      std::vector<unsigned char> out(n);
      const int partial = static_cast<int>(rng() % 2);
      const unsigned long got = b.Read(out.data(), n, partial);
      const unsigned long want = model.size() >= n ? n : (partial ? model.size() : 0);
      ASSERT_EQ(got, want);
      ASSERT_TRUE(std::equal(out.begin(), out.begin() + static_cast<long>(got), model.begin()));
      model.erase(model.begin(), model.begin() + static_cast<long>(got));
    }
    ASSERT_EQ(b.GetMidaDades(), model.size());
    ASSERT_EQ(b.GetMidaLliure(), 37 - model.size());
  }
}

}  // namespace
