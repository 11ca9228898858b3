// What every platform's path helpers must do.
#include "miscdisc/platform/paths.h"

#include <gtest/gtest.h>

#include "tests/platform/ground.h"

namespace {

TEST(PathsTest, PathIsSplitAfterTheLastSeparator) {
  struct Row {
    const wchar_t *path, *folder, *name;
  };
  for (const Row row : {Row{L"/a/b/c.txt", L"/a/b/", L"c.txt"}, Row{L"/a/b/", L"/a/b/", L""},
                        Row{L"/a", L"/", L"a"}, Row{L"a", L"", L"a"}, Row{L"", L"", L""}}) {
    EXPECT_EQ(getPath(row.path), row.folder);
    EXPECT_EQ(stripPath(row.path), row.name);
  }
}

TEST(PathsTest, JoinedPathsHaveOneSeparatorBetween) {
  EXPECT_EQ(joinPaths(L"/a", L"b"), L"/a/b");
  EXPECT_EQ(joinPaths(L"/a/", L"b"), L"/a/b");
  EXPECT_EQ(joinPaths(L"/a", L"/b"), L"/a/b");
  EXPECT_EQ(joinPaths(L"/a//", L"//b/"), L"/a/b/");
  EXPECT_EQ(joinPaths(L"/", L"b"), L"/b");
}

TEST(PathsTest, EmptyPathAddsNoSeparator) {
  EXPECT_EQ(joinPaths(L"", L"b"), L"b");
  EXPECT_EQ(joinPaths(L"/a", L""), L"/a");
  EXPECT_EQ(joinPaths(L"/a/", L""), L"/a/");
  EXPECT_EQ(joinPaths(L"", L""), L"");
}

TEST(PathsTest, FilesAndFoldersExist) {
  const WString folder = ground::folder();
  ground::makeFolder(folder + L"Media");
  ground::writeFile(folder + L"list.txt", "");
  EXPECT_TRUE(fileExists(folder));
  EXPECT_TRUE(fileExists(folder + L"Media"));
  EXPECT_TRUE(fileExists(folder + L"Media/"));
  EXPECT_TRUE(fileExists(folder + L"list.txt"));
  EXPECT_FALSE(fileExists(folder + L"missing"));
  EXPECT_FALSE(fileExists(folder + L"missing/list.txt"));
  EXPECT_FALSE(fileExists(folder + L"LIST.TXT"));
  EXPECT_FALSE(fileExists(L""));
}

TEST(PathsTest, FolderIsDeletedWithEverythingInIt) {
  const WString folder = ground::folder();
  ground::makeFolder(folder + L"Lobby/Media/deep");
  ground::writeFile(folder + L"Lobby/anna.cli", "");
  ground::writeFile(folder + L"Lobby/Media/deep/.hidden", "x");
  ground::writeFile(folder + L"beside", "x");
  EXPECT_TRUE(deleteDirectory(folder + L"Lobby/"));
  EXPECT_FALSE(fileExists(folder + L"Lobby"));
  EXPECT_TRUE(fileExists(folder + L"beside"));
}

TEST(PathsTest, OnlyFoldersAreDeleted) {
  const WString file = ground::folder() + L"file";
  ground::writeFile(file, "x");
  EXPECT_FALSE(deleteDirectory(file));
  EXPECT_EQ(ground::readFile(file), "x");
  EXPECT_FALSE(deleteDirectory(ground::folder() + L"missing"));
  EXPECT_FALSE(deleteDirectory(L""));
}

}  // namespace
