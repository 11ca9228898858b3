// What every platform's volumes and file names must do.
#include "miscdisc/platform/fsys.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/platform/ground.h"
#include "tests/platform/volumes.h"

namespace {

WString inGround(const WString& rest) { return ground::folder() + rest; }

void addVolume(wchar_t letter, const WString& folder) {
  ground::makeFolder(folder);
  ground::addVolume(letter, folder);
}

// The id that the folder is mounted under; 0 when that was refused.
wchar_t mounted(const WString& folder) {
  wchar_t id = 0;
  const bool done = FsysAddMaterialVolume(folder, &id) == 1;
  return done ? id : 0;
}

// S lies inside R; R comes later than S, and by letter it is the first.
class FsysTest : public testing::Test {
 protected:
  FsysTest() {
    [[maybe_unused]] static const bool added = [] {
      addVolume(L'S', inGround(L"r/fast"));
      addVolume(L'R', inGround(L"r"));
      return true;
    }();
  }
};

TEST_F(FsysTest, TheWalkGoesByLetterAndStoresNothingAtItsEnd) {
  WString ids;
  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    ids += id;
  }
  EXPECT_NE(ids.find(L"RS"), WString::npos);
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  EXPECT_EQ(id, ids.back());
}

TEST_F(FsysTest, AVolumeHasItsFolderAndItsSpace) {
  WString path = L"old";
  EXPECT_EQ(&FsysGetMaterialVolumeName(L'R', path, false), &path);
  EXPECT_EQ(path, inGround(L"r"));
  EXPECT_TRUE(FsysIsVolumePresent(L'R'));
  VOLUME_INFO info;
  EXPECT_TRUE(FsysGetVolInfo(L'R', &info));
  EXPECT_LE(info.freeBytes, info.totalBytes);
}

TEST_F(FsysTest, AnUnknownVolumeIsNothing) {
  EXPECT_FALSE(FsysIsVolumePresent(L'X'));
  VOLUME_INFO info{7, 9};
  EXPECT_FALSE(FsysGetVolInfo(L'X', &info));
  EXPECT_EQ(info.freeBytes, 7u);
  EXPECT_EQ(info.totalBytes, 9u);
  WString path = L"old";
  EXPECT_EQ(FsysGetMaterialVolumeName(L'X', path, false), L"");
  EXPECT_EQ(path, L"");
}

TEST_F(FsysTest, AVolumeWithoutItsFolderIsThereButAbsent) {
  addVolume(L'T', inGround(L"t"));
  EXPECT_TRUE(FsysIsVolumePresent(L'T'));
  ground::removeFile(inGround(L"t"));
  EXPECT_FALSE(FsysIsVolumePresent(L'T'));
  VOLUME_INFO info{7, 9};
  EXPECT_FALSE(FsysGetVolInfo(L'T', &info));
  EXPECT_EQ(info.freeBytes, 7u);
  WString path;
  EXPECT_EQ(FsysGetMaterialVolumeName(L'T', path, false), inGround(L"t"));
}

TEST_F(FsysTest, LayerFileNamesBecomeNative) {
  struct {
    WString layer, native;
  } const cases[] = {
      {L"R:/Material/a.mxf", inGround(L"r/Material/a.mxf")},
      {L"R:/", inGround(L"r/")},
      {L"S:/Sound/", inGround(L"r/fast/Sound/")},
      {WString(L"R:/\u20AC") + WString{0xDCFF}, inGround(L"r/\u20AC") + WString{0xDCFF}},
      {L"X:/Material/a", L"X:/Material/a"},
      {L"r:/Material/a", L"r:/Material/a"},
      {L"R:Material", L"R:Material"},
      {L"R:", L"R:"},
      {L"/mnt/R:/x", L"/mnt/R:/x"},
      {L"", L""},
  };
  for (const auto& c : cases) EXPECT_EQ(FsysFilenameToWin32Filename(c.layer), c.native);
}

TEST_F(FsysTest, TheNetworkFormHasBackslashesAndLeadsBack) {
  const WString network = FsysConvertLocalToUNC(L"R:/Material/a.mxf");
  EXPECT_TRUE(network.starts_with(L"\\\\"));
  EXPECT_TRUE(network.ends_with(L"\\r\\Material\\a.mxf"));
  EXPECT_EQ(network.find(L'/'), WString::npos);
  EXPECT_EQ(FsysConvertLocalToUNC(inGround(L"r/Material/a.mxf")), network);
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(network), L"R:/Material/a.mxf");
}

TEST_F(FsysTest, TheInnermostVolumeNamesAFile) {
  struct {
    const wchar_t *local, *back;
  } const cases[] = {
      {L"S:/x", L"S:/x"},   {L"R:/fast/x", L"S:/x"}, {L"R:/faster/x", L"R:/faster/x"},
      {L"R:/fast", L"S:/"}, {L"S:/", L"S:/"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FsysConvertUNCtoFsysFilename(FsysConvertLocalToUNC(c.local)), c.back);
  }
}

