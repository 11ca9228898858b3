#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "miscdisc/dircache/global_cache.h"
#include "tests/fakes/fake_platform.h"
#include "tests/media/drive_names.h"
#include "tests/media/listener.h"

namespace {

constexpr uint64_t kMebibyte = 1024 * 1024;

struct DriveFilesTest : testing::Test {
  DriveFilesTest() {
    platform.clockStep = 1;
    platform.addVolume(L'E', L"/media/e", 3 * kMebibyte);
    platform.addFolder(L"/media/e/Material");
  }

  void store(const String& bytes) { platform.addFile(kInfo, bytes); }

  // Mounts n folders /loc/1, /loc/2 ... beside E.
  void mount(int n) {
    for (int i = 1; i <= n; ++i) {
      const WString folder = L"/loc/" + std::to_wstring(i);
      platform.addFolder(folder);
      ASSERT_TRUE(DiskManager::addDriveForMediaLocation(folder));
    }
  }

  const WString kInfo = L"/media/e/Material/MediaSpaceInfo.txt";
  FakePlatform& platform = fakePlatform();
  DriveListener listener;
};

// A file of the real file system, for what is written with the standard streams.
struct RealFile {
  RealFile() {
    std::string folder = std::filesystem::temp_directory_path() / "miscdisc-drives-XXXXXX";
    if (!mkdtemp(folder.data())) std::abort();
    path = folder + "/list.txt";
  }
  ~RealFile() { std::filesystem::remove_all(std::filesystem::path(path).parent_path()); }
  bool exists() const { return std::ifstream(path).good(); }
  std::string bytes() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::string path;
};

}  // namespace

TEST_F(DriveFilesTest, TheNameLiesInTheMaterialFolderOfTheVolume) {
  EXPECT_EQ(DiskManager::getInfoFileNameFor(L'E'), L"/media/e/Material/MediaSpaceInfo.txt");
}

TEST_F(DriveFilesTest, APathThatEndsInASeparatorGetsASecondOne) {
  platform.volume(L'E')->folder = L"/media/e/";
  EXPECT_EQ(DiskManager::getInfoFileNameFor(L'E'), L"/media/e//Material/MediaSpaceInfo.txt");
}

TEST_F(DriveFilesTest, TheNameIsSavedAsOneLine) {
  store("name=Old\nlabel=X\n");
  EXPECT_TRUE(DiskManager::saveDriveInfo(MediaDrive(L'E', L"Studio A")));
  EXPECT_EQ(platform.file(kInfo)->bytes, "name=Studio A\n");
}

TEST_F(DriveFilesTest, TheNameIsSavedAsItStands) {
  struct {
    const wchar_t* name;
    const char* bytes;
  } const cases[] = {
      {L"", "name=\n"},
      {L"Unnamed", "name=Unnamed\n"},
      {L"a=b", "name=a=b\n"},
      {L"\u00C4rger \U0001F3AC", "name=\u00C4rger \U0001F3AC\n"},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(DiskManager::saveDriveInfo(MediaDrive(L'E', c.name)));
    EXPECT_EQ(platform.file(kInfo)->bytes, c.bytes);
  }
}

TEST_F(DriveFilesTest, OnAFullVolumeTheOldNameStaysAndBothConsolesHear) {
  store("name=Old\n");
  const MediaDrive drive(L'E', L"New");
  platform.volume(L'E')->space = {0, 9 * kMebibyte};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(DiskManager::saveDriveInfo(drive));
  std::fflush(stdout);
  const String text =
      "Disk Manager : Insufficient space for MediaSpaceInfo.txt file on drive 'E'.\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
  EXPECT_EQ(platform.log, (std::vector<String>{text}));
  EXPECT_EQ(platform.file(kInfo)->bytes, "name=Old\n");
}

TEST_F(DriveFilesTest, OneFreeByteIsEnoughToTry) {
  platform.volume(L'E')->space = {1, 9 * kMebibyte};
  EXPECT_TRUE(DiskManager::saveDriveInfo(MediaDrive(L'E', L"New")));
  EXPECT_EQ(platform.file(kInfo)->bytes, "name=New\n");
}

TEST_F(DriveFilesTest, TheFirstLocationIsCalledByItsDigitOnTheConsole) {
  platform.addFolder(L"/loc/1/Material");
  mount(1);
  platform.volume(0xE031)->space = {};
  testing::internal::CaptureStdout();
  DiskManager::saveDriveInfo(*DiskManager::get_drive(0));
  std::fflush(stdout);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("on drive '1'"), String::npos);
}

