// What tests of the rules rely on when they look at the calls of the pretended platform.
#include "tests/fakes/fake_platform.h"

#include <gtest/gtest.h>

#include "miscdisc/platform/config.h"
#include "miscdisc/platform/directory.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

namespace {

struct FakePlatformTest : testing::Test {
  FakePlatformTest() { platform.addFile(L"/share/a.txt", "a"); }
  ~FakePlatformTest() override { platform.atCall = nullptr; }
  FakePlatform& platform = fakePlatform();
  iFileManager& files = OS()->fileManager();
};

}  // namespace

TEST_F(FakePlatformTest, ACallIsHeardOfBeforeItIsDone) {
  std::vector<String> heard;
  std::vector<bool> there;
  platform.atCall = [&](const String& call) {
    heard.push_back(call);
    there.push_back(platform.has(L"/share/a.txt"));
  };
  files.remove(L"/share/a.txt");
  deleteDirectory(L"/share");
  EXPECT_EQ(heard, (std::vector<String>{"remove /share/a.txt", "deleteDirectory /share"}));
  EXPECT_EQ(there, (std::vector<bool>{true, false}));
  EXPECT_EQ(platform.calls, heard);
}

TEST_F(FakePlatformTest, WhatIsGivenIsNotedAsItIs) {
  Vector<iFileManager::DirectoryItem> items;
  files.list(L"/share/*.cli", items, 3, 4);
  files.copy(L"/share/a.txt", L"/share/b.txt", 5, 6, 7);
  files.mark(L"a.txt", 8);
  setLocalProjectsDir(L"/home/ann/Films");
  setProjectsBaseDirectory(L"/share");
  UserConfig().setValue("key", "a value", "section");
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"list /share/*.cli 3 4", "copy /share/a.txt /share/b.txt 5 6 7",
                                 "mark a.txt 8", "setLocalProjectsDir /home/ann/Films",
                                 "setProjectsBaseDirectory /share", "setValue key = a value"}));
  fileExists(L"/share//a.txt/");
  EXPECT_EQ(platform.existenceAsked, (std::vector<WString>{L"/share//a.txt/"}));
}

// Every kind of handle, whether or not it was any good.
TEST_F(FakePlatformTest, AHandleIsReleasedWhenItsLastUserIsGone) {
  Qx::Ptr<iFile> first = files.open(L"/share/Lock", 2, 3, 0, 32);
  Qx::Ptr<iFile> second = first;
  first = nullptr;
  EXPECT_EQ(platform.calls, (std::vector<String>{"open /share/Lock"}));
  second = nullptr;
  files.open(L"/share/Lock", 2, 1, 0, 32) = nullptr;
  files.open(L"/share/list.txt", 1, 2, 1, 0) = nullptr;
  files.open(L"/gone/list.txt", 0, 0, 1, 0) = nullptr;
  { const Directory listing(L"/share/*.txt", 0, 0, Directory::eLocked); }
  EXPECT_EQ(
      platform.calls,
      (std::vector<String>{"open /share/Lock", "release /share/Lock", "open /share/Lock",
                           "release /share/Lock", "open /share/list.txt", "release /share/list.txt",
                           "open /gone/list.txt", "release invalid", "release /share/*.txt"}));
}

TEST_F(FakePlatformTest, ACallThatFailsDoesNothing) {
  platform.failNextCall();
  EXPECT_FALSE(deleteDirectory(L"/share"));
  EXPECT_TRUE(platform.has(L"/share/a.txt"));

  Vector<iFileManager::DirectoryItem> items;
  platform.failNextCall();
  EXPECT_FALSE(files.list(L"/share/*.txt", items, 1, 0));
  EXPECT_EQ(items.size(), 0u);

  EXPECT_TRUE(files.list(L"/share/*.txt", items, 1, 0));  // only that one call
  EXPECT_EQ(items.size(), 1u);
}
