#include "miscdisc/netshare/net_lock.h"

#include <gtest/gtest.h>

#include <memory>

#include "miscdisc/platform/paths.h"
#include "tests/platform/ground.h"

namespace {

struct NetLockTest : testing::Test {
  const WString path = ground::folder() + L"Room 1.lck";
  const WString info = path + L".inf";
};

}  // namespace

TEST_F(NetLockTest, TheProbeLeavesNothingBehind) {
  NetLock lock(path);
  EXPECT_TRUE(lock.init());
  EXPECT_FALSE(fileExists(path));
  EXPECT_FALSE(fileExists(info));
}

TEST_F(NetLockTest, TheProbeKeepsNoLaterLockOut) {
  NetLock ours(path), theirs(path);
  ASSERT_TRUE(ours.Lock());
  NetLock probe(path);
  ours.Unlock();
  EXPECT_TRUE(theirs.Lock());
}

TEST_F(NetLockTest, OtherMachineIsRefusedUntilUnlock) {
  NetLock ours(path), theirs(path);

  ASSERT_TRUE(ours.Lock());
  EXPECT_FALSE(theirs.Lock());

  ours.Unlock();
  EXPECT_TRUE(theirs.Lock());
}

TEST_F(NetLockTest, UnlockLeavesNeitherFile) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  ASSERT_TRUE(lock.SetLockInfo(L"ann"));
  EXPECT_TRUE(fileExists(path));
  EXPECT_TRUE(fileExists(info));

  EXPECT_TRUE(lock.Unlock());

  EXPECT_FALSE(fileExists(path));
  EXPECT_FALSE(fileExists(info));
}

TEST_F(NetLockTest, TheInformationFileIsTheNameInUtf8AndNothingElse) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  ASSERT_TRUE(lock.SetLockInfo(L"Zo\u00EB"));
  EXPECT_EQ(ground::readFile(info), "Zo\xC3\xAB");
}

TEST_F(NetLockTest, ALongNameIsWrittenWhole) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  ASSERT_TRUE(lock.SetLockInfo(WString(300, L'n')));
  EXPECT_EQ(ground::readFile(info), String(300, 'n'));
}

TEST_F(NetLockTest, AShorterNameReplacesALongerOne) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  ASSERT_TRUE(lock.SetLockInfo(L"elizabeth"));
  ASSERT_TRUE(lock.SetLockInfo(L"bo"));
  EXPECT_EQ(ground::readFile(info), "bo");
}

TEST_F(NetLockTest, AnEmptyNameIsAnEmptyFile) {
  NetLock lock(path);
  ASSERT_TRUE(lock.Lock());
  EXPECT_TRUE(lock.SetLockInfo(L""));
  EXPECT_EQ(ground::readFile(info), "");
}

TEST_F(NetLockTest, NobodyIsNamedBeforeTheLockIsHeld) {
  NetLock lock(path);
  EXPECT_FALSE(lock.SetLockInfo(L"ann"));
  EXPECT_FALSE(fileExists(info));
}

TEST_F(NetLockTest, NobodyIsNamedAfterAFailedLock) {
  NetLock ours(path), theirs(path);
  ASSERT_TRUE(ours.Lock());
  ASSERT_FALSE(theirs.Lock());
  EXPECT_FALSE(theirs.SetLockInfo(L"ben"));
  EXPECT_FALSE(fileExists(info));
}

TEST_F(NetLockTest, DestroyingAHeldLockLetsGoAndLeavesBothFiles) {
  auto lock = std::make_unique<NetLock>(path);
  ASSERT_TRUE(lock->Lock());
  ASSERT_TRUE(lock->SetLockInfo(L"ann"));

  lock.reset();

  EXPECT_TRUE(fileExists(path));
  EXPECT_EQ(ground::readFile(info), "ann");
  NetLock next(path);
  EXPECT_TRUE(next.Lock());
}

TEST_F(NetLockTest, ALeftoverFileBlocksNobody) {
  ground::writeFile(path, "");
  ground::writeFile(info, "crashed");
  NetLock lock(path);
  EXPECT_TRUE(lock.Lock());
}

TEST_F(NetLockTest, WithoutItsFolderNothingCanBeLocked) {
  NetLock lock(ground::folder() + L"missing/Room.lck");
  EXPECT_FALSE(lock.Lock());
  EXPECT_FALSE(fileExists(ground::folder() + L"missing"));
}
