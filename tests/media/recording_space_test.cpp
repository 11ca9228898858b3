#include "miscdisc/media/recording_space.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/fakes/fake_platform.h"
#include "tests/media/listener.h"

namespace {

constexpr uint64_t kMebibyte = 1024 * 1024;

struct RecordingSpaceTest : testing::Test {
  RecordingSpaceTest() { platform.clockStep = 1; }

  // A drive with so many free mebibytes.
  void addDrive(wchar_t id, uint64_t free) {
    platform.addVolume(id, L"/media/" + WString(1, id), free * kMebibyte);
    DiskManager::add_drive(id, L"");
  }

  FakePlatform& platform = fakePlatform();
  DriveListener listener;
};

struct MinutesTest : RecordingSpaceTest {
  MinutesTest() { platform.frameRates[25] = 25.0; }

  // The format with the image format code 7, which is played out under this code.
  double minutes(uint32_t fcc) {
    platform.playoutCodes[7] = fcc;
    return getMinutesPerGigabyte({.imageFormat = 7, .mpegRate = 0}, shot);
  }

  ShotVideoMetadata shot{.frameRate = Qx::FrameRate{25}, .picture = {1920, 1080, 16}};
};

}  // namespace

TEST_F(MinutesTest, SomeFormatsHaveChosenFigures) {
  struct {
    uint32_t fcc;
    double minutes;
  } const cases[] = {
      {0x64737664, 6.0}, {0x35327664, 6.0}, {0x30357664, 3.0}, {0x31687664, 1.5},
      {0x584d5047, 6.0}, {0x584d4947, 6.0}, {0x58444844, 6.0}, {0x58444456, 6.0},
      {0x58443130, 6.0}, {0x50325052, 6.0}, {0x50324456, 6.0}, {0x50323530, 6.0},
  };
  for (const auto& c : cases) EXPECT_EQ(minutes(c.fcc), c.minutes) << std::hex << c.fcc;
}

TEST_F(MinutesTest, UncompressedFormatsAreWorkedOutFromThePicture) {
  for (const uint32_t fcc : {0x59565955u, 0x59555956u, 0x56595559u, 0x55595659u, 0x32595559u,
                             0x30313276u, 0x30323449u, 0x3130314du, 0x3230314du, 0x3330314du,
                             0x41524742u, 0x42475241u, 0x42475220u, 0u, 0x23u, 0x24u, 0x25u}) {
    EXPECT_DOUBLE_EQ(minutes(fcc), 0.17260510288065845) << std::hex << fcc;
  }
  EXPECT_EQ(platform.frameSizesAsked, 0);
}

TEST_F(MinutesTest, FormatsWithAFrameSizeOfTheirOwnAreAskedForIt) {
  platform.frameSize = 917504;
  for (const uint32_t fcc : {0x6e645641u, 0x78645641u}) {
    EXPECT_DOUBLE_EQ(minutes(fcc), 0.78019047619047621) << std::hex << fcc;
  }
  EXPECT_EQ(platform.frameSizesAsked, 2);
  platform.frameSize = 0;
  EXPECT_EQ(minutes(0x6e645641), 1.0);
}

TEST_F(MinutesTest, AnUnknownFormatHoldsAMinute) {
  for (const uint32_t fcc : {1u, 0x22u, 0x26u, 0x35327665u, 0x20424752u, 0xFFFFFFFFu}) {
    EXPECT_EQ(minutes(fcc), 1.0) << std::hex << fcc;
  }
}

TEST_F(MinutesTest, APictureOfNoSizeHoldsAMinute) {
  for (const ShotVideoMetadata::Picture picture :
       {ShotVideoMetadata::Picture{0, 1080, 16}, {1920, 0, 16}, {1920, 1080, 0}, {1, 1, 7}}) {
    shot.picture = picture;
    EXPECT_EQ(minutes(0x59565955), 1.0);
  }
}

TEST_F(MinutesTest, TheBitsOfAPictureAreCountedIn32BitsAndTheBytesTruncated) {
  shot.picture = {3, 1, 9};  // 27 bits
  EXPECT_DOUBLE_EQ(minutes(0x59565955), 238609.29422222222);
  shot.picture = {65536, 65536, 16};
  EXPECT_EQ(minutes(0x59565955), 1.0);
}

TEST_F(MinutesTest, MpegIsAnsweredByItsRateWhateverItsCode) {
  platform.mpegFormats = {7};
  platform.playoutCodes[7] = 0x35327664;
  EXPECT_DOUBLE_EQ(getMinutesPerGigabyte({7, 50}, shot), 3.3333333333333335);
  EXPECT_DOUBLE_EQ(getMinutesPerGigabyte({7, 1}, shot), 166.66666666666666);
  EXPECT_EQ(getMinutesPerGigabyte({7, 0x80000001}, shot), 1000.0 / 6);  // the product has 32 bits
  EXPECT_TRUE(std::isinf(getMinutesPerGigabyte({7, 0}, shot)));
}

