// What a cached directory does on real files; runs on the fakes and on the host.
#include "miscdisc/dircache/directory_cache.h"

#include <gtest/gtest.h>

#include "tests/platform/ground.h"

namespace {

const directory_criteria kCriteria(L"*.*", 0, false);

struct DirectoryCacheTest : testing::Test {
  DirectoryCacheTest() {
    ground::makeFolder(root + L"Material/");
    ground::addVolume(L'E', root.substr(0, root.size() - 1));
  }
  void record(const WString& name) { ground::writeFile(root + L"Material/" + name, "media"); }

  const WString root = ground::folder() + L"e/";
  directory_cache cache{directory_spec(L"E:/Material/"), kCriteria, nullptr};
};

}  // namespace

TEST_F(DirectoryCacheTest, CountsNothingUntilItIsRead) {
  record(L"a.mxf");
  EXPECT_EQ(cache.count(), 0u);
  cache.validate();
  EXPECT_EQ(cache.count(), 1u);
}

TEST_F(DirectoryCacheTest, FindReadsTheDirectoryOnce) {
  record(L"a.mxf");
  ASSERT_NE(cache.find(L"a.mxf"), nullptr);
  EXPECT_EQ(cache.count(), 1u);
  record(L"b.mxf");
  EXPECT_EQ(cache.find(L"b.mxf"), nullptr);  // what comes later is not noticed
}

TEST_F(DirectoryCacheTest, FindGivesTheDetails) {
  record(L"a.mxf");
  const file_info* file = cache.find(L"a.mxf");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->nameView(), L"a.mxf");
  EXPECT_EQ(file->size, 5u);
  EXPECT_EQ(file->attributes, 0u);
}

TEST_F(DirectoryCacheTest, ListsNamesLongerThanTheMaskShows) {
  record(L"A001C002_210914_R1X2.mxf");
  record(L"noextension");
  EXPECT_NE(cache.find(L"A001C002_210914_R1X2.mxf"), nullptr);
  EXPECT_NE(cache.find(L"noextension"), nullptr);
}

TEST_F(DirectoryCacheTest, AfterInvalidateTheNextFindReadsAgain) {
  record(L"a.mxf");
  cache.validate();
  record(L"b.mxf");
  cache.invalidate();
  EXPECT_EQ(cache.count(), 0u);
  EXPECT_NE(cache.find(L"b.mxf"), nullptr);
  EXPECT_EQ(cache.count(), 2u);
}

TEST_F(DirectoryCacheTest, PatchesALoadedListing) {
  cache.validate();
  record(L"new.mxf");
  EXPECT_TRUE(cache.addFile(L"E:/Material/new.mxf"));
  EXPECT_NE(cache.find(L"new.mxf"), nullptr);
  EXPECT_TRUE(cache.addFile(L"E:/Material/new.mxf"));  // again: the count stays
  EXPECT_EQ(cache.count(), 1u);

  EXPECT_TRUE(cache.removeFile(L"E:/Material/new.mxf"));
  EXPECT_EQ(cache.find(L"new.mxf"), nullptr);
  EXPECT_FALSE(cache.removeFile(L"E:/Material/new.mxf"));
}

TEST_F(DirectoryCacheTest, ADirectoryThatIsNotValidNeedsNoPatch) {
  record(L"a.mxf");
  EXPECT_FALSE(cache.addFile(L"E:/Material/a.mxf"));
  EXPECT_FALSE(cache.removeFile(L"E:/Material/a.mxf"));
  EXPECT_EQ(cache.count(), 0u);
}

TEST_F(DirectoryCacheTest, AFileThatIsNotOnTheDiskCannotBeAdded) {
  cache.validate();
  EXPECT_FALSE(cache.addFile(L"E:/Material/missing.mxf"));
  EXPECT_EQ(cache.count(), 0u);
}

// The entry to remove is looked up on the disk, so removal comes before the deletion.
TEST_F(DirectoryCacheTest, AFileDeletedFirstStaysListedUntilInvalidate) {
  record(L"a.mxf");
  cache.validate();
  ground::removeFile(root + L"Material/a.mxf");
  EXPECT_FALSE(cache.removeFile(L"E:/Material/a.mxf"));
  EXPECT_NE(cache.find(L"a.mxf"), nullptr);
  cache.invalidate();
  EXPECT_EQ(cache.find(L"a.mxf"), nullptr);
}

TEST_F(DirectoryCacheTest, AMissingDirectoryIsValidAndEmpty) {
  directory_cache missing(directory_spec(L"E:/Sound/"), kCriteria, nullptr);
  missing.validate();
  EXPECT_NE(missing.currentListing(), nullptr);
  EXPECT_EQ(missing.count(), 0u);
  EXPECT_EQ(missing.find(L"a.mxf"), nullptr);
  missing.invalidate();
}

TEST_F(DirectoryCacheTest, TheCriteriasPatternDoesNotChooseFiles) {
  record(L"a.mxf");
  directory_cache filtered(directory_spec(L"E:/Material/"), directory_criteria(L"*.wav", 0, false),
                           nullptr);
  filtered.validate();
  EXPECT_EQ(filtered.count(), 1u);
  filtered.invalidate();
}