TEST_F(FsysTest, WhatIsNoPathStaysAsItIs) {
  for (const wchar_t* text :
       {L"", L"x", L"X:/Material/x", L"\\\\nas-of-nobody\\all\\x", L"\\\\", L"\\\\nas-of-nobody"}) {
    EXPECT_EQ(FsysConvertLocalToUNC(text), text);
    EXPECT_EQ(FsysConvertUNCtoFsysFilename(text), text);
  }
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"R:/Material/x"), L"R:/Material/x");
}

// Mounting, forgetting and preparing, after which the volumes are as they were.
class FsysMountTest : public FsysTest {
 protected:
  FsysMountTest() {
    for (const wchar_t* name : {L"m1", L"m2", L"m3"}) ground::makeFolder(inGround(name));
    FsysReInitialize(false);
  }
  ~FsysMountTest() override { FsysReInitialize(false); }
};

TEST_F(FsysMountTest, FoldersAreMountedUnderTheLowestFreeNumber) {
  EXPECT_EQ(mounted(inGround(L"m1")), 0xE031);
  EXPECT_EQ(mounted(inGround(L"m2/")), 0xE032);
  EXPECT_EQ(folderOf(0xE032), inGround(L"m2"));
  EXPECT_TRUE(allVolumes().ends_with(WString{0xE031, 0xE032}));
  EXPECT_TRUE(FsysIsVolumePresent(0xE031));
  EXPECT_EQ(FsysFilenameToWin32Filename(WString{0xE031} + L":/Material/a"),
            inGround(L"m1/Material/a"));

  FsysDeleteMaterialVolume(0xE031);
  EXPECT_FALSE(FsysIsVolumePresent(0xE031));
  EXPECT_EQ(mounted(inGround(L"m3")), 0xE031);
}

TEST_F(FsysMountTest, MountingIsRefusedAndStoresNothing) {
  ASSERT_EQ(mounted(inGround(L"m1")), 0xE031);
  ground::writeFile(inGround(L"file"), "");
  struct {
    const char* why;
    WString folder;
  } const cases[] = {
      {"missing", inGround(L"none")},        {"a file", inGround(L"file")},
      {"a lettered volume", inGround(L"r")}, {"the same with a separator", inGround(L"r/")},
      {"mounted already", inGround(L"m1")},  {"empty", L""},
  };
  for (const auto& c : cases) {
    wchar_t id = L'-';
    EXPECT_NE(FsysAddMaterialVolume(c.folder, &id), 1) << c.why;
    EXPECT_EQ(id, L'-') << c.why;
  }
}

TEST_F(FsysMountTest, OnlyWhatWasMountedIsNotDiscovered) {
  ASSERT_EQ(mounted(inGround(L"m1")), 0xE031);
  EXPECT_FALSE(FsysIsVolumeAutoDiscovered(0xE031));
  EXPECT_TRUE(FsysIsVolumeAutoDiscovered(L'R'));
  EXPECT_TRUE(FsysIsVolumeAutoDiscovered(L'X'));
}

TEST_F(FsysMountTest, ForgottenVolumesKeepTheirFolderAndComeBack) {
  ASSERT_EQ(mounted(inGround(L"m1")), 0xE031);
  FsysDeleteMaterialVolume(L'R');
  FsysDeleteMaterialVolume(L'X');
  EXPECT_EQ(allVolumes().find(L'R'), WString::npos);
  EXPECT_EQ(folderOf(L'R'), L"");

  FsysReInitialize(true);
  EXPECT_NE(allVolumes().find(L"RS"), WString::npos);
  EXPECT_EQ(folderOf(L'R'), inGround(L"r"));
  EXPECT_TRUE(FsysIsVolumePresent(L'R'));
  EXPECT_EQ(folderOf(0xE031), L"");
  EXPECT_EQ(mounted(inGround(L"m1")), 0xE031);
}

TEST_F(FsysMountTest, PreparingMakesTheMediaFolders) {
  ASSERT_EQ(mounted(inGround(L"m1")), 0xE031);
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(0xE031));
  EXPECT_TRUE(FsysPrepareVolumeForMedia(0xE031));
  EXPECT_TRUE(FsysIsVolumePreparedForMedia(0xE031));
  EXPECT_TRUE(FsysPrepareVolumeForMedia(0xE031));

  ground::removeFile(inGround(L"m1/Sound"));
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(0xE031));
  ground::writeFile(inGround(L"m1/Sound"), "a file");
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(0xE031));
  EXPECT_FALSE(FsysPrepareVolumeForMedia(0xE031));
}

TEST_F(FsysMountTest, AnAbsentOrUnknownVolumeIsNotPrepared) {
  ASSERT_EQ(mounted(inGround(L"m2")), 0xE031);
  ground::removeFile(inGround(L"m2"));
  for (const wchar_t id : {wchar_t{0xE031}, L'X'}) {
    EXPECT_FALSE(FsysIsVolumePreparedForMedia(id));
    EXPECT_FALSE(FsysPrepareVolumeForMedia(id));
  }
}

}  // namespace
