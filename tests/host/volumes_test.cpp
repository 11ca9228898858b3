#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "host/settings.h"
#include "host/volumes.h"
#include "miscdisc/platform/fsys.h"
#include "tests/host/home.h"
#include "tests/platform/volumes.h"

namespace {

WString wide(const std::string& text) { return Qx::WStringFromUTF8(text); }
WString inHome(const std::string& rest) { return wide(test::home() + rest); }

WString networkHost() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return wide(name);
}

WString withBackslashes(WString text) {
  for (wchar_t& c : text) {
    if (c == L'/') c = L'\\';
  }
  return text;
}

class VolumesTest : public test::HomeTest {
 protected:
  VolumesTest() { configure(""); }

  // Without the mounts of the machine that the test runs on.
  static void configure(const std::string& volumes, const std::string& otherSections = "") {
    test::configure("[volumes]\ndiscover = false\n" + volumes + otherSections);
    FsysReInitialize(false);
  }

  static void useTwoVolumes() {
    test::makeFolder(test::home() + "/a");
    configure("G = '" + test::home() + "/b'\nE = '" + test::home() + "/a'\n");
  }
};

}  // namespace

TEST_F(VolumesTest, WithNothingConfiguredTheUsersOwnMediaFolderIsThere) {
  EXPECT_EQ(allVolumes(), L"E");
  EXPECT_EQ(folderOf(L'E'), inHome("/media"));
  EXPECT_TRUE(FsysIsVolumePresent(L'E'));
  VOLUME_INFO info;
  EXPECT_TRUE(FsysGetVolInfo(L'E', &info));
  EXPECT_GT(info.totalBytes, 0u);
  EXPECT_LE(info.freeBytes, info.totalBytes);
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(L'E'));
  EXPECT_FALSE(std::filesystem::exists(test::home() + "/media"));
}

TEST_F(VolumesTest, PreparingMakesTheMediaFolders) {
  EXPECT_TRUE(FsysPrepareVolumeForMedia(L'E'));
  EXPECT_TRUE(FsysIsVolumePreparedForMedia(L'E'));
  EXPECT_TRUE(std::filesystem::is_directory(test::home() + "/media/Material"));
  EXPECT_TRUE(std::filesystem::is_directory(test::home() + "/media/Sound"));
  EXPECT_TRUE(FsysPrepareVolumeForMedia(L'E'));

  std::filesystem::remove(test::home() + "/media/Sound");
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(L'E'));
  test::writeFile(test::home() + "/media/Sound", "a file");
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(L'E'));
  EXPECT_FALSE(FsysPrepareVolumeForMedia(L'E'));
}

