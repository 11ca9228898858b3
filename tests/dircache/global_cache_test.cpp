#include "miscdisc/dircache/global_cache.h"

#include <gtest/gtest.h>

#include "miscdisc/dircache/system_cache_iterator.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct GlobalCacheTest : testing::Test {
  GlobalCacheTest() {
    platform.addVolume(L'E', L"/media/e");
    platform.addVolume(L'F', L"/media/f");
    platform.addFile(L"/media/e/Material/a.mxf");
    platform.addFile(L"/media/f/Sound/b.wav");
  }

  std::vector<WString> paths() {
    std::vector<WString> result;
    for (DLListIterator v(*getSystemCache()); *v; ++v) {
      for (DLListIterator d(static_cast<volume_cache*>(*v)->directories); *d; ++d) {
        result.push_back(static_cast<directory_cache*>(*d)->path);
      }
    }
    return result;
  }

  static std::vector<WString> walk() {
    std::vector<WString> names;
    SystemCacheIterator walk(getSystemCache());
    for (; walk.file; walk.next()) names.emplace_back(walk.file->nameView());
    return names;
  }

  FakePlatform& platform = fakePlatform();
};

}  // namespace

TEST_F(GlobalCacheTest, HoldsMaterialThenSoundOfEveryVolumeInOrder) {
  initialise_directory_caches(false);
  EXPECT_EQ(paths(),
            (std::vector<WString>{L"E:/Material/", L"E:/Sound/", L"F:/Material/", L"F:/Sound/"}));
  EXPECT_EQ(platform.log, (std::vector<String>{"Added media location : /media/e/\n",
                                               "Added media location : /media/f/\n"}));
  EXPECT_EQ(getSystemCache()->count(), 2u);
}

TEST_F(GlobalCacheTest, TheSecondTimeDoesNothingUnlessForced) {
  initialise_directory_caches(false);
  const auto log = platform.log;
  const auto listed = platform.listed;

  initialise_directory_caches(false);
  EXPECT_EQ(platform.log, log);

  initialise_directory_caches(true);
  EXPECT_EQ(platform.log.size(), 4u);  // logged again
  EXPECT_EQ(paths().size(), 4u);       // nothing added
  EXPECT_EQ(platform.listed, listed);  // nothing read
}

TEST_F(GlobalCacheTest, ForcingAddsNewVolumesAndKeepsThoseThatAreGone) {
  initialise_directory_caches(false);
  platform.volumes.erase(platform.volumes.begin());
  platform.addVolume(L'G', L"/media/g");
  platform.addFile(L"/media/g/Material/c.mxf");
  initialise_directory_caches(true);
  EXPECT_EQ(paths(), (std::vector<WString>{L"E:/Material/", L"E:/Sound/", L"F:/Material/",
                                           L"F:/Sound/", L"G:/Material/", L"G:/Sound/"}));
  EXPECT_EQ(getSystemCache()->count(), 3u);
}

TEST_F(GlobalCacheTest, AnAbsentVolumeIsReadOnceItIsPresent) {
  platform.volume(L'E')->present = false;
  initialise_directory_caches(false);
  EXPECT_EQ(paths().size(), 4u);
  EXPECT_EQ(getSystemCache()->count(), 1u);
  platform.volume(L'E')->present = true;
  validate_directory_cache();
  EXPECT_EQ(getSystemCache()->count(), 2u);
}

TEST_F(GlobalCacheTest, ValidateFillsTheCache) {
  validate_directory_cache();
  EXPECT_EQ(getSystemCache()->count(), 2u);
}

TEST_F(GlobalCacheTest, InvalidateForgetsButFillsNothing) {
  invalidate_directory_cache();
  invalidate_directory_cache(L'E');
  EXPECT_TRUE(paths().empty());
  EXPECT_TRUE(platform.listed.empty());
  EXPECT_TRUE(platform.log.empty());

  validate_directory_cache();
  invalidate_directory_cache(L'E');
  EXPECT_EQ(getSystemCache()->count(), 1u);
  invalidate_directory_cache();
  EXPECT_EQ(getSystemCache()->count(), 0u);
}

