// The framework's locks over events and critical sections.
#include <future>
#include <gtest/gtest.h>

#include <kwlib63/framework/syncobject.h>
#include <kwlib63/platform/event.h>

namespace {

TEST(SyncObjects, CriticalSectionIsRecursiveAndExclusive) {
  CCriticalSection cs;
  CSingleLock outer(&cs, TRUE);
  EXPECT_TRUE(outer.IsLocked());
  {
    CSingleLock inner(&cs, TRUE);  // the owner locks it again
    EXPECT_TRUE(inner.IsLocked());
  }
  auto other = std::async(std::launch::async, [&] {
    CSingleLock lock(&cs, TRUE);
    return lock.IsLocked();
  });
  EXPECT_EQ(other.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  outer.Unlock();
  EXPECT_TRUE(other.get());
}

TEST(SyncObjects, MultiLockOnEvents) {
  CEvent autoReset;                // not signalled, auto reset
  CEvent manual(TRUE, TRUE);       // signalled, manual reset
  CSyncObject* objects[] = {&autoReset, &manual};
  CMultiLock lock(objects, 2);
  EXPECT_EQ(lock.Lock(0, FALSE), WAIT_OBJECT_0 + 1);
  EXPECT_FALSE(lock.IsLocked(0));
  EXPECT_TRUE(lock.IsLocked(1));
  EXPECT_EQ(lock.Lock(20, TRUE), WAIT_TIMEOUT);  // not both
  autoReset.SetEvent();
  EXPECT_EQ(lock.Lock(0, TRUE), WAIT_OBJECT_0);
  EXPECT_TRUE(lock.IsLocked(0));
  EXPECT_EQ(CSingleLock(&autoReset).Lock(0), FALSE);  // taken by the wait for all
  manual.ResetEvent();
  EXPECT_FALSE(CSingleLock(&manual).Lock(0));
}

}  // namespace
