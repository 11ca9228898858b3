#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

#include "miscdisc/dircache/directory_cache.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct DirectoryCacheCalls : testing::Test {
  DirectoryCacheCalls() {
    platform.addVolume(L'E', L"/media/e");
    platform.addFile(L"/media/e/Material/a.mxf");
  }
  FakePlatform& platform = fakePlatform();
  const directory_criteria criteria{L"*.*", 0, false};
  directory_cache cache{directory_spec(L"E:/Material/"), criteria, nullptr};
};

}  // namespace

TEST(DirectorySpec, TheMaskIsFixedWhateverTheVolume) {
  const directory_spec spec(L"E:/Sound/");
  EXPECT_EQ(spec.fullName(L'E'), L"E:/Sound/????????.*");
  EXPECT_EQ(spec.fullName(L'Q'), L"E:/Sound/????????.*");
  EXPECT_EQ(directory_spec(spec).path, L"E:/Sound/");
}

TEST(DirectoryCriteria, KeepsWhatItWasGiven) {
  const directory_criteria criteria(L"*.mxf", 18, true);
  const directory_criteria copy(criteria);
  EXPECT_EQ(copy.pattern, L"*.mxf");
  EXPECT_EQ(copy.flags, 18u);
  EXPECT_TRUE(copy.option);
}

TEST_F(DirectoryCacheCalls, ConstructionReadsNothing) { EXPECT_TRUE(platform.listed.empty()); }

TEST_F(DirectoryCacheCalls, TheSecondFindReadsNothing) {
  cache.find(L"a.mxf");
  cache.find(L"a.mxf");
  cache.validate();
  EXPECT_EQ(platform.listed, (std::vector<WString>{L"/media/e/Material/????????.*"}));
}

TEST_F(DirectoryCacheCalls, APatchReadsTheOneFile) {
  cache.validate();
  cache.addFile(L"E:/Material/a.mxf");
  cache.removeFile(L"E:/Material/a.mxf");
  EXPECT_EQ(platform.listed,
            (std::vector<WString>{L"/media/e/Material/????????.*", L"/media/e/Material/a.mxf",
                                  L"/media/e/Material/a.mxf"}));
}

// Adding asks for more than removing: what each of them lists the one file with is its own.
TEST_F(DirectoryCacheCalls, ListsWithTheArgumentsOfEachUse) {
  cache.validate();
  cache.addFile(L"E:/Material/a.mxf");
  cache.removeFile(L"E:/Material/a.mxf");
  EXPECT_EQ(platform.listingArguments,
            (std::vector<std::vector<unsigned>>{{0, 0, 1}, {1, 0, 1}, {1}}));

  directory_cache other(directory_spec(L"E:/Material/"), directory_criteria(L"*.*", 0x12, true),
                        nullptr);
  other.validate();
  EXPECT_EQ(platform.listingArguments.back(), (std::vector<unsigned>{0x12, 1, 1}));
  other.invalidate();
}

TEST_F(DirectoryCacheCalls, APatchOfADirectoryThatIsNotValidReadsNothing) {
  cache.addFile(L"E:/Material/a.mxf");
  cache.removeFile(L"E:/Material/a.mxf");
  EXPECT_TRUE(platform.listed.empty());
}

TEST_F(DirectoryCacheCalls, TheFlagsChooseWhatIsListed) {
  platform.addFolder(L"/media/e/Material/Proxies");
  directory_cache withFolders(directory_spec(L"E:/Material/"),
                              directory_criteria(L"*.*", 0x10, true), nullptr);
  withFolders.validate();
  EXPECT_EQ(withFolders.count(), 2u);
  withFolders.invalidate();
}

TEST_F(DirectoryCacheCalls, AnExceptionWhileReadingPassesWithTheLockReleased) {
  platform.listingsThrow = true;
  EXPECT_THROW(cache.validate(), std::runtime_error);
  EXPECT_THROW(cache.find(L"a.mxf"), std::runtime_error);
  EXPECT_EQ(cache.currentListing(), nullptr);

  platform.listingsThrow = false;
  std::thread([&] { cache.validate(); }).join();  // would hang on a lock that was kept
  EXPECT_EQ(cache.count(), 1u);
}

TEST_F(DirectoryCacheCalls, AnExceptionWhilePatchingLeavesTheListing) {
  cache.validate();
  platform.listingsThrow = true;
  EXPECT_THROW(cache.addFile(L"E:/Material/a.mxf"), std::runtime_error);
  platform.listingsThrow = false;
  std::thread([&] { EXPECT_EQ(cache.count(), 1u); }).join();
}

TEST_F(DirectoryCacheCalls, AFailedAllocationLeavesNoHalfListing) {
  for (int allowed = 0;; ++allowed) {
    fake_allocator::left = allowed;
    bool done = false;
    try {
      done = cache.find(L"a.mxf") != nullptr;
    } catch (const std::bad_alloc&) {
    }
    fake_allocator::left = -1;
    if (done) break;
    ASSERT_EQ(cache.count(), cache.currentListing() ? 1u : 0u) << allowed;  // whole or not at all
  }
  EXPECT_EQ(cache.count(), 1u);
}

TEST_F(DirectoryCacheCalls, DestructionLeavesALoadedListingAlive) {
  auto doomed =
      std::make_unique<directory_cache>(directory_spec(L"E:/Material/"), criteria, nullptr);
  const file_info* file = doomed->find(L"a.mxf");
  ASSERT_NE(file, nullptr);
  Directory* listing = doomed->currentListing();
  doomed.reset();
  EXPECT_EQ(file->nameView(), L"a.mxf");
  // Nobody else would do it: this test is the owner now.
  listing->~Directory();
  ::operator delete(listing);
}

TEST_F(DirectoryCacheCalls, IsARecordEqualOnlyToItself) {
  directory_cache twin(directory_spec(L"E:/Material/"), criteria, nullptr);
  EXPECT_TRUE(static_cast<DLListRec&>(cache) == cache);
  EXPECT_FALSE(static_cast<DLListRec&>(cache) == twin);
}

TEST_F(DirectoryCacheCalls, ThreadsMayFindCountAndPatchAtOnce) {
  cache.validate();
  std::latch start(2);
  std::thread finder([&] {
    start.arrive_and_wait();
    for (int i = 0; i < 500; ++i) {
      cache.find(L"a.mxf");
      cache.count();
    }
  });
  start.arrive_and_wait();
  for (int i = 0; i < 500; ++i) cache.addFile(L"E:/Material/a.mxf");
  finder.join();
  EXPECT_EQ(cache.count(), 1u);
  cache.invalidate();
}