TEST_F(GlobalCacheTest, PatchingFillsTheCacheFirst) {
  EXPECT_TRUE(add_file_to_directory_cache(L"E:/Material/a.mxf", false));
  EXPECT_EQ(getSystemCache()->count(), 2u);
  EXPECT_TRUE(remove_file_from_directory_cache(L"E:/Material/a.mxf", false));
  EXPECT_EQ(getSystemCache()->count(), 1u);
}

TEST_F(GlobalCacheTest, OutsideNetworkModeNobodyIsTold) {
  add_file_to_directory_cache(L"E:/Material/a.mxf", true);
  remove_file_from_directory_cache(L"E:/Material/a.mxf", true);
  EXPECT_TRUE(platform.sent.empty());
}

TEST_F(GlobalCacheTest, InNetworkModeTheOthersHearOfTheFile) {
  LobbyUtils::networkMode_ = true;
  add_file_to_directory_cache(L"E:/Material/a.mxf", true);
  remove_file_from_directory_cache(L"E:/Material/a.mxf", true);
  EXPECT_EQ(platform.sent, (std::vector<String>{R"(8 \\fake\media\e\Material\a.mxf)",
                                                R"(9 \\fake\media\e\Material\a.mxf)"}));
}

TEST_F(GlobalCacheTest, TheyHearOfItAlsoWhenNothingCouldBePatchedHere) {
  LobbyUtils::networkMode_ = true;
  EXPECT_FALSE(add_file_to_directory_cache(L"E:/Elsewhere/x.mxf", true));
  EXPECT_FALSE(remove_file_from_directory_cache(L"E:/Material/missing.mxf", true));
  EXPECT_EQ(platform.sent, (std::vector<String>{R"(8 \\fake\media\e\Elsewhere\x.mxf)",
                                                R"(9 \\fake\media\e\Material\missing.mxf)"}));
}

TEST_F(GlobalCacheTest, WithoutNotifyNobodyHears) {
  LobbyUtils::networkMode_ = true;
  add_file_to_directory_cache(L"E:/Material/a.mxf", false);
  remove_file_from_directory_cache(L"E:/Material/a.mxf", false);
  EXPECT_TRUE(platform.sent.empty());
}

TEST_F(GlobalCacheTest, WalksEveryFileInOrder) {
  platform.addFile(L"/media/e/Sound/s.wav");
  platform.addFile(L"/media/f/Material/m.mxf");
  validate_directory_cache();
  EXPECT_EQ(walk(), (std::vector<WString>{L"a.mxf", L"s.wav", L"m.mxf", L"b.wav"}));
}

TEST_F(GlobalCacheTest, AWalkOverAnEmptyCacheIsOverAtOnce) {
  SystemCacheIterator over(getSystemCache());
  EXPECT_EQ(over.file, nullptr);
  EXPECT_EQ(over.volume, nullptr);
  EXPECT_EQ(over.next(), nullptr);
  SystemCacheIterator nothing(nullptr);
  EXPECT_EQ(nothing.file, nullptr);
}

TEST_F(GlobalCacheTest, AWalkOverListingsThatNobodyReadIsOverAtOnceThoughItReadsThem) {
  validate_directory_cache();
  invalidate_directory_cache();
  EXPECT_EQ(SystemCacheIterator(getSystemCache()).file, nullptr);
  EXPECT_EQ(getSystemCache()->count(), 2u);
}

TEST_F(GlobalCacheTest, AWalkStartsAmongWhatIsValidAndReadsTheRest) {
  validate_directory_cache();
  getSystemCache()->invalidate(L'E', L"");
  getSystemCache()->invalidate(L'F', L"F:/Material/");
  platform.addFile(L"/media/f/Material/m.mxf");
  // Stands on F's sound by then: E and F's material are read too late for this walk.
  EXPECT_EQ(walk(), (std::vector<WString>{L"b.wav"}));
  EXPECT_EQ(getSystemCache()->count(), 3u);
}
