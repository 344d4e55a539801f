// framework/smallcopy.h: every length copies exactly its bytes, reading and
// writing nothing on either side, with both blocks ending against an unreadable page.
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/smallcopy.h>

#include "../support/guardedbuffer.h"

namespace {

TEST(SmallCopy, EveryLengthCopiesItsBytesAndNothingBeside) {
  constexpr std::size_t kPage = 4096;
  std::mt19937 rng(7);
  for (std::size_t n = 0; n <= 200; ++n) {
    std::vector<unsigned char> bytes(n);
    for (unsigned char& b : bytes) b = static_cast<unsigned char>(rng());
    const kwtest::GuardedBuffer from(bytes.data(), n);
    kwtest::GuardedBuffer to(kPage);
    std::memset(to.data(), 0xA5, kPage);
    unsigned char* at = to.data() + kPage - n;  // ends against the guard page

    kwfw::CopyBytes(at, from.data(), n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(at[i], bytes[i]) << "length " << n << ", byte " << i;
    for (unsigned char* p = to.data(); p < at; ++p) ASSERT_EQ(*p, 0xA5) << "length " << n << " wrote before its start";
  }
}

}  // namespace
