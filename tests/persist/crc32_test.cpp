// CRC-32: the check value, the raw step, and every engine against the portable one.
#include <cstring>
#include <random>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/persist/crc32.h>
#include <kwlib63/persist/crc32_impl.h>

namespace {

TEST(Crc32, CheckValueAndSteps) {
  unsigned char digits[] = "123456789";
  EXPECT_EQ(AfxComputeCRC32(digits, 9), 0xCBF43926u);
  EXPECT_EQ(AfxComputeCRC32(digits, 0), 0u);
  unsigned long crc = 0xFFFFFFFF;
  for (int i = 0; i < 9; ++i) crc = AfxUpdateCRC32(static_cast<char>(digits[i]), crc);
  EXPECT_EQ(~crc & 0xFFFFFFFFu, 0xCBF43926u);
  EXPECT_EQ(AfxUpdateCRC32(1, 0), 0x77073096u);  // T[1]
}

TEST(Crc32, EnginesAgreeOnEveryLengthAndAlignment) {
  std::mt19937 rng(11);
  std::vector<unsigned char> data(5000);
  for (auto& b : data) b = static_cast<unsigned char>(rng());
  for (std::size_t offset = 0; offset < 16; ++offset) {
    for (std::size_t length : {0u, 1u, 15u, 16u, 39u, 63u, 64u, 65u, 79u, 80u, 81u, 121u, 127u, 128u, 200u, 255u, 256u, 257u, 383u, 384u, 1000u, 4096u, 4977u}) {
      const std::uint32_t portable = kwpersist::Crc32Portable(0xFFFFFFFFu, data.data() + offset, length);
      // A plain bitwise CRC as the reference for the portable engine.
      std::uint32_t bitwise = 0xFFFFFFFFu;
      for (std::size_t i = 0; i < length; ++i) {
        bitwise ^= data[offset + i];
        for (int k = 0; k < 8; ++k) bitwise = (bitwise & 1) ? (bitwise >> 1) ^ 0xEDB88320u : bitwise >> 1;
      }
      ASSERT_EQ(portable, bitwise) << offset << " " << length;
      if (kwpersist::Crc32SimdAvailable()) {
        ASSERT_EQ(kwpersist::Crc32Simd(0xFFFFFFFFu, data.data() + offset, length), portable) << offset << " " << length;
      }
      if (kwpersist::Crc32WideAvailable()) {
        ASSERT_EQ(kwpersist::Crc32Wide(0xFFFFFFFFu, data.data() + offset, length), portable) << offset << " " << length;
      }
      EXPECT_EQ(AfxComputeCRC32(data.data() + offset, length), length == 0 ? 0u : (~portable & 0xFFFFFFFFu));
    }
  }
}

}  // namespace
