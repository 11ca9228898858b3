#include <gtest/gtest.h>

#include "miscdisc/lobby/lobby_utils.h"
#include "tests/fakes/fake_platform.h"
#include "tests/media/drive_names.h"
#include "tests/media/listener.h"

namespace {

constexpr uint64_t kMebibyte = 1024 * 1024;

struct MediaLocationsTest : testing::Test {
  MediaLocationsTest() {
    platform.clockStep = 1;
    platform.addFolder(L"/home/ann/projects");
    platform.addVolume(L'E', L"/media/e", 3 * kMebibyte);
    platform.addFolder(L"/loc/Rushes/Material");
    platform.addFolder(L"/loc/Sounds");
    DiskManager::init();
  }

  String listed() const { return bytesOf(kListed); }
  String hidden() const { return bytesOf(kHidden); }
  String bytesOf(const WString& path) const {
    const FakePlatform::Node* file = platform.file(path);
    return file ? file->bytes : "no file";
  }

  const WString kListed = L"/home/ann/projects/DefNetDrive.txt";
  const WString kHidden = L"/home/ann/projects/UnmountedDrives.txt";
  FakePlatform& platform = fakePlatform();
  DriveListener listener;
};

const String kChange = "disk manager structure change";

}  // namespace

TEST_F(MediaLocationsTest, AddingListsTheFolderMountsItAndTellsOnce) {
  platform.log.clear();
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/loc/Rushes/"));
  EXPECT_EQ(listed(), "/loc/Rushes/\n");
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e", L"Rushes"}));
  EXPECT_EQ(DiskManager::get_drive(1)->driveId, 0xE031);
  EXPECT_EQ(listener.heard, (std::vector<String>{kChange}));
  EXPECT_EQ(platform.log, (std::vector<String>{"Added media location : /media/e/\n",
                                               "Added media location : /loc/Rushes/\n"}));
}

TEST_F(MediaLocationsTest, TheListKeepsWhatWasThere) {
  platform.addFile(kListed, "/loc/Sounds\r\n\n/mnt/\xFF");
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  EXPECT_EQ(listed(), "/loc/Sounds\n\n/mnt/\xFF\n/loc/Rushes/\n");
}

TEST_F(MediaLocationsTest, ALobbysListIsUsedInNetworkMode) {
  platform.settings[{"Configuration", "network project root"}] = "/mnt/nas";
  platform.settings[{"Configuration", "network lobby name"}] = "Alpha";
  platform.addFolder(L"/mnt/nas/Alpha");
  LobbyUtils::networkMode_ = true;
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  EXPECT_EQ(bytesOf(L"/mnt/nas/Alpha/DefNetDrive.txt"), "/loc/Rushes/\n");
  EXPECT_EQ(listed(), "no file");
}

TEST_F(MediaLocationsTest, TheSameFolderIsRefusedInAnyLetterCaseWithItsSeparator) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  EXPECT_FALSE(DiskManager::addMediaLocation(L"/LOC/rushes/"));
  EXPECT_EQ(listed(), "/loc/Rushes/\n");
  EXPECT_EQ(driveNames().size(), 2u);
  EXPECT_EQ(listener.heard, (std::vector<String>{kChange}));
}

// Locations are compared with the separator at their end, so this is another one; the layer knows
// better and does not mount it, but the line stays.
TEST_F(MediaLocationsTest, WithoutItsSeparatorTheSameFolderIsListedAgain) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/loc/Rushes"));
  EXPECT_EQ(listed(), "/loc/Rushes/\n/loc/Rushes\n");
  EXPECT_EQ(driveNames().size(), 2u);
}

TEST_F(MediaLocationsTest, AVolumeIsRefusedAsALocation) {
  EXPECT_FALSE(DiskManager::addMediaLocation(L"/media/e/"));
  EXPECT_EQ(listed(), "no file");
}

TEST_F(MediaLocationsTest, AFolderThatCannotBeMountedStaysListed) {
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/loc/gone/"));
  EXPECT_EQ(listed(), "/loc/gone/\n");
  EXPECT_EQ(driveNames().size(), 1u);
  EXPECT_EQ(listener.heard, (std::vector<String>{kChange}));
}

TEST_F(MediaLocationsTest, AnEmptyFolderIsListedAndMountedNowhere) {
  EXPECT_FALSE(DiskManager::addDriveForMediaLocation(L""));
  EXPECT_TRUE(DiskManager::addMediaLocation(L""));
  EXPECT_EQ(listed(), "\n");
}

