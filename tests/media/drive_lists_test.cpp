// The drives' files, on every platform.
#include <gtest/gtest.h>

#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/text_file.h"
#include "tests/media/drive_names.h"
#include "tests/platform/ground.h"

namespace {

WString inGround(const WString& rest) { return ground::folder() + rest; }

class DriveListsTest : public testing::Test {
 protected:
  DriveListsTest() {
    ground::makeFolder(getLocalProjectsDir());
    ground::makeFolder(inGround(L"volume/Material"));
    ground::makeFolder(inGround(L"Rushes/Material"));
    ground::makeFolder(inGround(L"Sounds"));
    ground::addVolume(L'V', inGround(L"volume"));
    disk_manager_init();
  }

  static std::vector<WString> linesOf(const WString& list) {
    const TextFile file(list, true);
    std::vector<WString> lines;
    for (size_t i = 0; i < file.getNumLines(); ++i) lines.push_back(Qx::WStringFromUTF8(file[i]));
    return lines;
  }

  static void restart() {
    disk_manager_exit();
    FsysReInitialize(false);
    disk_manager_init();
    DiskManager::AddDrivesFromFile(listed());
  }

  static WString listed() { return getLocalProjectsDir() + L"DefNetDrive.txt"; }
  static WString hidden() { return getLocalProjectsDir() + L"UnmountedDrives.txt"; }
};

}  // namespace

TEST_F(DriveListsTest, LocationsAndTheirNamesAreThereAgainAfterARestart) {
  EXPECT_TRUE(DiskManager::addMediaLocation(inGround(L"Rushes/")));
  EXPECT_TRUE(DiskManager::addMediaLocation(inGround(L"Sounds/")));
  EXPECT_TRUE(DiskManager::renameMediaLocation(*DiskManager::getDriveWithName(L"Rushes"),
                                               L"Studio \u00C4"));
  EXPECT_EQ(ground::readFile(inGround(L"Rushes/Material/MediaSpaceInfo.txt")),
            "name=Studio \u00C4\n");
  restart();
  EXPECT_EQ(driveNames(), (std::vector<WString>{inGround(L"volume"), L"Studio \u00C4", L"Sounds"}));
}

TEST_F(DriveListsTest, ARemovedLocationDoesNotComeBack) {
  DiskManager::addMediaLocation(inGround(L"Rushes/"));
  DiskManager::addMediaLocation(inGround(L"Sounds/"));
  EXPECT_TRUE(DiskManager::removeMediaLocation(inGround(L"Rushes/")));
  restart();
  EXPECT_EQ(driveNames(), (std::vector<WString>{inGround(L"volume"), L"Sounds"}));
  EXPECT_EQ(linesOf(listed()), (std::vector<WString>{inGround(L"Sounds/")}));
}

TEST_F(DriveListsTest, AHiddenVolumeStaysHidden) {
  EXPECT_TRUE(DiskManager::removeMediaLocation(inGround(L"volume/")));
  EXPECT_EQ(linesOf(hidden()), (std::vector<WString>{inGround(L"volume/")}));
  restart();
  EXPECT_EQ(driveNames(), std::vector<WString>());
}

TEST_F(DriveListsTest, AListThatOthersWroteIsTakenAsItIs) {
  ground::writeFile(listed(), "\xEF\xBB\xBF" + Qx::UTF8FromWString(inGround(L"Rushes")) +
                                  "\r\n\r\n/no/such/\xFF\xFE\r\n" +
                                  Qx::UTF8FromWString(inGround(L"Sounds")));
  restart();
  EXPECT_EQ(driveNames(), (std::vector<WString>{inGround(L"volume"), L"Rushes", L"Sounds"}));
  EXPECT_TRUE(DiskManager::addMediaLocation(inGround(L"volume")));  // listed, not mounted
  EXPECT_EQ(linesOf(listed()),
            (std::vector<WString>{inGround(L"Rushes"), L"", WString(L"/no/such/\xDCFF\xDCFE"),
                                  inGround(L"Sounds"), inGround(L"volume")}));
}

TEST_F(DriveListsTest, SeventyThousandLinesAreReadAndKept) {
  String lines;
  for (int i = 0; i < 69'999; ++i) lines += "\n";
  ground::writeFile(listed(), lines + Qx::UTF8FromWString(inGround(L"Rushes/")) + "\n");
  restart();
  EXPECT_EQ(driveNames(), (std::vector<WString>{inGround(L"volume"), L"Rushes"}));
  DiskManager::addMediaLocation(inGround(L"Sounds/"));
  DiskManager::removeMediaLocation(inGround(L"Rushes/"));  // its line is beyond the walk's reach
  EXPECT_EQ(linesOf(listed()).size(), 70'001u);
}

TEST_F(DriveListsTest, ACorruptNameIsNoName) {
  ground::writeFile(inGround(L"volume/Material/MediaSpaceInfo.txt"), "label=X\nname=Y\n");
  testing::internal::CaptureStdout();
  disk_manager_init();
  EXPECT_EQ(driveNames(), (std::vector<WString>{inGround(L"volume")}));
  EXPECT_NE(testing::internal::GetCapturedStdout().find("contents corrupt"), String::npos);
}

TEST_F(DriveListsTest, AVolumeWithoutAMaterialFolderKeepsNoName) {
  DiskManager::addMediaLocation(inGround(L"Sounds/"));
  MediaDrive& drive = *DiskManager::getDriveWithName(L"Sounds");
  EXPECT_TRUE(DiskManager::renameMediaLocation(drive, L"Studio"));
  EXPECT_EQ(ground::readFile(inGround(L"Sounds/Material/MediaSpaceInfo.txt")), std::nullopt);

  EXPECT_TRUE(drive.prepareForMedia());
  EXPECT_TRUE(DiskManager::renameMediaLocation(drive, L"Studio"));
  EXPECT_EQ(ground::readFile(inGround(L"Sounds/Material/MediaSpaceInfo.txt")), "name=Studio\n");
}