TEST_F(VolumesTest, MediaFoldersServeWhoeverMayWriteOnTheVolume) {
  useTwoVolumes();
  const std::string volume = test::home() + "/a";
  ASSERT_EQ(chmod(volume.c_str(), 0775), 0);
  const mode_t before = umask(077);
  EXPECT_TRUE(FsysPrepareVolumeForMedia(L'E'));
  umask(before);
  for (const char* name : {"/Material", "/Sound"}) {
    struct stat made {};
    ASSERT_EQ(stat((volume + name).c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 07777, 0770u) << name;
  }
}

TEST_F(VolumesTest, AFileInTheOwnMediaFoldersPlaceIsNotPresent) {
  test::writeFile(test::home() + "/media", "a file");
  EXPECT_FALSE(FsysIsVolumePresent(L'E'));
  VOLUME_INFO info;
  EXPECT_FALSE(FsysGetVolInfo(L'E', &info));
}

TEST_F(VolumesTest, ConfiguredVolumesComeByLetterAndArePresentWithTheirFolder) {
  useTwoVolumes();
  EXPECT_EQ(allVolumes(), L"EG");
  EXPECT_TRUE(FsysIsVolumePresent(L'E'));
  EXPECT_FALSE(FsysIsVolumePresent(L'G'));
  VOLUME_INFO info;
  info.freeBytes = 7;
  EXPECT_FALSE(FsysGetVolInfo(L'G', &info));
  EXPECT_EQ(info.freeBytes, 7u);
  EXPECT_TRUE(FsysGetVolInfo(L'E', &info));
  EXPECT_FALSE(FsysPrepareVolumeForMedia(L'G'));
  EXPECT_FALSE(std::filesystem::exists(test::home() + "/b"));
  EXPECT_EQ(folderOf(L'G'), inHome("/b"));
}

TEST_F(VolumesTest, AnUnknownIdIsNothing) {
  EXPECT_FALSE(FsysIsVolumePreparedForMedia(L'Q'));
  EXPECT_FALSE(FsysPrepareVolumeForMedia(L'Q'));
  FsysDeleteMaterialVolume(L'Q');
  EXPECT_EQ(allVolumes(), L"E");
}

TEST_F(VolumesTest, TheWalkStoresNothingAtItsEnd) {
  wchar_t id = L'E';
  EXPECT_FALSE(FsysGetNextMaterialVolume(&id));
  EXPECT_EQ(id, L'E');
  FsysDeleteMaterialVolume(L'E');
  id = L'x';
  EXPECT_FALSE(FsysGetFirstMaterialVolume(&id));
  EXPECT_EQ(id, L'x');
}

TEST_F(VolumesTest, TheWalkGoesOnAfterAVolumeThatWasForgotten) {
  useTwoVolumes();
  wchar_t id = 0;
  ASSERT_TRUE(FsysGetFirstMaterialVolume(&id));
  FsysDeleteMaterialVolume(id);
  ASSERT_TRUE(FsysGetNextMaterialVolume(&id));
  EXPECT_EQ(id, L'G');
}

TEST_F(VolumesTest, MountedFoldersGetTheLowestFreeNumber) {
  for (const char* name : {"/x", "/y", "/z"}) test::makeFolder(test::home() + name);
  wchar_t id = 0;
  EXPECT_EQ(FsysAddMaterialVolume(inHome("/x"), &id), 1);
  EXPECT_EQ(id, 0xE031);
  EXPECT_EQ(FsysAddMaterialVolume(inHome("/y/"), &id), 1);
  EXPECT_EQ(id, 0xE032);
  EXPECT_EQ(folderOf(0xE032), inHome("/y"));
  EXPECT_EQ(allVolumes(), (WString{L'E', 0xE031, 0xE032}));
  EXPECT_TRUE(FsysIsVolumePresent(0xE031));

  FsysDeleteMaterialVolume(0xE031);
  EXPECT_EQ(FsysAddMaterialVolume(inHome("/z"), &id), 1);
  EXPECT_EQ(id, 0xE031);
  EXPECT_EQ(folderOf(0xE031), inHome("/z"));
}

TEST_F(VolumesTest, MountingIsRefused) {
  useTwoVolumes();
  test::makeFolder(test::home() + "/x");
  test::writeFile(test::home() + "/file", "");
  std::filesystem::create_directory_symlink(test::home() + "/a", test::home() + "/link");
  wchar_t id = 0;
  ASSERT_EQ(FsysAddMaterialVolume(inHome("/x"), &id), 1);
  id = L'-';
  struct {
    const char* why;
    WString folder;
  } const cases[] = {
      {"empty", L""},
      {"missing", inHome("/none")},
      {"a file", inHome("/file")},
      {"a configured volume", inHome("/a")},
      {"a configured volume with a separator", inHome("/a/")},
      {"a configured volume by another way", inHome("/link")},
      {"a configured volume that is absent", inHome("/b")},
      {"mounted already", inHome("/x")},
      {"not a full path", L"x"},
      {"a path that ends early", inHome("/x") + WString(L"\0y", 2)},
  };
  for (const auto& c : cases) {
    EXPECT_NE(FsysAddMaterialVolume(c.folder, &id), 1) << c.why;
    EXPECT_EQ(id, L'-') << c.why;
  }
}

TEST_F(VolumesTest, OnlyMountedVolumesAreNotDiscovered) {
  test::makeFolder(test::home() + "/x");
  wchar_t id = 0;
  ASSERT_EQ(FsysAddMaterialVolume(inHome("/x"), &id), 1);
  EXPECT_FALSE(FsysIsVolumeAutoDiscovered(id));
  EXPECT_TRUE(FsysIsVolumeAutoDiscovered(L'E'));
  EXPECT_TRUE(FsysIsVolumeAutoDiscovered(L'Q'));
}

TEST_F(VolumesTest, ReInitialisingForgetsTheMountedAndFindsTheForgotten) {
  useTwoVolumes();
  test::makeFolder(test::home() + "/x");
  wchar_t id = 0;
  ASSERT_EQ(FsysAddMaterialVolume(inHome("/x"), &id), 1);
  FsysDeleteMaterialVolume(L'E');
  EXPECT_EQ(allVolumes(), (WString{L'G', 0xE031}));
  FsysReInitialize(true);
  EXPECT_EQ(allVolumes(), L"EG");
}

TEST_F(VolumesTest, LayerFileNamesOfMountedFoldersBecomeNative) {
  useTwoVolumes();
  test::makeFolder(test::home() + "/x");
  wchar_t id = 0;
  ASSERT_EQ(FsysAddMaterialVolume(inHome("/x"), &id), 1);
  struct {
    WString layer, native;
  } const cases[] = {
      {L"E:/Material/a.mxf", inHome("/a/Material/a.mxf")},
      {WString{0xE031} + L":/Material/x", inHome("/x/Material/x")},
      {WString(L"E:/\u20AC") + WString{0xDCFF}, inHome("/a/\xE2\x82\xAC\xFF")},
  };
  for (const auto& c : cases) EXPECT_EQ(FsysFilenameToWin32Filename(c.layer), c.native);
}

TEST_F(VolumesTest, TheRootCanBeAVolume) {
  configure("E = '/'\n");
  EXPECT_EQ(folderOf(L'E'), L"/");
  EXPECT_EQ(FsysFilenameToWin32Filename(L"E:/etc/x"), L"/etc/x");
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(FsysConvertLocalToUNC(L"E:/etc/x")), L"E:/etc/x");
}

