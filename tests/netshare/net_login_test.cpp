#include "miscdisc/netshare/net_login.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_platform.h"

namespace {

struct NetLoginTest : testing::Test {
  NetLoginTest() {
    platform.addFolder(L"/share/Alpha");
    platform.addFolder(L"/share/Beta");
  }

  FakePlatform& platform = fakePlatform();
  const WString alpha = L"/share/Alpha/ann.cli";
  const WString beta = L"/share/Beta/ann.cli";
};

}  // namespace

TEST_F(NetLoginTest, TheFileIsNamedByTheUserBehindOneSeparator) {
  EXPECT_EQ(getNetLoginLockFileName(L"/share/Alpha"), L"/share/Alpha/ann.cli");
  EXPECT_EQ(getNetLoginLockFileName(L"/share/Alpha/"), L"/share/Alpha/ann.cli");
  EXPECT_EQ(getNetLoginLockFileName(L""), L"/ann.cli");
  platform.userName = L"J\u00F6rg B";
  EXPECT_EQ(getNetLoginLockFileName(L"/share/Alpha"), L"/share/Alpha/J\u00F6rg B.cli");
}

TEST_F(NetLoginTest, ALoginKeepsAnEmptyFileOpen) {
  EXPECT_TRUE(NetLogin(L"/share/Alpha"));
  EXPECT_EQ(platform.opened, (std::vector<FakePlatform::Open>{{alpha, 2, 3, 4, 32}}));
  ASSERT_TRUE(platform.has(alpha));
  EXPECT_EQ(platform.file(alpha)->bytes, "");
  ASSERT_TRUE(lockFilehandle);
  EXPECT_TRUE(lockFilehandle->valid());
  EXPECT_EQ(platform.ownersSet, (std::vector<WString>{alpha}));
}

TEST_F(NetLoginTest, ALogoutClosesAndDeletesTheFile) {
  NetLogin(L"/share/Alpha");
  EXPECT_TRUE(NetLogout());
  EXPECT_FALSE(lockFilehandle);
  EXPECT_FALSE(platform.has(alpha));
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"open /share/Alpha/ann.cli", "release /share/Alpha/ann.cli",
                                 "remove /share/Alpha/ann.cli"}));
}

TEST_F(NetLoginTest, ALogoutWhileLoggedOutDeletesNothing) {
  platform.addFile(alpha);
  EXPECT_TRUE(NetLogout());
  EXPECT_TRUE(platform.has(alpha));
  EXPECT_EQ(platform.removed, std::vector<WString>());

  NetLogin(L"/share/Beta");
  NetLogout();
  EXPECT_TRUE(NetLogout());
  EXPECT_EQ(platform.removed, (std::vector<WString>{beta}));
}

// The new handle is stored before the earlier login ends, and goes with it.
TEST_F(NetLoginTest, ASecondLoginElsewhereLeavesItsFileClosed) {
  NetLogin(L"/share/Alpha");
  EXPECT_TRUE(NetLogin(L"/share/Beta"));
  EXPECT_FALSE(platform.has(alpha));
  EXPECT_TRUE(platform.has(beta));
  EXPECT_FALSE(lockFilehandle);
  EXPECT_TRUE(NetLogout());
  EXPECT_FALSE(platform.has(beta));
}

TEST_F(NetLoginTest, ASecondLoginInTheSameFolderLeavesNoFile) {
  NetLogin(L"/share/Alpha");
  EXPECT_TRUE(NetLogin(L"/share/Alpha"));
  EXPECT_FALSE(platform.has(alpha));
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(platform.removed, (std::vector<WString>{alpha}));
  NetLogout();  // it is remembered all the same
  EXPECT_EQ(platform.removed, (std::vector<WString>{alpha, alpha}));
}

TEST_F(NetLoginTest, AFailedLoginKeepsTheEarlierPath) {
  NetLogin(L"/share/Alpha");
  EXPECT_FALSE(NetLogin(L"/share/Gone"));
  EXPECT_TRUE(platform.has(alpha));
  EXPECT_FALSE(lockFilehandle && lockFilehandle->valid());
  EXPECT_EQ(platform.ownersSet.size(), 1u);
  NetLogout();
  EXPECT_FALSE(platform.has(alpha));
}

TEST_F(NetLoginTest, AFailedLoginWhileLoggedOutLeavesNobodyLoggedIn) {
  EXPECT_FALSE(NetLogin(L"/share/Gone"));
  NetLogout();
  EXPECT_EQ(platform.removed, std::vector<WString>());
}

TEST_F(NetLoginTest, TheProcessNumberIsForOthers) {
  EXPECT_EQ(glib_pid, 0);
  NetLogin(L"/share/Alpha");
  EXPECT_EQ(glib_pid, 0);
}
