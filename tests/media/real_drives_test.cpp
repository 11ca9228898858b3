// Drives on file systems of exact size, and the figures in the manual.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "host/formats.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/recording_space.h"
#include "miscdisc/platform/fsys.h"
#include "tests/host/exact_volume.h"
#include "tests/host/home.h"

namespace {

constexpr uint64_t kMebibyte = 1024 * 1024;
constexpr uint64_t kPage = 4096;

class RealDrivesTest : public test::HomeTest {
 protected:
  // The body runs with a drive on a file system of so many bytes.
  static void onDrive(uint64_t bytes, const std::function<void(MediaDrive&)>& body) {
    const std::string folder = test::home() + "/drive";
    test::withExactVolumes({{folder, bytes}}, [&] {
      test::writeFile(test::home() + "/config.toml",
                      "[volumes]\ndiscover = false\nE = '" + folder + "'\n");
      FsysReInitialize(false);
      disk_manager_init();
      ASSERT_NE(DiskManager::get_drive(0), nullptr);
      body(*DiskManager::get_drive(0));
    });
  }

  static std::string nameFile() { return test::home() + "/drive/Material/MediaSpaceInfo.txt"; }
};

}  // namespace

TEST_F(RealDrivesTest, ADriveWithTwoMebibytesFreeHasNoRoom) {
  onDrive(2 * kMebibyte, [](MediaDrive& drive) {
    EXPECT_EQ(drive.space, 2.0);
    EXPECT_EQ(drive.capacity, 2.0);
    EXPECT_EQ(DiskManager::getSpaceForRecording(drive), 0.0);
    EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 1, 0), 0xFFFFFFFFu);
  });
}

TEST_F(RealDrivesTest, OneMebibyteFreeIsLessThanNoRoom) {
  onDrive(3 * kMebibyte, [](MediaDrive& drive) {
    EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, kMebibyte, 0), 1u);
    test::writeFile(test::home() + "/drive/file", std::string(2 * kMebibyte, 'x'));
    EXPECT_EQ(DiskManager::getSpaceForRecording(drive), -1.0);
    EXPECT_EQ(drive.space, 1.0);
    EXPECT_EQ(drive.getSpaceBytes(), 1'048'576);
    EXPECT_EQ(drive.getCapacityBytes(), 3'145'728);
    EXPECT_EQ(DiskManager::get_mins_of_recording_left(drive, 1, 0), 0xFFFFFFFFu);
  });
}

TEST_F(RealDrivesTest, SpaceIsTruncatedToWholeMebibytes) {
  onDrive(2 * kMebibyte - kPage, [](MediaDrive& drive) {
    EXPECT_EQ(drive.space, 1.0);
    EXPECT_EQ(drive.capacity, 1.0);
  });
}

TEST_F(RealDrivesTest, AFullDriveKeepsItsOldName) {
  onDrive(kMebibyte, [](MediaDrive& drive) {
    EXPECT_TRUE(drive.prepareForMedia());
    EXPECT_TRUE(DiskManager::renameMediaLocation(drive, L"Old"));
    EXPECT_EQ(test::readFile(nameFile()), "name=Old\n");
    const std::string tooMuch(kMebibyte, 'x');
    std::ofstream(test::home() + "/drive/file") << tooMuch << std::flush;
    drive.update();
    EXPECT_EQ(drive.space, 0.0);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(DiskManager::renameMediaLocation(drive, L"New"));
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Disk Manager : Insufficient space for MediaSpaceInfo.txt file on drive 'E'.\n");
    EXPECT_EQ(test::readFile(nameFile()), "name=Old\n");
  });
}

// There is a byte, so it is tried; a name takes more.
TEST_F(RealDrivesTest, WithoutRoomForTheNameTheOldOneStays) {
  onDrive(kMebibyte, [](MediaDrive& drive) {
    drive.prepareForMedia();
    DiskManager::renameMediaLocation(drive, L"Old");
    std::ofstream filler(test::home() + "/drive/file");
    VOLUME_INFO info;
    ASSERT_TRUE(FsysGetVolInfo(L'E', &info));
    filler << std::string(info.freeBytes - kPage, 'x') << std::flush;
    ASSERT_TRUE(FsysGetVolInfo(L'E', &info));
    ASSERT_EQ(info.freeBytes, kPage);
    EXPECT_TRUE(DiskManager::renameMediaLocation(drive, WString(2 * kPage, L'n')));
    EXPECT_EQ(test::readFile(nameFile()), "name=Old\n");
  });
}

// The last column of docs/formats.md is what the library answers, to three digits.
TEST(FormatsManual, HasTheMinutesThatTheLibraryAnswers) {
  std::ifstream manual(MISCDISC_SOURCE_DIR "/docs/formats.md");
  const std::string text(std::istreambuf_iterator<char>(manual), {});
  for (const host::RecordingFormat& format : host::recordingFormats()) {
    std::ostringstream minutes;
    minutes.precision(3);
    minutes << getMinutesPerGigabyte(format.format, format.shot);
    const size_t row = text.find("| `" + format.name + "` |");
    ASSERT_NE(row, std::string::npos) << format.name;
    const std::string line = text.substr(row, text.find('\n', row) - row);
    EXPECT_TRUE(line.ends_with("| " + minutes.str() + " |")) << line << minutes.str();
  }
}
