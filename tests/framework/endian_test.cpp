// framework/endian.h: 16-, 32- and 64-bit loads and stores at every alignment give
// and take the bytes of a little-endian file, least significant first, and touch
// nothing beside them.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/endian.h>

namespace {

// The value's bytes, least significant first, by shifts: no memory order involved.
std::vector<unsigned char> LittleEndian(std::uint64_t value, std::size_t width) {
  std::vector<unsigned char> bytes;
  for (std::size_t i = 0; i < width; ++i) bytes.push_back(static_cast<unsigned char>(value >> (8 * i)));
  return bytes;
}

// The low `width` bytes of `value`.
std::uint64_t Fit(std::uint64_t value, std::size_t width) {
  return width == 8 ? value : value & ((1ull << (8 * width)) - 1);
}

struct Width {
  std::size_t bytes;
  std::uint64_t (*load)(const void*);
  void (*store)(void*, std::uint64_t);
};

const Width kWidths[] = {
    {2, [](const void* p) -> std::uint64_t { return kwfw::Load16(p); },
     [](void* p, std::uint64_t v) { kwfw::Store16(p, static_cast<std::uint16_t>(v)); }},
    {4, [](const void* p) -> std::uint64_t { return kwfw::Load32(p); },
     [](void* p, std::uint64_t v) { kwfw::Store32(p, static_cast<std::uint32_t>(v)); }},
    {8, [](const void* p) -> std::uint64_t { return kwfw::Load64(p); },
     [](void* p, std::uint64_t v) { kwfw::Store64(p, v); }},
};

// Values with the top bit set, alternating bits and every byte different.
const std::uint64_t kValues[] = {0, 1, 0x0123456789ABCDEFull, 0xFEDCBA9876543210ull, 0x8000000000000001ull,
                                 0x5555AAAA5555AAAAull, ~0ull};

// Calls `check(width, value, at, image)` for every width, value and offset from 0
// to 7, `image` being 24 bytes of `fill` with the value's bytes at that offset.
template <typename Check>
void ForEachPlacement(unsigned char fill, Check check) {
  for (const Width& w : kWidths) {
    for (const std::uint64_t full : kValues) {
      const std::uint64_t value = Fit(full, w.bytes);
      const std::vector<unsigned char> bytes = LittleEndian(value, w.bytes);
      for (std::size_t at = 0; at < 8; ++at) {
        std::vector<unsigned char> image(24, fill);
        std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<std::ptrdiff_t>(at));
        check(w, value, at, image);
      }
    }
  }
}

TEST(Endian, StoresWriteTheBytesLeastSignificantFirstAtEveryAlignment) {
  ForEachPlacement(0xA5, [](const Width& w, std::uint64_t value, std::size_t at, const std::vector<unsigned char>& image) {
    std::vector<unsigned char> buffer(24, 0xA5);
    w.store(buffer.data() + at, value);
    EXPECT_EQ(buffer, image) << w.bytes << " bytes of " << std::hex << value << " at " << std::dec << at;
  });
}

// Loads read exactly their own bytes, whatever stands beside them.
TEST(Endian, LoadsReadTheBytesLeastSignificantFirstAtEveryAlignment) {
  ForEachPlacement(0xFF, [](const Width& w, std::uint64_t value, std::size_t at, const std::vector<unsigned char>& image) {
    EXPECT_EQ(w.load(image.data() + at), value) << w.bytes << " bytes at " << at;
  });
}

TEST(Endian, ByteSwapReversesTheBytes) {
  EXPECT_EQ(kwfw::ByteSwap<std::uint16_t>(0x1234), 0x3412);
  EXPECT_EQ(kwfw::ByteSwap<std::uint32_t>(0x12345678u), 0x78563412u);
  EXPECT_EQ(kwfw::ByteSwap<std::uint64_t>(0x0123456789ABCDEFull), 0xEFCDAB8967452301ull);
}

}  // namespace
