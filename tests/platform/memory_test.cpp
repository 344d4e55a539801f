// Readability and writability as the process's memory map says; the large-page hint.
#include <sys/mman.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include <kwlib63/platform/memory.h>

#include "support/largepages.h"

namespace {

TEST(Memory, MappedUnmappedAndProtectedPages) {
  const long page = sysconf(_SC_PAGESIZE);
  auto* p = static_cast<char*>(mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(p, MAP_FAILED);
  ASSERT_EQ(mprotect(p + page, page, PROT_READ), 0);
  ASSERT_EQ(munmap(p + 2 * page, page), 0);

  EXPECT_FALSE(kwplat::IsBadReadPtr(p, page));
  EXPECT_FALSE(kwplat::IsBadWritePtr(p, page));
  EXPECT_FALSE(kwplat::IsBadReadPtr(p, 2 * page));   // spans two mappings
  EXPECT_TRUE(kwplat::IsBadWritePtr(p, page + 1));   // runs into the read-only page
  EXPECT_FALSE(kwplat::IsBadReadPtr(p + page, page));
  EXPECT_TRUE(kwplat::IsBadReadPtr(p + page, page + 1));  // runs into the hole
  EXPECT_TRUE(kwplat::IsBadReadPtr(p + 2 * page, 1));
  EXPECT_TRUE(kwplat::IsBadReadPtr(nullptr, 1));
  EXPECT_FALSE(kwplat::IsBadReadPtr(nullptr, 0));
  int local = 0;
  EXPECT_FALSE(kwplat::IsBadWritePtr(&local, sizeof local));
  munmap(p, 2 * page);
}

TEST(Memory, LargePagesAreAskedOnlyForTheBlocksWholeStretches) {
  constexpr std::size_t kLarge = 2u << 20;
  constexpr std::size_t kBytes = 8 * kLarge + 4096;
  auto* block = static_cast<char*>(std::calloc(1, kBytes));
  ASSERT_NE(block, nullptr);
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  char* first = block + ((kLarge - begin % kLarge) % kLarge);  // the first whole stretch
  ASSERT_FALSE(kwtest::MarkedForLargePages(first));

  kwplat::AdviseLargePages(block, kBytes);
  EXPECT_TRUE(kwtest::MarkedForLargePages(first));
  EXPECT_TRUE(kwtest::MarkedForLargePages(first + 6 * kLarge));
  if (first != block) {
    EXPECT_FALSE(kwtest::MarkedForLargePages(first - 1));  // part of a stretch only
  }
  block[0] = block[kBytes - 1] = 1;  // still the caller's memory, as it was
  EXPECT_EQ(block[1] + block[kBytes - 2], 0);

  kwplat::AdviseLargePages(nullptr, kBytes);  // nothing to advise
  kwplat::AdviseLargePages(block, 100);
  std::free(block);
}

// A block that would run past the end of the address space advises nothing, not
// every mapping of the process.
TEST(Memory, ABlockAtTheTopOfTheAddressSpaceAdvisesNothing) {
  constexpr std::size_t kLarge = 2u << 20;
  auto* other = static_cast<char*>(mmap(nullptr, 4 * kLarge, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(other, MAP_FAILED);
  char* inside = other + 2 * kLarge;
  for (const std::uintptr_t top : {UINTPTR_MAX, UINTPTR_MAX - 4095, UINTPTR_MAX - kLarge + 1}) {
    for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, kLarge, SIZE_MAX}) {
      kwplat::AdviseLargePages(reinterpret_cast<void*>(top), bytes);
      ASSERT_FALSE(kwtest::MarkedForLargePages(inside)) << std::hex << top << " " << bytes;
    }
  }
  munmap(other, 4 * kLarge);
}

}  // namespace