TEST_F(RecordingSpaceTest, SpaceForRecordingIsTheDrives) {
  addDrive(L'E', 12);
  platform.volume(L'E')->space.freeBytes = 20 * kMebibyte;
  EXPECT_EQ(DiskManager::getSpaceForRecording(*DiskManager::get_drive(0)), 18.0);
}

TEST_F(RecordingSpaceTest, MinutesLeftAreWholeMinutesAtBothRates) {
  addDrive(L'E', 12);
  const MediaDrive& drive = *DiskManager::get_drive(0);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 1048576, 0), 10u);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 1048576, 1048576), 5u);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 3000000, 500000), 2u);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 10485761, 0), 0u);
  platform.volume(L'E')->space.freeBytes = 22 * kMebibyte;  // measured each time
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 1048576, 0), 20u);
}

// Not 0, which is less than a minute.
TEST_F(RecordingSpaceTest, ADriveWithoutRoomHasAllBitsSet) {
  for (const uint64_t free : {0, 1, 2}) {
    DiskManager::deInit();
    addDrive(L'E', 0);
    platform.volumes = {{.id = L'E', .folder = L"/media/E", .space = {free * kMebibyte, 0}}};
    EXPECT_EQ(DiskManager::get_mins_of_recording_left(*DiskManager::get_drive(0), 1, 0),
              0xFFFFFFFFu);
  }
}

// All bits set is kept for a drive without room.
TEST_F(RecordingSpaceTest, MoreMinutesThan32BitsHoldAreOneLess) {
  addDrive(L'E', 1'000'000);
  const MediaDrive& drive = *DiskManager::get_drive(0);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 0, 0), 0xFFFFFFFEu);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 1, 0), 0xFFFFFFFEu);
}

TEST_F(RecordingSpaceTest, WhatIsNoNumberTakesNothing) {
  addDrive(L'E', 12);
  const double noNumber = std::nan("");
  const MediaDrive& drive = *DiskManager::get_drive(0);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, noNumber, 0), 0u);
  EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, -1, 0), 0u);
  EXPECT_EQ(SpaceMap(nullptr).useSpace(noNumber, eMostSpace), 0);
}

TEST_F(RecordingSpaceTest, TheBestDriveHasMostSpaceAsLastMeasured) {
  EXPECT_EQ(DiskManager::find_best_disk(), nullptr);
  addDrive(L'E', 3);
  addDrive(L'F', 5);
  addDrive(L'G', 5);
  platform.volume(L'E')->space.freeBytes = 9 * kMebibyte;
  platform.measured.clear();
  EXPECT_EQ(DiskManager::find_best_disk()->driveId, L'F');  // of equals the first
  EXPECT_EQ(platform.measured, L"");
  DiskManager::update_drives();
  EXPECT_EQ(DiskManager::find_best_disk()->driveId, L'E');
}

TEST_F(RecordingSpaceTest, TheOnlyDriveIsTheBestEvenWhenItIsFull) {
  addDrive(L'E', 0);
  EXPECT_EQ(DiskManager::find_best_disk()->driveId, L'E');
}

TEST_F(RecordingSpaceTest, ReservingReservesNothing) {
  EXPECT_EQ(DiskManager::find_and_reserve_best_disk(true, true), nullptr);
  addDrive(L'E', 3);
  addDrive(L'F', 5);
  for (const bool a : {false, true}) {
    for (const bool b : {false, true}) {
      EXPECT_EQ(DiskManager::find_and_reserve_best_disk(a, b)->driveId, L'F');
    }
  }
}

TEST_F(RecordingSpaceTest, ATaskKeepsItsDriveByTheVolumesPath) {
  addDrive(L'E', 3);
  addDrive(L'F', 5);
  DiskManager::setDriveForTask("Capture", DiskManager::get_drive(0));
  EXPECT_EQ(platform.preferences,
            (std::map<String, WString>{{"Media Location (Capture)", L"/media/E"}}));
  EXPECT_EQ(DiskManager::getDriveForTask("Capture", false)->driveId, L'E');
  EXPECT_EQ(DiskManager::getDriveForTask("capture", false), nullptr);

  platform.preferences["Media Location (Capture)"] = L"/MEDIA/e";
  EXPECT_EQ(DiskManager::getDriveForTask("Capture", false)->driveId, L'E');
}

TEST_F(RecordingSpaceTest, ATaskWithoutADriveFallsBackOnlyWhenAsked) {
  addDrive(L'E', 3);
  addDrive(L'F', 5);
  EXPECT_EQ(DiskManager::getDriveForTask("Render", false), nullptr);
  EXPECT_EQ(DiskManager::getDriveForTask("Render", true)->driveId, L'F');
}

TEST_F(RecordingSpaceTest, ATaskWhoseVolumeIsUnmountedFallsBackOnlyWhenAsked) {
  addDrive(L'E', 3);
  platform.preferences["Media Location (Capture)"] = L"/media/gone";
  EXPECT_EQ(DiskManager::getDriveForTask("Capture", false), nullptr);
  EXPECT_EQ(DiskManager::getDriveForTask("Capture", true)->driveId, L'E');
}

