#include "miscdisc/media/disk_manager.h"

#include <gtest/gtest.h>

#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "tests/fakes/fake_platform.h"
#include "tests/media/listener.h"

namespace {

constexpr uint64_t kMebibyte = 1024 * 1024;

struct DiskManagerTest : testing::Test {
  DiskManagerTest() {
    platform.clockStep = 1;
    platform.addFolder(L"/home/ann/projects");
    platform.addVolume(L'E', L"/media/e", 3 * kMebibyte);
    platform.addVolume(L'F', L"/media/f", 5 * kMebibyte);
  }

  static WString ids() {
    WString result;
    for (unsigned short i = 0; const MediaDrive* drive = DiskManager::get_drive(i); ++i) {
      result += drive->driveId;
    }
    return result;
  }

  FakePlatform& platform = fakePlatform();
  DriveListener listener;
};

const WString kHidden = L"/home/ann/projects/UnmountedDrives.txt";

}  // namespace

TEST_F(DiskManagerTest, StartsEmptyAndFillsFromTheVolumesInTheirOrder) {
  EXPECT_EQ(ids(), L"");
  disk_manager_init();
  EXPECT_EQ(ids(), L"EF");
  EXPECT_EQ(listener.heard, std::vector<String>());  // the scan tells nobody
}

TEST_F(DiskManagerTest, StartingAgainBuildsTheListAnew) {
  DiskManager::init();
  platform.addVolume(L'D', L"/media/d");
  DiskManager::init();
  EXPECT_EQ(ids(), L"DEF");
}

TEST_F(DiskManagerTest, StoppingEmptiesTheListAndKeepsTheVolumes) {
  disk_manager_init();
  disk_manager_exit();
  EXPECT_EQ(ids(), L"");
  EXPECT_EQ(platform.volumes.size(), 2u);
  DiskManager::init();
  DiskManager::deInit();
  EXPECT_EQ(ids(), L"");
  EXPECT_EQ(platform.volumes.size(), 2u);
}

TEST_F(DiskManagerTest, DrivesHaveTheNamesThatAreOnTheirVolumes) {
  platform.addFile(L"/media/f/Material/MediaSpaceInfo.txt", "name=Studio A\n");
  DiskManager::init();
  EXPECT_EQ(DiskManager::get_drive(0)->name, L"");
  EXPECT_EQ(DiskManager::get_drive(1)->name, L"Studio A");
}

TEST_F(DiskManagerTest, MediaLocationsAreOfferedLikeLetteredVolumes) {
  platform.addVolume(0xE031, L"/media/rushes");
  DiskManager::init();
  EXPECT_EQ(ids(), L"EF\uE031");
}

TEST_F(DiskManagerTest, AHiddenVolumeIsForgottenByTheLayerAndMissingFromTheList) {
  platform.addFile(kHidden, "/media/e/\n");
  DiskManager::init();
  EXPECT_EQ(ids(), L"F");
  EXPECT_EQ(platform.volume(L'E'), nullptr);
}

TEST_F(DiskManagerTest, HiddenVolumesAreSpelledExactlyAndEndInTheSeparator) {
  platform.addFile(kHidden, "/media/E/\n/media/e\n\n/media/nobody/\n/media/f/\r\n");
  DiskManager::init();
  EXPECT_EQ(ids(), L"E");
}

TEST_F(DiskManagerTest, OneLineHidesOneVolume) {
  platform.addVolume(L'G', L"/media/e");
  platform.addFile(kHidden, "/media/e/\n");
  DiskManager::init();
  EXPECT_EQ(ids(), L"FG");
}

TEST_F(DiskManagerTest, AVolumeThatEndsInASeparatorIsHiddenByItsPath) {
  platform.volume(L'E')->folder = L"/media/e/";
  platform.addFile(kHidden, "/media/e/\n");
  DiskManager::init();
  EXPECT_EQ(platform.volume(L'E'), nullptr);
}