// Whether the file could be written is nobody's concern here.
TEST_F(DriveFilesTest, ANameThatCouldNotBeWrittenCountsAsSaved) {
  platform.failingCall = 1;
  EXPECT_TRUE(DiskManager::saveDriveInfo(MediaDrive(L'E', L"New")));
  EXPECT_EQ(platform.file(kInfo), nullptr);
}

TEST_F(DriveFilesTest, TheNameIsReadBack) {
  struct {
    const char* bytes;
    const wchar_t* name;
  } const cases[] = {
      {"name=Studio A\n", L"Studio A"},
      {"name=Studio A", L"Studio A"},
      {"name=Studio A\r\nname=B\r\n", L"Studio A"},
      {"\xEF\xBB\xBFname=Studio A\n", L"Studio A"},
      {"name=\n", L""},
      {"name=a=b\n", L"a=b"},
      {"name= padded \n", L" padded "},
      {"name=\xFF\n", L"\xDCFF"},
      {"", L""},
  };
  for (const auto& c : cases) {
    store(c.bytes);
    testing::internal::CaptureStdout();
    EXPECT_EQ(DiskManager::getMediaLocationUserName(L'E'), c.name) << c.bytes;
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << c.bytes;
  }
}

TEST_F(DriveFilesTest, AVolumeWithoutTheFileHasNoName) {
  EXPECT_EQ(DiskManager::getMediaLocationUserName(L'E'), L"");
  EXPECT_EQ(DiskManager::getMediaLocationUserName(L'X'), L"");
}

TEST_F(DriveFilesTest, AFileWhoseFirstLineIsNoNameIsCorrupt) {
  for (const char* bytes : {"label=X\nname=Y\n", "Studio A\n", "\nname=Y\n", "Name=Y\n",
                            "name =Y\n", "=Y\n", "\xFF\xFE\n"}) {
    store(bytes);
    testing::internal::CaptureStdout();
    EXPECT_EQ(DiskManager::getMediaLocationUserName(L'E'), L"") << bytes;
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Disk Manager - MediaSpaceInfo.txt contents corrupt\n");
    EXPECT_EQ(platform.file(kInfo)->bytes, bytes);
  }
}

TEST_F(DriveFilesTest, EveryListedFolderIsMounted) {
  platform.addFolder(L"/loc/a");
  platform.addFile(L"/loc/b/Material/MediaSpaceInfo.txt", "name=Studio B\n");
  platform.addFile(L"/share/list.txt", "/loc/a\n/loc/b/\n");
  EXPECT_TRUE(DiskManager::AddDrivesFromFile(L"/share/list.txt"));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"a", L"Studio B"}));
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager structure change"}));
}

TEST_F(DriveFilesTest, AFolderThatCannotBeMountedIsLoggedAndTheOthersAreMounted) {
  platform.addFolder(L"/loc/a");
  platform.addFile(L"/share/list.txt", "/loc/gone\n\n/loc/a\n/loc/\xFF\n");
  EXPECT_TRUE(DiskManager::AddDrivesFromFile(L"/share/list.txt"));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"a"}));
  platform.log.resize(3);
  EXPECT_EQ(platform.log, (std::vector<String>{"** Can't add material drive '/loc/gone'\n",
                                               "** Can't add material drive ''\n",
                                               "** Can't add material drive '/loc/\xFF'\n"}));
}

TEST_F(DriveFilesTest, AnOverlongLineIsCutInTheLogOnly) {
  const WString deep = L"/loc/" + WString(3000, L'x');
  platform.addFolder(deep);
  platform.addFile(L"/share/list.txt",
                   Qx::UTF8FromWString(deep) + "\n/gone/" + String(3000, 'y') + "\n%s%n\n");
  DiskManager::AddDrivesFromFile(L"/share/list.txt");
  EXPECT_EQ(driveNames(), (std::vector<WString>{WString(3000, L'x')}));
  EXPECT_EQ(platform.log[0], "** Can't add material drive '/gone/" + String(988, 'y'));
  EXPECT_EQ(platform.log[1], "** Can't add material drive '%s%n'\n");
}

TEST_F(DriveFilesTest, SeventyThousandLinesAreAllTried) {
  String lines;
  for (int i = 0; i < 70'000; ++i) lines += "/gone\n";
  platform.addFolder(L"/loc/last");
  platform.addFile(L"/share/list.txt", lines + "/loc/last\n");
  DiskManager::AddDrivesFromFile(L"/share/list.txt");
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"last"}));
}