TEST_F(RecordingSpaceTest, NoDriveForgetsTheTask) {
  addDrive(L'E', 3);
  DiskManager::setDriveForTask("", DiskManager::get_drive(0));
  DiskManager::setDriveForTask("Capture", DiskManager::get_drive(0));
  DiskManager::setDriveForTask("Capture", nullptr);
  EXPECT_EQ(platform.preferences, (std::map<String, WString>{{"Media Location ()", L"/media/E"}}));
}

TEST_F(RecordingSpaceTest, AMapMeasuresFirstAndMayTell) {
  addDrive(L'E', 3);
  platform.volume(L'E')->space.freeBytes = 9 * kMebibyte;
  platform.clock = 5000;
  SpaceMap map(nullptr);
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager update"}));
  EXPECT_EQ(map.useSpace(8.5, eMostSpace), L'E');
}

TEST_F(RecordingSpaceTest, AMapTakesFromItsCopiesOnly) {
  addDrive(L'E', 10);
  SpaceMap map(nullptr);
  EXPECT_EQ(map.useSpace(6, eMostSpace), L'E');
  EXPECT_EQ(map.useSpace(6, eMostSpace), 0);
  EXPECT_EQ(DiskManager::get_drive(0)->space, 10.0);
  EXPECT_EQ(SpaceMap(nullptr).useSpace(6, eMostSpace), L'E');
}

TEST_F(RecordingSpaceTest, AMapOfOneDriveKnowsNoOther) {
  addDrive(L'E', 10);
  addDrive(L'F', 20);
  SpaceMap map(DiskManager::get_drive(0));
  EXPECT_EQ(map.useSpace(15, eMostSpace), 0);
  EXPECT_EQ(map.useSpace(9, eMostSpace), L'E');
}

TEST_F(RecordingSpaceTest, AnEmptyMapTakesNothing) {
  EXPECT_EQ(SpaceMap(nullptr).useSpace(1, eBestFit), 0);
  EXPECT_EQ(SpaceMap(nullptr).useSpace(-1, eMostSpace), 0);
}

TEST_F(RecordingSpaceTest, TheBestFitIsTheLeastSpaceThatExceedsTheRequest) {
  addDrive(L'E', 30);
  addDrive(L'F', 10);
  addDrive(L'G', 20);
  SpaceMap map(nullptr);
  EXPECT_EQ(map.useSpace(15, eBestFit), L'G');
  EXPECT_EQ(map.useSpace(5, eBestFit), L'F');  // 10, and G has 5, which is not more than 5
  EXPECT_EQ(map.useSpace(4, eBestFit), L'F');  // of the two with 5 the first
  EXPECT_EQ(map.useSpace(29, eBestFit), L'E');
}

TEST_F(RecordingSpaceTest, ADriveWithExactlyTheSpaceIsPassedOver) {
  addDrive(L'E', 10);
  SpaceMap map(nullptr);
  EXPECT_EQ(map.useSpace(10, eBestFit), 0);
  EXPECT_EQ(map.useSpace(10, eMostSpace), 0);
  EXPECT_EQ(map.useSpace(9.999, eMostSpace), L'E');
}

TEST_F(RecordingSpaceTest, OfEqualDrivesTheFirstIsTaken) {
  addDrive(L'E', 10);
  addDrive(L'F', 10);
  EXPECT_EQ(SpaceMap(nullptr).useSpace(4, eBestFit), L'E');
  EXPECT_EQ(SpaceMap(nullptr).useSpace(4, eMostSpace), L'E');
}

TEST_F(RecordingSpaceTest, MostSpaceSpreadsRequestsOverTheDrives) {
  addDrive(L'E', 20);
  addDrive(L'F', 19);
  addDrive(L'G', 11);
  SpaceMap map(nullptr);
  WString taken;
  for (int i = 0; i < 6; ++i) taken += map.useSpace(6, eMostSpace);
  EXPECT_EQ(taken, L"EFEFGE");  // 20 19 11, 14 19, 14 13, 8 13, 8 7 11, 8 7 5
}

TEST_F(RecordingSpaceTest, AnyOtherMatchTakesNothing) {
  addDrive(L'E', 10);
  SpaceMap map(nullptr);
  EXPECT_EQ(map.useSpace(1, static_cast<SpaceMapMatch>(2)), 0);
  EXPECT_EQ(map.useSpace(1, static_cast<SpaceMapMatch>(-1)), 0);
}

// Most space starts from nothing, so a copy without any space is never the most.
TEST_F(RecordingSpaceTest, ACopyWithoutSpaceIsTheBestFitOfARequestForLessThanNothing) {
  addDrive(L'E', 0);
  EXPECT_EQ(SpaceMap(nullptr).useSpace(-1, eMostSpace), 0);
  EXPECT_EQ(SpaceMap(nullptr).useSpace(-1, eBestFit), L'E');
}
