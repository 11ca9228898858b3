#include "miscdisc/media/media_drive.h"

#include <gtest/gtest.h>

#include "miscdisc/dircache/global_cache.h"
#include "tests/fakes/fake_platform.h"

namespace {

constexpr uint64_t kMebibyte = 1024 * 1024;

struct MediaDriveTest : testing::Test {
  MediaDriveTest() { platform.addVolume(L'E', L"/media/e", 3 * kMebibyte); }

  MediaDrive drive(const WString& name = L"") { return MediaDrive(L'E', name); }

  FakePlatform& platform = fakePlatform();
};

}  // namespace

TEST_F(MediaDriveTest, IsMeasuredWhenItIsMade) {
  platform.volume(L'E')->space = {3 * kMebibyte, 5 * kMebibyte};
  const MediaDrive made(L'E', L"Studio A");
  EXPECT_EQ(made.driveId, L'E');
  EXPECT_EQ(made.name, L"Studio A");
  EXPECT_EQ(made.space, 3.0);
  EXPECT_EQ(made.capacity, 5.0);
}

TEST_F(MediaDriveTest, ACopyCarriesTheFiguresAndMeasuresNothing) {
  const MediaDrive made(L'E', L"Studio A");
  platform.volume(L'E')->space = {};
  platform.measured.clear();
  const MediaDrive fromPointer(&made);
  MediaDrive assigned(L'*', L"");
  assigned = made;
  for (const MediaDrive* copy : {&fromPointer, static_cast<const MediaDrive*>(&assigned)}) {
    EXPECT_EQ(copy->uniqueId, IdStamp('E', 'E', 'E'));
    EXPECT_EQ(copy->driveId, L'E');
    EXPECT_EQ(copy->name, L"Studio A");
    EXPECT_EQ(copy->space, 3.0);
    EXPECT_EQ(copy->capacity, 3.0);
  }
  EXPECT_EQ(platform.measured, L"");
}

TEST_F(MediaDriveTest, TwoRecordsOfOneVolumeAreTheSameDrive) {
  EXPECT_EQ(drive(L"a").uniqueId, drive(L"b").uniqueId);
  EXPECT_FALSE(drive().uniqueId == MediaDrive(L'F', L"").uniqueId);
}

TEST_F(MediaDriveTest, SpaceIsAWholeNumberOfMebibytes) {
  platform.volume(L'E')->space = {1'572'864, 2'097'151};
  EXPECT_EQ(drive().space, 1.0);
  EXPECT_EQ(drive().capacity, 1.0);
  EXPECT_EQ(drive().getSpaceBytes(), 1'048'576);
  EXPECT_EQ(drive().getCapacityBytes(), 1'048'576);
}

TEST_F(MediaDriveTest, AnExbibyteIsMeasuredToo) {
  platform.volume(L'E')->space = {uint64_t{1} << 60, uint64_t{1} << 60};
  EXPECT_EQ(drive().space, 1'099'511'627'776.0);
  EXPECT_EQ(drive().getSpaceBytes(), int64_t{1} << 60);
}

TEST_F(MediaDriveTest, AVolumeThatCannotBeMeasuredHasNoSpace) {
  const MediaDrive made = drive();
  platform.volume(L'E')->present = false;
  made.update();
  EXPECT_EQ(made.space, 0.0);
  EXPECT_EQ(made.capacity, 0.0);
}

TEST_F(MediaDriveTest, PlaceholdersAreNeverMeasured) {
  for (const wchar_t id : {L'*', L'?'}) {
    platform.addVolume(id, L"/media/placeholder", 9 * kMebibyte);
    MediaDrive placeholder(id, L"");
    EXPECT_EQ(placeholder.space, 0.0);
    EXPECT_EQ(placeholder.capacity, 0.0);
    placeholder.space = 7.0;
    const MediaDrive copy(&placeholder);
    EXPECT_EQ(copy.getSpaceForRecording(), 5.0);
    EXPECT_EQ(copy.space, 7.0);
  }
  EXPECT_EQ(platform.measured, L"");
}

TEST_F(MediaDriveTest, SpaceForRecordingIsMeasuredAfreshLessTwoMebibytes) {
  const MediaDrive made = drive();
  platform.volume(L'E')->space = {12 * kMebibyte, 20 * kMebibyte};
  EXPECT_EQ(made.getSpaceForRecording(), 10.0);
  EXPECT_EQ(made.space, 12.0);
  EXPECT_EQ(made.capacity, 20.0);
}

