#include "miscdisc/dircache/system_cache.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_platform.h"

namespace {

const directory_criteria kCriteria(L"*.*", 0, false);

struct SystemCacheTest : testing::Test {
  SystemCacheTest() {
    platform.addVolume(L'E', L"/media/e");
    platform.addVolume(L'F', L"/media/f");
    platform.addFile(L"/media/e/Material/a.mxf");
    platform.addFile(L"/media/e/Sound/a.wav");
    platform.addFile(L"/media/f/Material/b.mxf");
    platform.addFolder(L"/media/f/Sound");
  }
  ~SystemCacheTest() override { cache.invalidate(0, L""); }

  void fill() {
    for (const wchar_t* path : {L"E:/Material/", L"E:/Sound/", L"F:/Material/", L"F:/Sound/"}) {
      cache.add(directory_spec(path));
    }
  }

  // Letters and paths in the order of the lists.
  std::vector<WString> contents() {
    std::vector<WString> result;
    for (DLListIterator v(cache); *v; ++v) {
      auto* volume = static_cast<volume_cache*>(*v);
      result.push_back(WString(1, volume->letter));
      for (DLListIterator d(volume->directories); *d; ++d) {
        result.push_back(static_cast<directory_cache*>(*d)->path);
      }
    }
    return result;
  }

  FakePlatform& platform = fakePlatform();
  system_cache cache{kCriteria};
};

}  // namespace

TEST_F(SystemCacheTest, AddMakesAVolumeAtFirstSightAndNothingTwice) {
  cache.add(directory_spec(L"F:/Material/"));
  cache.add(directory_spec(L"E:/Material/"));
  cache.add(directory_spec(L"F:/Sound/"));
  cache.add(directory_spec(L"F:/Material/"));
  EXPECT_EQ(contents(),
            (std::vector<WString>{L"F", L"F:/Material/", L"F:/Sound/", L"E", L"E:/Material/"}));
  EXPECT_TRUE(platform.listed.empty());
}

TEST_F(SystemCacheTest, PathsAndLettersAreComparedWithTheirCase) {
  cache.add(directory_spec(L"E:/Material/"));
  cache.add(directory_spec(L"E:/MATERIAL/"));
  cache.add(directory_spec(L"e:/Material/"));
  EXPECT_EQ(contents(),
            (std::vector<WString>{L"E", L"E:/Material/", L"E:/MATERIAL/", L"e", L"e:/Material/"}));
}

TEST_F(SystemCacheTest, ValidateOfAnEmptyCacheIsTrue) {
  EXPECT_TRUE(cache.validate(0, L""));
  EXPECT_TRUE(cache.valid());
  EXPECT_FALSE(cache.invalidate(0, L""));
}

TEST_F(SystemCacheTest, ValidateReadsEverythingThatIsNotValid) {
  fill();
  EXPECT_FALSE(cache.valid());
  EXPECT_EQ(cache.count(), 0u);
  EXPECT_TRUE(cache.validate(0, L""));
  EXPECT_TRUE(cache.valid());
  EXPECT_EQ(cache.count(), 3u);
  EXPECT_EQ(platform.listed.size(), 4u);
  EXPECT_TRUE(cache.validate(0, L""));
  EXPECT_EQ(platform.listed.size(), 4u);
}

TEST_F(SystemCacheTest, AnAbsentVolumeMakesItFalseAndTheOthersAreReadAllTheSame) {
  fill();
  platform.volume(L'E')->present = false;
  EXPECT_FALSE(cache.validate(0, L""));
  EXPECT_EQ(platform.listed,
            (std::vector<WString>{L"/media/f/Material/????????.*", L"/media/f/Sound/????????.*"}));
}

TEST_F(SystemCacheTest, WhatIsValidStaysSoWhenItsVolumeGoes) {
  fill();
  cache.validate(0, L"");
  platform.volume(L'E')->present = false;
  EXPECT_FALSE(cache.validate(L'E', L""));
  EXPECT_NE(cache.find(L"a.mxf", L'E'), nullptr);
}

TEST_F(SystemCacheTest, ValidateOfALetterThatIsNotCachedIsTrueAndReadsNothing) {
  fill();
  EXPECT_TRUE(cache.validate(L'Q', L""));
  EXPECT_TRUE(platform.listed.empty());
}

TEST_F(SystemCacheTest, ValidateOfOneDirectoryReadsIt) {
  fill();
  EXPECT_TRUE(cache.validate(L'E', L"E:/Sound/"));
  EXPECT_EQ(platform.listed, (std::vector<WString>{L"/media/e/Sound/????????.*"}));
  // Every selected volume must have the directory, and F has none of that path.
  EXPECT_FALSE(cache.validate(0, L"E:/Sound/"));
  EXPECT_FALSE(cache.validate(L'E', L"E:/Elsewhere/"));
  EXPECT_FALSE(cache.validate(L'E', L"E:/sound/"));
}

TEST_F(SystemCacheTest, InvalidateForgetsWhatItSelectsPresentOrNot) {
  fill();
  cache.validate(0, L"");
  platform.volume(L'E')->present = false;
  EXPECT_TRUE(cache.invalidate(L'E', L"E:/Sound/"));
  EXPECT_EQ(cache.count(), 2u);
  EXPECT_FALSE(cache.invalidate(L'E', L"F:/Sound/"));
  EXPECT_FALSE(cache.invalidate(L'Q', L""));
  EXPECT_TRUE(cache.invalidate(0, L"F:/Material/"));  // one of the volumes has it
  EXPECT_TRUE(cache.invalidate(0, L""));
  EXPECT_EQ(cache.count(), 0u);
}