TEST_F(VolumesTest, SharesGiveTheNetworkFormLongestFirst) {
  configure("E = '/mnt/nas/media'\nF = '/mnt/nas/media/fast'\n",
            "[shares]\n'//nas/all' = '/mnt/nas'\n'//fast/tier' = '/mnt/nas/media/fast'\n");
  struct {
    const wchar_t *local, *network, *back;
  } const cases[] = {
      {L"E:/Material/a", L"\\\\nas\\all\\media\\Material\\a", L"E:/Material/a"},
      {L"F:/Material/a", L"\\\\fast\\tier\\Material\\a", L"F:/Material/a"},
      {L"/mnt/nas/media/x", L"\\\\nas\\all\\media\\x", L"E:/x"},
      {L"/mnt/nas/media/fastest", L"\\\\nas\\all\\media\\fastest", L"E:/fastest"},
      {L"/mnt/nas/other/x", L"\\\\nas\\all\\other\\x", L"/mnt/nas/other/x"},
      {L"/mnt/nas", L"\\\\nas\\all", L"/mnt/nas"},
      {L"/mnt/nas/media/fast", L"\\\\fast\\tier", L"F:/"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FsysConvertLocalToUNC(c.local), c.network);
    EXPECT_EQ(FsysConvertUNCtoFsysFilename(c.network), c.back);
  }
  // F is reached through the wider share too.
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"\\\\nas\\all\\media\\fast\\x"), L"F:/x");
}

TEST_F(VolumesTest, ServerNamesKnowNoLetterCaseButSharesDo) {
  configure("E = '/mnt/nas'\n", "[shares]\n'//NAS/all' = '/mnt/nas'\n");
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"\\\\nas\\all\\x"), L"E:/x");
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"\\\\nas\\All\\x"), L"\\\\nas\\All\\x");
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"\\\\nas\\allow\\x"), L"\\\\nas\\allow\\x");
}

TEST_F(VolumesTest, APathOnNoShareBelongsToThisHost) {
  useTwoVolumes();
  const WString network = L"\\\\" + networkHost() + withBackslashes(inHome("/a/Material/x"));
  EXPECT_EQ(FsysConvertLocalToUNC(L"E:/Material/x"), network);
  EXPECT_EQ(FsysConvertLocalToUNC(inHome("/a/Material/x")), network);
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(network), L"E:/Material/x");
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"\\\\" + networkHost() + L"\\etc\\x"), L"/etc/x");
  EXPECT_EQ(FsysConvertUNCtoFsysFilename(L"\\\\no-such-host-of-ours\\etc\\x"),
            L"\\\\no-such-host-of-ours\\etc\\x");
}

TEST_F(VolumesTest, OwningAFileHarmsNothing) {
  test::writeFile(test::home() + "/ann.cli", "");
  FsysSetFileOwner(inHome("/ann.cli"));
  FsysSetFileOwner(inHome("/none"));
  struct stat found {};
  ASSERT_EQ(stat((test::home() + "/ann.cli").c_str(), &found), 0);
  EXPECT_EQ(found.st_uid, geteuid());
}

TEST_F(VolumesTest, FoldersThatAreAskedTogetherAnswerInTheirOrder) {
  test::makeFolder(test::home() + "/a");
  test::writeFile(test::home() + "/file", "");
  const auto states =
      host::askFolders({test::home() + "/none", test::home() + "/a", test::home() + "/file"},
                       std::chrono::minutes(1));
  ASSERT_EQ(states.size(), 3u);
  EXPECT_EQ(states[0].answer, host::VolumeState::Answer::kAbsent);
  EXPECT_FALSE(states[0].space);
  EXPECT_EQ(states[1].answer, host::VolumeState::Answer::kPresent);
  ASSERT_TRUE(states[1].space);
  EXPECT_GT(states[1].space->totalBytes, 0u);
  EXPECT_EQ(states[2].answer, host::VolumeState::Answer::kAbsent);
  EXPECT_TRUE(host::askFolders({}, std::chrono::minutes(1)).empty());
}

TEST_F(VolumesTest, ThreadsMayAskWhileVolumesComeAndGo) {
  for (int i = 0; i < 8; ++i) test::makeFolder(test::home() + "/m" + std::to_string(i));
  std::thread changing([] {
    for (int round = 0; round < 50; ++round) {
      for (int i = 0; i < 8; ++i) {
        wchar_t id = 0;
        FsysAddMaterialVolume(inHome("/m" + std::to_string(i)), &id);
      }
      FsysReInitialize(false);
    }
  });
  for (int i = 0; i < 500; ++i) {
    EXPECT_EQ(allVolumes()[0], L'E');
    EXPECT_EQ(FsysFilenameToWin32Filename(L"E:/x"), inHome("/media/x"));
  }
  changing.join();
  EXPECT_EQ(allVolumes(), L"E");
}
