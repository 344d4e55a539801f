// Readability and writability as the process's memory map says.
#include <sys/mman.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include <kwlib63/platform/memory.h>

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

}  // namespace