TEST_F(DiskManagerTest, TheLobbysListHidesInNetworkMode) {
  platform.settings[{"Configuration", "network project root"}] = "/mnt/nas";
  platform.settings[{"Configuration", "network lobby name"}] = "Alpha";
  platform.addFile(L"/mnt/nas/Alpha/UnmountedDrives.txt", "/media/f/\n");
  platform.addFile(kHidden, "/media/e/\n");
  LobbyUtils::networkMode_ = true;
  DiskManager::init();
  EXPECT_EQ(ids(), L"E");
}

// File names are appended to the folder as it is.
TEST_F(DiskManagerTest, AFolderWithoutASeparatorHasTheListBesideIt) {
  platform.localProjects = L"/home/ann/projects";
  platform.addFile(L"/home/ann/projectsUnmountedDrives.txt", "/media/e/\n");
  DiskManager::init();
  EXPECT_EQ(ids(), L"F");
}

// The walk counts with 16 bits.
TEST_F(DiskManagerTest, OnlyTheFirst65535LinesHide) {
  String lines;
  for (int i = 0; i < 65'534; ++i) lines += "x\n";
  platform.addFile(kHidden, lines + "/media/e/\n/media/f/\n" + lines);
  DiskManager::init();
  EXPECT_EQ(ids(), L"F");
}

TEST_F(DiskManagerTest, AnAbsentVolumeIsLeftOutAfterASecond) {
  platform.volume(L'E')->present = false;
  platform.clock = 5000;
  DiskManager::init();
  EXPECT_EQ(ids(), L"F");
  EXPECT_EQ(platform.presenceAsked[L'E'], 500u);  // each turn reads the clock once more to spin
  EXPECT_LT(platform.clock, 6100u);
}

TEST_F(DiskManagerTest, AVolumeThatBecomesPresentWithinTheSecondIsTaken) {
  platform.volume(L'F')->presentFrom = 5500;
  platform.clock = 5000;
  DiskManager::init();
  EXPECT_EQ(ids(), L"EF");
}

TEST_F(DiskManagerTest, PresenceIsAskedOnceForEachValueOfTheClock) {
  platform.volume(L'F')->present = false;
  platform.clockStep = 0;
  platform.clockRepeats = 7;  // a fast machine reads each millisecond several times
  DiskManager::addDriveForFsysVolume(L'F');
  EXPECT_EQ(platform.presenceAsked[L'F'], 1000u);
}

TEST_F(DiskManagerTest, TheWaitOutlivesTheClocksWrap) {
  platform.clock = 0xFFFFFFF0;
  platform.volume(L'F')->present = false;
  DiskManager::addDriveForFsysVolume(L'F');
  EXPECT_EQ(ids(), L"");
  EXPECT_EQ(platform.presenceAsked[L'F'], 500u);
}

TEST_F(DiskManagerTest, AddingADriveMeasuresItAndTellsNobody) {
  const MediaDrive* added = DiskManager::add_drive(L'F', L"Studio A");
  EXPECT_EQ(added, DiskManager::get_drive(0));
  EXPECT_EQ(added->space, 5.0);
  EXPECT_EQ(added->name, L"Studio A");
  DiskManager::add_drive(L'F', L"again");
  EXPECT_EQ(ids(), L"FF");
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(DiskManagerTest, RemovingTakesTheFirstOfTheIdentityAndTells) {
  DiskManager::add_drive(L'E', L"one");
  DiskManager::add_drive(L'E', L"two");
  DiskManager::removeDrive(MediaDrive(L'E', L"a copy"));
  ASSERT_EQ(ids(), L"E");
  EXPECT_EQ(DiskManager::get_drive(0)->name, L"two");
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager structure change"}));
}

TEST_F(DiskManagerTest, RemovingAnUnlistedDriveIsNothing) {
  DiskManager::init();
  DiskManager::removeDrive(MediaDrive(L'X', L""));
  EXPECT_EQ(ids(), L"EF");
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(DiskManagerTest, DrivesAddedFromOutsideAreMadeKnown) {
  initialise_directory_caches(false);
  const auto listed = platform.listed;
  platform.log.clear();
  DiskManager::handleDriveAddition();
  EXPECT_EQ(platform.log, (std::vector<String>{"Added media location : /media/e/\n",
                                               "Added media location : /media/f/\n"}));
  EXPECT_EQ(platform.listed.size(), 2 * listed.size());  // everything is read again
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager structure change"}));
  EXPECT_EQ(ids(), L"");  // the list is not built by this
}

TEST_F(DiskManagerTest, RenamingIsInMemoryOnly) {
  DiskManager::init();
  DiskManager::rename_drive(*DiskManager::get_drive(0), L"Studio A");
  EXPECT_EQ(DiskManager::get_drive(0)->name, L"Studio A");
  DiskManager::rename_drive(*DiskManager::get_drive(0), L"");
  EXPECT_EQ(DiskManager::get_drive(0)->name, L"Studio A");
  EXPECT_EQ(platform.file(L"/media/e/Material/MediaSpaceInfo.txt"), nullptr);
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(DiskManagerTest, OneDriveOrAllAreMeasuredAgain) {
  DiskManager::init();
  platform.volume(L'E')->space = platform.volume(L'F')->space = {9 * kMebibyte, 9 * kMebibyte};
  DiskManager::update_drive(*DiskManager::get_drive(1));
  EXPECT_EQ(DiskManager::get_drive(0)->space, 3.0);
  EXPECT_EQ(DiskManager::get_drive(1)->space, 9.0);
  platform.measured.clear();
  DiskManager::update_drives();
  EXPECT_EQ(DiskManager::get_drive(0)->space, 9.0);
  EXPECT_EQ(platform.measured, L"EF");
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(DiskManagerTest, AnUpdateIsToldAtMostEvery2001Milliseconds) {
  platform.clockStep = 0;
  DiskManager::init();
  struct {
    uint32_t clock;
    size_t told;
  } const cases[] = {{2000, 0}, {2001, 1}, {4001, 1}, {4002, 2}, {4002, 2}, {9000, 3}};
  for (const auto& c : cases) {
    platform.clock = c.clock;
    platform.measured.clear();
    DiskManager::update_drives_and_groups();
    EXPECT_EQ(listener.heard.size(), c.told) << c.clock;
    EXPECT_EQ(platform.measured, L"EF") << c.clock;  // told or not
  }
  EXPECT_EQ(listener.heard.back(), "disk manager update");
}

TEST_F(DiskManagerTest, StartingLetsTheNextUpdateBeTold) {
  platform.clockStep = 0;
  DiskManager::init();
  platform.clock = 5000;
  DiskManager::update_drives_and_groups();
  DiskManager::init();
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(listener.heard.size(), 2u);
}

TEST_F(DiskManagerTest, AnEmptyListIsNeitherMeasuredNorToldAndLeavesTheTimerAlone) {
  platform.clockStep = 0;
  platform.clock = 5000;
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(listener.heard, std::vector<String>());
  DiskManager::add_drive(L'E', L"");
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(listener.heard.size(), 1u);
}

TEST_F(DiskManagerTest, TheIntervalOutlivesTheClocksWrap) {
  platform.clockStep = 0;
  DiskManager::init();
  platform.clock = 0xFFFFFF00;
  DiskManager::update_drives_and_groups();
  platform.clock = 0x600;  // 1792 ms later
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(listener.heard.size(), 1u);
  platform.clock = 0x6D1;  // 2001 ms later
  DiskManager::update_drives_and_groups();
  EXPECT_EQ(listener.heard.size(), 2u);
}

TEST_F(DiskManagerTest, TheThreeMessagesHaveOneTypeAndNoPayload) {
  DiskManager::add_drive(L'E', L"");
  platform.clock = 5000;
  DiskManager::inform_interested_parties();
  DiskManager::update_drives_and_groups();
  DiskManager::issueMediaOnlineChangeNotification();
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager structure change",
                                                 "disk manager update", "MediaOnlineChangeMsg"}));
  EXPECT_EQ(listener.types, (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(listener.payloads, 0);
}

TEST_F(DiskManagerTest, TheManagerItselfMayListen) {
  Notifiable& listening = theDiskMgr;
  DiskManager::notifier_.add(listening);
  DiskManager::inform_interested_parties();  // heard, and ignored
  DiskManager::notifier_.remove(listening);
  EXPECT_EQ(listener.heard.size(), 1u);
}

TEST_F(DiskManagerTest, SayingThatADriveIsUsedDoesNothing) {
  DiskManager::init();
  platform.measured.clear();
  DiskManager::drive_used(L'E');
  EXPECT_EQ(platform.measured, L"");
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(DiskManagerTest, AnIndexBeyondTheListIsNoDrive) {
  EXPECT_EQ(DiskManager::get_drive(0), nullptr);
  DiskManager::init();
  EXPECT_NE(DiskManager::get_drive(1), nullptr);
  EXPECT_EQ(DiskManager::get_drive(2), nullptr);
  EXPECT_EQ(DiskManager::get_drive(65535), nullptr);
}

TEST_F(DiskManagerTest, DrivesAreFoundByIdAndIdentity) {
  DiskManager::init();
  MediaDrive* f = DiskManager::get_drive(1);
  EXPECT_EQ(DiskManager::get_drive_with_id(L'F'), f);
  EXPECT_EQ(DiskManager::get_drive_with_id(L'f'), nullptr);
  EXPECT_EQ(DiskManager::getDriveWithUniqueId(IdStamp('F', 'F', 'F')), f);
  EXPECT_EQ(DiskManager::getDriveWithUniqueId(IdStamp('F', 'F', 0)), nullptr);
  EXPECT_EQ(DiskManager::find_index_for_drive(MediaDrive(L'F', L"a copy")), 1u);
  EXPECT_EQ(DiskManager::find_index_for_drive(MediaDrive(L'X', L"")), 0xFFFFFFFFu);
}

TEST_F(DiskManagerTest, OfTwoDrivesOfOneNameTheEarlierIsFound) {
  DiskManager::add_drive(L'F', L"Studio");
  DiskManager::add_drive(L'E', L"Studio");
  EXPECT_EQ(DiskManager::getDriveWithName(L"Studio")->driveId, L'F');
  EXPECT_EQ(DiskManager::getDriveWithName(L"studio"), nullptr);
}

TEST_F(DiskManagerTest, AnUnnamedDriveIsFoundByItsPathAsAName) {
  DiskManager::add_drive(L'E', L"Unnamed");
  DiskManager::add_drive(L'F', L"Studio");
  EXPECT_EQ(DiskManager::getDriveWithName(L"/media/e")->driveId, L'E');
  EXPECT_EQ(DiskManager::getDriveWithName(L"/media/f"), nullptr);
}

TEST_F(DiskManagerTest, PathsAreFoundInAnyLetterCaseButWithoutASeparatorAtTheEnd) {
  DiskManager::init();
  EXPECT_EQ(DiskManager::getDriveWithPath(L"/MEDIA/F")->driveId, L'F');
  EXPECT_EQ(DiskManager::getDriveWithPath(L"/media/f/"), nullptr);
  EXPECT_EQ(DiskManager::getDriveWithPath(L""), nullptr);
}

TEST_F(DiskManagerTest, AnEmptyPathFindsNotEvenADriveWithoutAPath) {
  DiskManager::add_drive(L'X', L"gone");  // a volume that the layer does not know
  EXPECT_EQ(DiskManager::getDriveWithPath(L""), nullptr);
}

TEST_F(DiskManagerTest, ASaveNameIsTheNameOfADrive) {
  DiskManager::add_drive(L'E', L"Studio");
  EXPECT_EQ(DiskManager::getSaveName(L"Studio"), L"Studio");
  EXPECT_EQ(DiskManager::getSaveName(L"Nobody"), L"");
}