TEST_F(MediaDriveTest, WithOneMebibyteFreeThereIsLessThanNoRoom) {
  platform.volume(L'E')->space = {kMebibyte, 20 * kMebibyte};
  EXPECT_EQ(drive().getSpaceForRecording(), -1.0);
}

TEST_F(MediaDriveTest, UnnamedIsTheSameAsNoName) {
  for (const wchar_t* name : {L"", L"Unnamed"}) {
    EXPECT_TRUE(drive(name).is_unnamed());
    EXPECT_EQ(drive(name).getUserName(false), L"/media/e");
    EXPECT_EQ(drive(name).getUserName(true), L"/media/e");
  }
  EXPECT_FALSE(drive(L"unnamed").is_unnamed());
  EXPECT_FALSE(drive(L"Unnamed 2").is_unnamed());
}

TEST_F(MediaDriveTest, ANamedDriveShowsItsNameWhateverTheFlag) {
  EXPECT_EQ(drive(L"Studio A").getUserName(false), L"Studio A");
  EXPECT_EQ(drive(L"Studio A").getUserName(true), L"Studio A");
}

TEST_F(MediaDriveTest, AnUnnamedDriveOfAnUnknownVolumeHasNoNameAtAll) {
  EXPECT_EQ(MediaDrive(L'X', L"").getUserName(false), L"");
}

TEST_F(MediaDriveTest, ANamedDriveGoesByItsNameAlone) {
  EXPECT_TRUE(drive(L"Studio A").has_name(L"Studio A"));
  EXPECT_FALSE(drive(L"Studio A").has_name(L"studio a"));
  EXPECT_FALSE(drive(L"Studio A").has_name(L"/media/e"));
  EXPECT_FALSE(drive(L"Studio A").has_name(L""));
}

TEST_F(MediaDriveTest, AnUnnamedDriveGoesByItsPath) {
  EXPECT_TRUE(drive().has_name(L"/media/e"));
  EXPECT_TRUE(drive(L"Unnamed").has_name(L"/media/e"));
  EXPECT_FALSE(drive(L"Unnamed").has_name(L"Unnamed"));
  EXPECT_FALSE(drive().has_name(L"/media/E"));
  EXPECT_FALSE(drive().has_name(L"/media/e/"));
}

// Asked a second time when the first answer is another, for the path may change in between.
TEST_F(MediaDriveTest, AnUnnamedDriveIsAskedTwiceForItsPath) {
  const MediaDrive made = drive();
  platform.pathsGivenOnce = {L"/media/before"};
  EXPECT_TRUE(made.has_name(L"/media/e"));

  platform.pathsGivenOnce = {L"/media/before", L"/media/meanwhile"};
  EXPECT_FALSE(made.has_name(L"/media/e"));

  platform.pathsGivenOnce = {L"/media/before", L"/media/meanwhile"};
  EXPECT_TRUE(made.has_name(L"/media/before"));
  EXPECT_EQ(platform.pathsGivenOnce, (std::vector<WString>{L"/media/meanwhile"}));
}

TEST_F(MediaDriveTest, TheLocationEndsInOneSeparator) {
  EXPECT_EQ(drive(L"Studio A").getLocation(), L"/media/e/");
  platform.volume(L'E')->folder = L"/media/e/";
  EXPECT_EQ(drive().getLocation(), L"/media/e/");
  EXPECT_EQ(MediaDrive(L'X', L"").getLocation(), L"");
}

TEST_F(MediaDriveTest, APreparedVolumeIsLeftAlone) {
  platform.addFolder(L"/media/e/Material");
  platform.addFolder(L"/media/e/Sound");
  EXPECT_TRUE(drive().prepareForMedia());
  EXPECT_EQ(getSystemCache()->count(), 0u);
  EXPECT_EQ(platform.log, std::vector<String>());
}

TEST_F(MediaDriveTest, PreparingMakesTheFoldersKnownToTheCache) {
  initialise_directory_caches(false);
  platform.log.clear();
  EXPECT_TRUE(drive().prepareForMedia());
  EXPECT_TRUE(platform.has(L"/media/e/Material"));
  EXPECT_TRUE(platform.has(L"/media/e/Sound"));
  EXPECT_EQ(platform.log, (std::vector<String>{"Added media location : /media/e/\n"}));
}

TEST_F(MediaDriveTest, APreparationThatFailsIsPassedOn) {
  platform.volume(L'E')->present = false;
  EXPECT_FALSE(drive().prepareForMedia());
  EXPECT_EQ(platform.log, std::vector<String>());
}