TEST_F(SystemCacheTest, FindAsksVolumesInOrderAndReadsOnTheWay) {
  fill();
  platform.addFile(L"/media/f/Material/a.mxf", "longer");
  const file_info* file = cache.find(L"a.mxf", 0);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->size, 0u);  // E's
  EXPECT_EQ(platform.listed.size(), 1u);
  EXPECT_NE(cache.find(L"a.wav", 0), nullptr);
  EXPECT_EQ(platform.listed.size(), 2u);
  EXPECT_EQ(cache.find(L"missing", 0), nullptr);
  EXPECT_EQ(platform.listed.size(), 4u);
}

TEST_F(SystemCacheTest, FindWithALetterAsksThatVolumeAlone) {
  fill();
  EXPECT_EQ(cache.find(L"b.mxf", L'E'), nullptr);
  EXPECT_NE(cache.find(L"b.mxf", L'F'), nullptr);
  EXPECT_EQ(cache.find(L"b.mxf", L'Q'), nullptr);
}

TEST_F(SystemCacheTest, PatchesTheDirectoryThatThePathNames) {
  fill();
  cache.validate(0, L"");
  platform.addFile(L"/media/f/Sound/new.wav");
  EXPECT_TRUE(cache.addFile(L"F:/Sound/new.wav"));
  EXPECT_NE(cache.find(L"new.wav", L'F'), nullptr);
  EXPECT_TRUE(cache.removeFile(L"F:/Sound/new.wav"));
  EXPECT_EQ(cache.find(L"new.wav", L'F'), nullptr);
}

TEST_F(SystemCacheTest, PatchesByNetworkPath) {
  fill();
  cache.validate(0, L"");
  platform.addFile(L"/media/f/Sound/new.wav");
  EXPECT_TRUE(cache.addFile(L"\\\\fake\\media\\f\\Sound\\new.wav"));
  EXPECT_TRUE(cache.removeFile(L"\\\\fake\\media\\f\\Sound\\new.wav"));
}

// The asymmetry is meant: see volume_cache.
TEST_F(SystemCacheTest, AddingIgnoresTheFoldersLetterCaseAndRemovingDoesNot) {
  fill();
  cache.validate(0, L"");
  platform.addFile(L"/media/e/MATERIAL/new.mxf");  // what the disk makes of that spelling
  EXPECT_TRUE(cache.addFile(L"E:/MATERIAL/new.mxf"));
  EXPECT_NE(cache.find(L"new.mxf", L'E'), nullptr);
  EXPECT_FALSE(cache.removeFile(L"E:/MATERIAL/new.mxf"));
  EXPECT_NE(cache.find(L"new.mxf", L'E'), nullptr);
}

TEST_F(SystemCacheTest, PathsThatLeadNowherePatchNothing) {
  fill();
  cache.validate(0, L"");
  for (const wchar_t* path : {L"e:/Material/a.mxf", L"Q:/Material/a.mxf", L"E:/Elsewhere/a.mxf",
                              L"E:/Material/missing", L"", L"a.mxf", L"\\\\other\\share\\a.mxf"}) {
    EXPECT_FALSE(cache.addFile(path)) << Qx::UTF8FromWString(path);
    EXPECT_FALSE(cache.removeFile(path)) << Qx::UTF8FromWString(path);
  }
  EXPECT_EQ(cache.count(), 3u);
}

TEST_F(SystemCacheTest, TheFirstCacheOfTheProcessRegistersTheDumpOnce) {
  const system_cache second(kCriteria);
  EXPECT_TRUE(platform.commands.contains("debugFileSystemCache"));
  EXPECT_EQ(platform.commandNumbers, (std::vector<std::vector<unsigned>>{{1, 999999, 999999}}));
}

TEST(VolumeCache, IsValidWithoutDirectories) {
  const volume_cache volume(L'E', kCriteria);
  EXPECT_EQ(volume.letter, L'E');
  EXPECT_TRUE(volume.valid());
}

TEST(VolumeCache, ValidateOfAPathItDoesNotHaveIsFalse) {
  fakePlatform().addVolume(L'E', L"/media/e");
  volume_cache volume(L'E', kCriteria);
  EXPECT_FALSE(volume.validate(L""));
  volume.add(directory_spec(L"E:/Material/"));
  EXPECT_FALSE(volume.validate(L"E:/Sound/"));
  EXPECT_FALSE(volume.invalidate(L"E:/Sound/"));
  EXPECT_TRUE(fakePlatform().listed.empty());
}

TEST(VolumeCache, FindStopsAtTheFirstDirectoryThatHasTheFile) {
  FakePlatform& platform = fakePlatform();
  platform.addVolume(L'E', L"/media/e");
  platform.addFile(L"/media/e/Material/a.mxf");
  volume_cache volume(L'E', kCriteria);
  volume.add(directory_spec(L"E:/Material/"));
  volume.add(directory_spec(L"E:/Sound/"));
  EXPECT_NE(volume.find(L"a.mxf"), nullptr);
  EXPECT_EQ(platform.listed.size(), 1u);
  EXPECT_FALSE(volume.valid());
  volume.invalidate(L"");
}
