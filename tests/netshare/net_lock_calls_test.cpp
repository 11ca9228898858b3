#include <gtest/gtest.h>

#include "miscdisc/netshare/net_lock.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct NetLockCalls : testing::Test {
  NetLockCalls() { platform.addFolder(L"/share"); }
  FakePlatform& platform = fakePlatform();
  const WString path = L"/share/Room 1.lck";
  const WString info = L"/share/Room 1.lck.inf";
};

}  // namespace

TEST_F(NetLockCalls, OpensProbeLockAndInformationFileInTheirOwnWays) {
  NetLock lock(path);
  lock.Lock();
  lock.SetLockInfo(L"ann");

  EXPECT_EQ(platform.opened, (std::vector<FakePlatform::Open>{
                                 {path, 2, 1, 0, 32}, {path, 2, 3, 0, 32}, {info, 2, 3, 4, 0}}));
}

TEST_F(NetLockCalls, RemovesTheLockBeforeItsInformationFile) {
  NetLock lock(path);
  lock.Lock();
  lock.SetLockInfo(L"ann");
  lock.Unlock();
  EXPECT_EQ(platform.removed, (std::vector<WString>{path, info}));
}

TEST_F(NetLockCalls, WithoutANameOnlyTheLockIsRemoved) {
  NetLock lock(path);
  lock.Lock();
  lock.Unlock();
  EXPECT_EQ(platform.removed, (std::vector<WString>{path}));
}

TEST_F(NetLockCalls, ANameThatWasGivenWithoutTheLockIsNotRemovedLater) {
  NetLock lock(path);
  EXPECT_FALSE(lock.SetLockInfo(L"ann"));
  ASSERT_TRUE(lock.Lock());
  lock.Unlock();
  EXPECT_EQ(platform.removed, (std::vector<WString>{path}));
}

// The path of the information file stays known after the first time.
TEST_F(NetLockCalls, ASecondUnlockRemovesTheInformationFileToo) {
  NetLock lock(path);
  lock.Lock();
  lock.SetLockInfo(L"ann");
  lock.Unlock();
  lock.Lock();
  lock.Unlock();
  EXPECT_EQ(platform.removed, (std::vector<WString>{path, info, path, info}));
}

TEST_F(NetLockCalls, UnlockOfALockThatIsNotHeldAsksForItsRemovalAllTheSame) {
  platform.heldElsewhere = {path};
  platform.addFile(path);
  NetLock lock(path);
  ASSERT_FALSE(lock.Lock());
  EXPECT_TRUE(lock.Unlock());
  EXPECT_EQ(platform.removed, (std::vector<WString>{path}));
  EXPECT_TRUE(platform.has(path));  // it is the other machine's: the platform leaves it
}

// The first handle is let go only when the second open has been refused because of it: then nobody
// holds the lock.
TEST_F(NetLockCalls, ASecondLockOpensTheFileAgainAndIsRefused) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  platform.calls.clear();
  EXPECT_FALSE(lock.Lock());
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"open /share/Room 1.lck", "release /share/Room 1.lck"}));
  EXPECT_FALSE(lock.SetLockInfo(L"ann"));
  NetLock theirs(path);
  EXPECT_TRUE(theirs.Lock());
}

TEST_F(NetLockCalls, AFailedProbeIsReportedAndChangesNothing) {
  platform.failingCall = 1;
  NetLock lock(path);
  EXPECT_EQ(platform.failuresReported, 1);
  EXPECT_TRUE(lock.Lock());
}

TEST_F(NetLockCalls, AFailedProbeIsReportedBeforeItsHandleGoes) {
  platform.failingCall = 1;
  const NetLock lock(path);
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"open /share/Room 1.lck", "report failure", "release invalid"}));
}

TEST_F(NetLockCalls, AFailedLockIsNotReported) {
  NetLock lock(path);
  platform.failingCall = 2;
  EXPECT_FALSE(lock.Lock());
  EXPECT_EQ(platform.failuresReported, 0);
}

TEST_F(NetLockCalls, AFailedOpenOfTheInformationFileIsReported) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  platform.failingCall = 3;
  EXPECT_FALSE(lock.SetLockInfo(L"ann"));
  EXPECT_EQ(platform.failuresReported, 1);
}

TEST_F(NetLockCalls, TheInformationFileIsClosedOnceItIsWritten) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  platform.calls.clear();
  EXPECT_TRUE(lock.SetLockInfo(L"ann"));
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"open /share/Room 1.lck.inf", "write /share/Room 1.lck.inf",
                                 "release /share/Room 1.lck.inf"}));
}

TEST_F(NetLockCalls, AFailedWriteIsAFalseResultAndNotReported) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  platform.failingCall = 4;
  EXPECT_FALSE(lock.SetLockInfo(L"ann"));
  EXPECT_EQ(platform.failuresReported, 0);
}

TEST_F(NetLockCalls, AfterAFailedWriteTheInformationFileStaysOpen) {
  platform.failingCall = 4;
  {
    NetLock lock(path);
    ASSERT_TRUE(lock.Lock());
    platform.calls.clear();
    EXPECT_FALSE(lock.SetLockInfo(L"ann"));
    lock.Unlock();
    EXPECT_EQ(platform.calls,
              (std::vector<String>{"open /share/Room 1.lck.inf", "write /share/Room 1.lck.inf",
                                   "release /share/Room 1.lck", "remove /share/Room 1.lck",
                                   "remove /share/Room 1.lck.inf"}));
  }
  EXPECT_EQ(platform.calls.back(), "release /share/Room 1.lck.inf");
}

// Each call of one whole cycle fails in its turn: nothing throws, nothing stays locked.
TEST_F(NetLockCalls, EveryFailureLeavesTheLockFree) {
  for (int failing = 1; failing <= 6; ++failing) {
    SCOPED_TRACE(failing);
    platform.failNextCall();
    platform.failingCall += failing - 1;
    {
      NetLock lock(path);
      const bool locked = lock.Lock();
      EXPECT_EQ(locked, failing != 2);
      if (locked) {
        EXPECT_EQ(lock.SetLockInfo(L"ann"), failing != 3 && failing != 4);
        lock.Unlock();
      }
    }
    EXPECT_EQ(platform.failuresReported, failing < 3 ? 1 : 2);
    NetLock next(path);
    EXPECT_TRUE(next.Lock());
    next.SetLockInfo(L"ben");
    next.Unlock();
    EXPECT_FALSE(platform.has(path));
    EXPECT_FALSE(platform.has(info));
  }
}