TEST_F(MediaLocationsTest, MountingAloneListsNothingAndTellsNobody) {
  EXPECT_TRUE(DiskManager::addDriveForMediaLocation(L"/loc/Rushes"));
  EXPECT_FALSE(DiskManager::addDriveForMediaLocation(L"/loc/gone"));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e", L"Rushes"}));
  EXPECT_EQ(listed(), "no file");
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(MediaLocationsTest, ALocationIsCalledByItsStoredNameElseByItsFolder) {
  struct {
    const char* stored;
    const wchar_t *folder, *name;
  } const cases[] = {
      {"name=Studio A\n", L"/loc/Rushes", L"Studio A"},
      {"name=Unnamed\n", L"/loc/Rushes", L"Rushes"},
      {"name=\n", L"/loc/Rushes/", L"Rushes"},
      {"name=unnamed\n", L"/loc/Rushes/", L"unnamed"},
  };
  for (const auto& c : cases) {
    platform.addFile(L"/loc/Rushes/Material/MediaSpaceInfo.txt", c.stored);
    ASSERT_TRUE(DiskManager::addDriveForMediaLocation(c.folder));
    EXPECT_EQ(driveNames().back(), c.name);
    DiskManager::UnmountDrives(nullptr);
  }
}

// Only one separator is taken off.
TEST_F(MediaLocationsTest, TwoSeparatorsAtTheEndLeaveNoName) {
  ASSERT_TRUE(DiskManager::addDriveForMediaLocation(L"/loc/Rushes//"));
  EXPECT_EQ(DiskManager::get_drive(1)->name, L"");
}

TEST_F(MediaLocationsTest, ListedLocationsAreThereAgainAfterARestart) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  DiskManager::addMediaLocation(L"/loc/Sounds/");
  DiskManager::deInit();
  FsysReInitialize(false);
  DiskManager::init();
  DiskManager::AddDrivesFromFile(kListed);
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e", L"Rushes", L"Sounds"}));
}

TEST_F(MediaLocationsTest, RemovingDropsTheLineForgetsTheVolumeAndTellsTwice) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  DiskManager::addMediaLocation(L"/loc/Sounds/");
  listener.heard.clear();
  platform.log.clear();
  platform.listed.clear();
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/LOC/Rushes/"));
  EXPECT_EQ(platform.log, (std::vector<String>{"Added media location : /media/e/\n",
                                               "Added media location : /loc/Sounds/\n"}));
  EXPECT_EQ(platform.listed.size(), 4u);  // the folders of both are read again
  EXPECT_EQ(listed(), "/loc/Sounds/\n");
  EXPECT_EQ(hidden(), "no file");
  EXPECT_EQ(platform.volume(0xE031), nullptr);
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e", L"Sounds"}));
  EXPECT_EQ(listener.heard, (std::vector<String>{kChange, kChange}));
}

// The second telling comes when the cache has been renewed, which walks the volumes.
TEST_F(MediaLocationsTest, RemovingForgetsTellsRenewsAndTellsAgain) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  platform.calls.clear();
  DiskManager::removeMediaLocation(L"/loc/Rushes/");
  EXPECT_EQ(platform.calls,
            (std::vector<String>{
                "save /home/ann/projects/DefNetDrive.txt", "FsysDeleteMaterialVolume \uE031",
                "told " + kChange, "release /media/e/Material/????????.*",
                "release /media/e/Sound/????????.*", "release /loc/Rushes/Material/????????.*",
                "release /loc/Rushes/Sound/????????.*", "FsysGetFirstMaterialVolume ",
                "FsysGetNextMaterialVolume E", "told " + kChange}));
}

TEST_F(MediaLocationsTest, WhatIsNoLocationIsNotRemoved) {
  EXPECT_FALSE(DiskManager::removeMediaLocation(L"/media/e"));  // without its separator
  EXPECT_FALSE(DiskManager::removeMediaLocation(L"/loc/Rushes/"));
  EXPECT_FALSE(DiskManager::removeMediaLocation(L""));
  DiskManager::deInit();
  EXPECT_FALSE(DiskManager::removeMediaLocation(L"/media/e/"));
  EXPECT_EQ(hidden(), "no file");
  EXPECT_NE(platform.volume(L'E'), nullptr);
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(MediaLocationsTest, AListWithoutTheLocationIsLeftAsItIs) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  for (const char* bytes : {"", "/loc/Rushes\n", "/loc/Rushes/x\r\n"}) {
    platform.addFile(kListed, bytes);
    platform.calls.clear();
    DiskManager::addDriveForMediaLocation(L"/loc/Rushes");
    EXPECT_TRUE(DiskManager::removeMediaLocation(L"/loc/Rushes/"));
    EXPECT_EQ(listed(), bytes);
    platform.calls.resize(2);
    EXPECT_EQ(platform.calls,  // nothing was saved
              (std::vector<String>{"FsysAddMaterialVolume /loc/Rushes",
                                   "FsysDeleteMaterialVolume \uE031"}));
  }
}

// The line that moves up into the place of a dropped one is skipped.
TEST_F(MediaLocationsTest, OfALocationListedTwiceInARowTheSecondLineStays) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  platform.addFile(kListed, "/loc/Rushes/\n/LOC/RUSHES/\n/loc/Sounds/\n/loc/rushes/\n");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/loc/Rushes/"));
  EXPECT_EQ(listed(), "/LOC/RUSHES/\n/loc/Sounds/\n");
}

