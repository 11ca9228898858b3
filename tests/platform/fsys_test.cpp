// What every platform's volumes and file names must do.
#include "miscdisc/platform/fsys.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/platform/ground.h"

namespace {

WString inGround(const WString& rest) { return ground::folder() + rest; }

void addVolume(wchar_t letter, const WString& folder) {
  ground::makeFolder(folder);
  ground::addVolume(letter, folder);
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

}  // namespace
