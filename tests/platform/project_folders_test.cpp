// What every platform's working folders must do.
#include "miscdisc/platform/project_folders.h"

#include <gtest/gtest.h>

namespace {

TEST(ProjectFoldersTest, EndInOneSeparatorWhateverWasSet) {
  for (const wchar_t* folder : {L"/mnt/p", L"/mnt/p/", L"/mnt/p//"}) {
    setLocalProjectsDir(folder);
    setProjectsBaseDirectory(folder);
    EXPECT_EQ(getLocalProjectsDir(), L"/mnt/p/");
    EXPECT_EQ(getProjectsBaseDirectory(), L"/mnt/p/");
  }
  setProjectsBaseDirectory(L"/");
  EXPECT_EQ(getProjectsBaseDirectory(), L"/");
  EXPECT_TRUE(getDumpFolder().ends_with(L'/'));
}

TEST(ProjectFoldersTest, ANewLocalFolderLeavesTheBaseDirectoryWhereItWas) {
  const WString before = getProjectsBaseDirectory();
  setLocalProjectsDir(before + L"elsewhere");
  EXPECT_EQ(getProjectsBaseDirectory(), before);
}

TEST(ProjectFoldersTest, ANewBaseDirectoryLeavesTheLocalFolderWhereItWas) {
  setLocalProjectsDir(L"/mnt/p");
  setProjectsBaseDirectory(L"/mnt/lobby");
  EXPECT_EQ(getLocalProjectsDir(), L"/mnt/p/");
}

TEST(ProjectFoldersTest, TheDefaultStaysWhatItIs) {
  const WString before = getDefaultLocalProjectsDir();
  EXPECT_TRUE(before.ends_with(L"/projects/"));
  setLocalProjectsDir(L"/mnt/p");
  EXPECT_EQ(getDefaultLocalProjectsDir(), before);
}

TEST(ProjectFoldersTest, TheFileOfMediaLocationsHasABareName) {
  EXPECT_EQ(getMediaLocationsFilename(), L"DefNetDrive.txt");
}

TEST(ProjectFoldersTest, AnEmptyFolderGoesBackToWhatItIsWithoutASetting) {
  setLocalProjectsDir(L"/mnt/local");
  setProjectsBaseDirectory(L"/mnt/base");
  setProjectsBaseDirectory(L"");
  EXPECT_EQ(getProjectsBaseDirectory(), L"/mnt/local/");
  setLocalProjectsDir(L"");
  EXPECT_EQ(getLocalProjectsDir(), getDefaultLocalProjectsDir());
}

}  // namespace