TEST_F(MediaLocationsTest, EachDroppedLineIsSavedAtOnce) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  platform.addFile(kListed, "/loc/Rushes/\n/loc/Sounds/\n/loc/Rushes/\n");
  platform.calls.clear();
  DiskManager::removeMediaLocation(L"/loc/Rushes/");
  platform.calls.resize(2);
  EXPECT_EQ(platform.calls, (std::vector<String>{"save /home/ann/projects/DefNetDrive.txt",
                                                 "save /home/ann/projects/DefNetDrive.txt"}));
}

// The walk counts with 16 bits.
TEST_F(MediaLocationsTest, ALineBehindTheFirst65535IsNotDropped) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  String lines;
  for (int i = 0; i < 65'534; ++i) lines += "x\n";
  platform.addFile(kListed, lines + "/loc/Sounds/\n/loc/Rushes/\n" + lines);
  DiskManager::removeMediaLocation(L"/loc/Rushes/");
  EXPECT_EQ(listed(), lines + "/loc/Sounds/\n/loc/Rushes/\n" + lines);

  DiskManager::addDriveForMediaLocation(L"/loc/Rushes");
  platform.addFile(kListed, lines + "/loc/Rushes/\n/loc/Sounds/\n" + lines);
  DiskManager::removeMediaLocation(L"/loc/Rushes/");
  EXPECT_EQ(listed(), lines + "/loc/Sounds/\n" + lines);
}

TEST_F(MediaLocationsTest, ADiscoveredVolumeIsHiddenInstead) {
  platform.addFile(kListed, "/media/e/\n");
  listener.heard.clear();
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/MEDIA/e/"));
  EXPECT_EQ(hidden(), "/MEDIA/e/\n");
  EXPECT_EQ(listed(), "/media/e/\n");
  EXPECT_EQ(platform.volume(L'E'), nullptr);
  EXPECT_EQ(driveNames(), std::vector<WString>());
  EXPECT_EQ(listener.heard, (std::vector<String>{kChange, kChange}));
}

TEST_F(MediaLocationsTest, EachRemovalOfADiscoveredVolumeAddsALine) {
  for (int i = 0; i < 2; ++i) {
    DiskManager::removeMediaLocation(L"/media/e/");
    platform.addVolume(L'E', L"/media/e");
    DiskManager::add_drive(L'E', L"");
  }
  EXPECT_EQ(hidden(), "/media/e/\n/media/e/\n");
}

TEST_F(MediaLocationsTest, OfTwoDrivesAtOneLocationTheFirstIsRemoved) {
  DiskManager::add_drive(L'E', L"again");
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/media/e/"));
  ASSERT_EQ(driveNames(), (std::vector<WString>{L"again"}));
}

TEST_F(MediaLocationsTest, RenamingStoresTheNameOnTheVolumeAndTellsNobody) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  listener.heard.clear();
  MediaDrive& drive = *DiskManager::get_drive(1);
  EXPECT_TRUE(DiskManager::renameMediaLocation(drive, L"Studio A"));
  EXPECT_EQ(drive.name, L"Studio A");
  EXPECT_EQ(bytesOf(L"/loc/Rushes/Material/MediaSpaceInfo.txt"), "name=Studio A\n");
  EXPECT_EQ(listener.heard, std::vector<String>());
}

// Unlike rename_drive(), which ignores an empty name.
TEST_F(MediaLocationsTest, AnEmptyNameTakesTheNameAway) {
  DiskManager::addMediaLocation(L"/loc/Rushes/");
  MediaDrive& drive = *DiskManager::get_drive(1);
  EXPECT_TRUE(DiskManager::renameMediaLocation(drive, L""));
  EXPECT_EQ(drive.name, L"");
  EXPECT_EQ(bytesOf(L"/loc/Rushes/Material/MediaSpaceInfo.txt"), "name=\n");
}

TEST_F(MediaLocationsTest, OnAFullVolumeTheNewNameIsKnownInMemoryOnly) {
  MediaDrive& drive = *DiskManager::get_drive(0);
  platform.volume(L'E')->space = {};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(DiskManager::renameMediaLocation(drive, L"Studio A"));
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(drive.name, L"Studio A");
  EXPECT_EQ(bytesOf(L"/media/e/Material/MediaSpaceInfo.txt"), "no file");
}

TEST_F(MediaLocationsTest, AListThatCannotBeSavedKeepsItsLines) {
  platform.addFile(kListed, "/loc/Sounds/\n/mnt/other/\n");
  platform.failingCall = 1;
  EXPECT_TRUE(DiskManager::addMediaLocation(L"/loc/Rushes/"));
  EXPECT_EQ(listed(), "/loc/Sounds/\n/mnt/other/\n");
  EXPECT_EQ(driveNames().back(), L"Rushes");  // mounted for this time

  platform.addFile(kListed, "/loc/Rushes/\n/mnt/other/\n");
  platform.failNextCall();
  EXPECT_TRUE(DiskManager::removeMediaLocation(L"/loc/Rushes/"));
  EXPECT_EQ(listed(), "/loc/Rushes/\n/mnt/other/\n");
}