TEST_F(DriveFilesTest, AMissingListStillRenewsTheCacheAndTellsOnce) {
  initialise_directory_caches(false);
  const size_t listed = platform.listed.size();
  EXPECT_TRUE(DiskManager::AddDrivesFromFile(L"/share/none.txt"));
  EXPECT_EQ(platform.listed.size(), 2 * listed);
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager structure change"}));
}

TEST_F(DriveFilesTest, UnmountingListsTheLocationsAndForgetsThem) {
  RealFile list;
  DiskManager::init();
  mount(2);
  platform.volume(0xE032)->folder = L"/loc/2/";  // no separator is added or taken
  EXPECT_TRUE(DiskManager::UnmountDrives(list.path.c_str()));
  EXPECT_EQ(list.bytes(), "/loc/1\n/loc/2/\n");
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e"}));
  EXPECT_EQ(platform.volumes.size(), 1u);
  EXPECT_EQ(listener.heard, (std::vector<String>{"disk manager structure change",
                                                 "disk manager structure change"}));
}

TEST_F(DriveFilesTest, TheNextVolumeIsFoundBeforeTheLastOneIsForgotten) {
  mount(2);
  platform.calls.clear();
  DiskManager::UnmountDrives(nullptr);
  EXPECT_EQ(
      platform.calls,
      (std::vector<String>{"FsysGetFirstMaterialVolume ", "FsysGetNextMaterialVolume E",
                           "told disk manager structure change", "FsysGetNextMaterialVolume \uE031",
                           "FsysDeleteMaterialVolume \uE031", "told disk manager structure change",
                           "FsysGetNextMaterialVolume \uE032", "FsysDeleteMaterialVolume \uE032"}));
}

TEST_F(DriveFilesTest, EveryVolumeIsMeasuredOnTheWay) {
  mount(1);
  platform.measured.clear();
  DiskManager::UnmountDrives(nullptr);
  EXPECT_EQ(platform.measured, L"E\uE031");
}

TEST_F(DriveFilesTest, TheListStartsAfresh) {
  RealFile list;
  std::ofstream(list.path) << "/old/one\n/old/two\n";
  mount(1);
  EXPECT_TRUE(DiskManager::UnmountDrives(list.path.c_str()));
  EXPECT_EQ(list.bytes(), "/loc/1\n");
}

TEST_F(DriveFilesTest, WithoutAFileTheLocationsAreUnmountedAllTheSame) {
  mount(1);
  EXPECT_TRUE(DiskManager::UnmountDrives(nullptr));
  EXPECT_EQ(platform.volumes.size(), 1u);
  mount(1);
  EXPECT_TRUE(DiskManager::UnmountDrives("/no/such/folder/list.txt"));
  EXPECT_EQ(platform.volumes.size(), 1u);
  EXPECT_EQ(driveNames(), std::vector<WString>());
}

TEST_F(DriveFilesTest, WithoutLocationsThereIsNothingToList) {
  RealFile list;
  EXPECT_FALSE(DiskManager::UnmountDrives(list.path.c_str()));
  EXPECT_FALSE(list.exists());
  platform.volumes.clear();
  EXPECT_FALSE(DiskManager::UnmountDrives(list.path.c_str()));
  EXPECT_FALSE(list.exists());
  EXPECT_EQ(listener.heard, std::vector<String>());
}

TEST_F(DriveFilesTest, ALocationOutsideTheListOfDrivesIsForgottenToo) {
  platform.addVolume(0xE031, L"/loc/1");
  EXPECT_TRUE(DiskManager::UnmountDrives(nullptr));
  EXPECT_EQ(platform.volume(0xE031), nullptr);
  EXPECT_EQ(listener.heard, std::vector<String>());
}

// The layer's order, not the kind, decides what is returned.
TEST_F(DriveFilesTest, TheLastVolumeOfTheWalkIsTheResult) {
  platform.addVolume(0xE031, L"/loc/1");
  platform.walksBackwards = true;
  EXPECT_FALSE(DiskManager::UnmountDrives(nullptr));
  EXPECT_EQ(platform.volume(0xE031), nullptr);
}

TEST_F(DriveFilesTest, AnUnmountedListMountsAgain) {
  RealFile list;
  mount(2);
  platform.addFile(L"/loc/2/Material/MediaSpaceInfo.txt", "name=Studio B\n");
  DiskManager::UnmountDrives(list.path.c_str());
  platform.addFile(L"/share/list.txt", list.bytes());
  DiskManager::AddDrivesFromFile(L"/share/list.txt");
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"1", L"Studio B"}));
}
