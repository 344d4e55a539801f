// UniqueFd: each descriptor closed exactly once, by its last owner. A stray
// second close shows on the descriptor that next takes the freed number.
#include <fcntl.h>
#include <unistd.h>

#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include <kwlib63/platform/uniquefd.h>

using kwplat::UniqueFd;

namespace {

// open(2) hands out the lowest free number, so a descriptor opened right after a
// close takes the closed one's number.
int OpenNull() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(UniqueFd, ClosesWhatItHoldsWhenItGoes) {
  int fd = -1;
  {
    UniqueFd owner(OpenNull());
    fd = owner.Get();
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(owner);
    EXPECT_TRUE(IsOpen(fd));
  }
  EXPECT_FALSE(IsOpen(fd));
}

TEST(UniqueFd, AMovedFromOwnerClosesNothing) {
  std::optional<UniqueFd> from(std::in_place, OpenNull());
  const int fd = from->Get();
  ASSERT_GE(fd, 0);
  {
    const UniqueFd to(std::move(*from));
    EXPECT_EQ(to.Get(), fd);
    EXPECT_EQ(from->Get(), -1);
    EXPECT_FALSE(*from);
  }
  EXPECT_FALSE(IsOpen(fd));
  const int reused = OpenNull();
  ASSERT_EQ(reused, fd);
  from.reset();
  EXPECT_TRUE(IsOpen(reused));
  close(reused);
}

TEST(UniqueFd, MoveAssignmentClosesTheTargetsOwnDescriptor) {
  UniqueFd target(OpenNull());
  UniqueFd source(OpenNull());
  const int old = target.Get(), moved = source.Get();
  ASSERT_GE(old, 0);
  ASSERT_GE(moved, 0);
  target = std::move(source);
  EXPECT_FALSE(IsOpen(old));
  EXPECT_EQ(target.Get(), moved);
  EXPECT_EQ(source.Get(), -1);
  EXPECT_TRUE(IsOpen(moved));
}

TEST(UniqueFd, ReleaseHandsTheDescriptorOverOpen) {
  int fd = -1;
  {
    UniqueFd owner(OpenNull());
    fd = owner.Release();
    EXPECT_EQ(owner.Get(), -1);
  }
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(IsOpen(fd));
  close(fd);
}

TEST(UniqueFd, ResetClosesTheOldDescriptorAndHoldsTheNew) {
  UniqueFd owner(OpenNull());
  const int old = owner.Get();
  const int next = OpenNull();
  ASSERT_GE(old, 0);
  ASSERT_GE(next, 0);
  owner.Reset(next);
  EXPECT_FALSE(IsOpen(old));
  EXPECT_EQ(owner.Get(), next);
  EXPECT_TRUE(IsOpen(next));
  owner.Reset();
  EXPECT_FALSE(IsOpen(next));
  EXPECT_FALSE(owner);
}

TEST(UniqueFd, AFailedOpenHoldsNothing) {
  const UniqueFd none(open("/nonexistent/kwlib63", O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(none);
  EXPECT_EQ(none.Get(), -1);
  EXPECT_FALSE(UniqueFd());
}

}  // namespace
