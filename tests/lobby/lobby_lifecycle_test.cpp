#include <gtest/gtest.h>

#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "tests/fakes/fake_platform.h"
#include "tests/media/drive_names.h"

namespace {

struct LobbyLifecycleTest : testing::Test {
  LobbyLifecycleTest() {
    platform.clockStep = 1;
    platform.settings[{"Configuration", "network project root"}] = "/mnt/nas";
    platform.addFolder(L"/mnt/nas");
    platform.addFolder(L"/home/ann/projects");
  }

  ~LobbyLifecycleTest() override { platform.atCall = nullptr; }

  String setting(const String& key) { return platform.settings[{"Configuration", key}]; }

  void addLobby(const WString& name, const String& locations = "") {
    platform.addFile(L"/mnt/nas/" + name + L"/DefNetDrive.txt", locations);
  }

  static std::vector<WString> available() {
    Vector<WString> lobbies;
    lobbies.add(L"from before");
    LobbyUtils::getAvailableNetworkLobbies(lobbies);
    return {lobbies.begin(), lobbies.end()};
  }

  // A volume that is mounted and whose folders are cached, so that there is something to forget.
  void mountAndCacheAVolume() {
    platform.addVolume(L'E', L"/media/e");
    platform.addFile(L"/media/e/Material/a.mxf");
    LobbyUtils::mountUserMaterialDrives(L"");
    initialise_directory_caches(false);
    ASSERT_EQ(driveNames(), (std::vector<WString>{L"/media/e"}));
    ASSERT_EQ(getSystemCache()->count(), 1u);
  }

  // From now on notes the calls that a move consists of, each with what the library knows by then.
  void noteTheMove() {
    platform.atCall = [this](const String& call) {
      if (call.starts_with("Fsys") && !call.starts_with("FsysReInitialize")) return;
      // A listing is let go under its directory's lock, under which nobody asks for others.
      const bool released = call.starts_with("release ");
      move.push_back(call + ": " + std::to_string(driveNames().size()) + " drives, " +
                     (released ? "" : std::to_string(getSystemCache()->count()) + " files, ") +
                     (LobbyUtils::machineIsInNetworkMode() ? "network" : "local"));
    };
  }

  std::vector<String> move;
  FakePlatform& platform = fakePlatform();
};

}  // namespace

TEST_F(LobbyLifecycleTest, ANewLobbyHasOneMediaLocationOfItsOwn) {
  EXPECT_TRUE(LobbyUtils::createNewLobby(L"Alpha"));
  EXPECT_EQ(platform.namesIn(L"/mnt/nas/Alpha"),
            (std::vector<WString>{L"DefNetDrive.txt", L"Media"}));
  EXPECT_EQ(platform.namesIn(L"/mnt/nas/Alpha/Media"),
            (std::vector<WString>{L"Material", L"Sound"}));
  EXPECT_EQ(platform.file(L"/mnt/nas/Alpha/DefNetDrive.txt")->bytes, "/mnt/nas/Alpha/Media");
  EXPECT_EQ(platform.opened,
            (std::vector<FakePlatform::Open>{{L"/mnt/nas/Alpha/DefNetDrive.txt", 1, 2, 1, 0}}));
  EXPECT_FALSE(LobbyUtils::machineIsInNetworkMode());
}

TEST_F(LobbyLifecycleTest, ALobbysFoldersAreMadeInOrder) {
  LobbyUtils::createNewLobby(L"Alpha");
  EXPECT_EQ(platform.calls,
            (std::vector<String>{
                "createDirectory /mnt/nas/Alpha", "createDirectory /mnt/nas/Alpha/Media",
                "createDirectory /mnt/nas/Alpha/Media/Material",
                "createDirectory /mnt/nas/Alpha/Media/Sound", "open /mnt/nas/Alpha/DefNetDrive.txt",
                "write /mnt/nas/Alpha/DefNetDrive.txt", "release /mnt/nas/Alpha/DefNetDrive.txt"}));
}

// Unlike the path of the lobby itself, which tests what the root ends in.
TEST_F(LobbyLifecycleTest, ARootWithASeparatorIsDoubledInANewLobbysList) {
  platform.settings[{"Configuration", "network project root"}] = "/mnt/nas/";
  LobbyUtils::createNewLobby(L"Alpha");
  EXPECT_EQ(platform.calls[0], "createDirectory /mnt/nas//Alpha");
}

TEST_F(LobbyLifecycleTest, ALobbyThatExistsIsNotMadeAgain) {
  addLobby(L"Alpha", "/keep");
  EXPECT_FALSE(LobbyUtils::createNewLobby(L"Alpha"));
  EXPECT_EQ(platform.file(L"/mnt/nas/Alpha/DefNetDrive.txt")->bytes, "/keep");
  EXPECT_FALSE(platform.has(L"/mnt/nas/Alpha/Media"));
}

// Whatever fails behind the lobby's own folder is not told.
TEST_F(LobbyLifecycleTest, ALobbyIsMadeWhateverFailsInsideIt) {
  for (int failing = 2; failing <= 6; ++failing) {
    platform.failNextCall();
    platform.failingCall += failing - 1;
    const WString name = L"Lobby " + std::to_wstring(failing);
    EXPECT_TRUE(LobbyUtils::createNewLobby(name)) << failing;
    EXPECT_TRUE(platform.has(L"/mnt/nas/" + name)) << failing;
  }
  // Without its list, or with half of it, a folder is no lobby.
  EXPECT_EQ(available(), (std::vector<WString>{L"Lobby 2", L"Lobby 3", L"Lobby 4"}));
  platform.failNextCall();
  EXPECT_FALSE(LobbyUtils::createNewLobby(L"Alpha"));
}

TEST_F(LobbyLifecycleTest, LobbiesAreTheFoldersWithAList) {
  addLobby(L"Beta");
  addLobby(L"Alpha");
  platform.addFolder(L"/mnt/nas/Not a lobby");
  platform.addFile(L"/mnt/nas/file.txt");
  EXPECT_EQ(available(), (std::vector<WString>{L"Alpha", L"Beta"}));
  EXPECT_EQ(platform.listingArguments.back()[0], 0x19u);
}

// As when a lobby is made, and unlike the path of a lobby.
TEST_F(LobbyLifecycleTest, ARootWithASeparatorIsDoubledWhereALobbyIsLookedFor) {
  platform.settings[{"Configuration", "network project root"}] = "/mnt/nas/";
  platform.addFolder(L"/mnt/nas/Alpha");
  available();
  EXPECT_EQ(platform.existenceAsked, (std::vector<WString>{L"/mnt/nas//Alpha/DefNetDrive.txt"}));
}

TEST_F(LobbyLifecycleTest, WithoutARootThereAreNoLobbies) {
  platform.settings[{"Configuration", "network project root"}] = "/mnt/gone";
  EXPECT_EQ(available(), std::vector<WString>());
}

TEST_F(LobbyLifecycleTest, DeletingTakesTheWholeLobby) {
  addLobby(L"Alpha");
  platform.addFile(L"/mnt/nas/Alpha/Media/Material/a.mxf");
  addLobby(L"Alphabet");
  EXPECT_TRUE(LobbyUtils::deleteLobby(L"Alpha"));
  EXPECT_FALSE(platform.has(L"/mnt/nas/Alpha"));
  EXPECT_TRUE(platform.has(L"/mnt/nas/Alphabet/DefNetDrive.txt"));
}

TEST_F(LobbyLifecycleTest, WhetherTheDeletionWorkedIsNotTold) {
  addLobby(L"Alpha");
  platform.failNextCall();
  EXPECT_TRUE(LobbyUtils::deleteLobby(L"Alpha"));
  EXPECT_TRUE(platform.has(L"/mnt/nas/Alpha/DefNetDrive.txt"));
}

TEST_F(LobbyLifecycleTest, WhatIsNoLobbyIsNotDeleted) {
  platform.addFile(L"/mnt/nas/Alpha/precious.txt");
  EXPECT_FALSE(LobbyUtils::deleteLobby(L"Alpha"));
  EXPECT_FALSE(LobbyUtils::deleteLobby(L"gone"));
  EXPECT_TRUE(platform.has(L"/mnt/nas/Alpha/precious.txt"));
}

TEST_F(LobbyLifecycleTest, EnteringALobbyBringsItsDrives) {
  platform.addFolder(L"/loc/Home");
  platform.addFolder(L"/loc/Shared");
  platform.addFile(L"/home/ann/projects/DefNetDrive.txt", "/loc/Home\n");
  addLobby(L"Alpha", "/loc/Shared");
  LobbyUtils::mountUserMaterialDrives(L"");
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"Home"}));

  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(setting("network lobby name"), "Alpha");
  EXPECT_FALSE(platform.settings.contains({"Configuration", "last network lobby name"}));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"Shared"}));
  EXPECT_EQ(platform.opened, std::vector<FakePlatform::Open>());  // nobody is logged in
}

TEST_F(LobbyLifecycleTest, FromLobbyToLobbyNoLastOneIsKept) {
  addLobby(L"Alpha");
  addLobby(L"Beta");
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  LobbyUtils::setCurrentNetworkLobby(L"Beta");
  EXPECT_EQ(setting("network lobby name"), "Beta");
  EXPECT_FALSE(platform.settings.contains({"Configuration", "last network lobby name"}));
}

TEST_F(LobbyLifecycleTest, ALobbyThatIsNotThereBecomesCurrentAllTheSame) {
  LobbyUtils::setCurrentNetworkLobby(L"Gone");
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(setting("network lobby name"), "Gone");
  EXPECT_EQ(driveNames(), std::vector<WString>());
}

TEST_F(LobbyLifecycleTest, GoingLocalKeepsTheLobbyAsTheLastOne) {
  platform.addFolder(L"/loc/Home");
  platform.addFile(L"/home/ann/projects/DefNetDrive.txt", "/loc/Home\n");
  addLobby(L"Alpha");
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  LobbyUtils::switchFromNetworkToLocal();
  EXPECT_FALSE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(setting("network lobby name"), "");
  EXPECT_EQ(setting("last network lobby name"), "Alpha");
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"Home"}));

  LobbyUtils::switchFromNetworkToLocal();  // there is no lobby to keep
  EXPECT_EQ(setting("last network lobby name"), "");
}

TEST_F(LobbyLifecycleTest, TheLayerIsStartedAgainInTheNewMode) {
  addLobby(L"Alpha");
  platform.calls.clear();
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  LobbyUtils::switchFromNetworkToLocal();
  std::erase_if(platform.calls,
                [](const String& call) { return !call.starts_with("FsysReInitialize"); });
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"FsysReInitialize true", "FsysReInitialize false"}));
}

// Listings, drives, configuration, mode, layer.  Afterwards it shows no more: mounting builds the
// drives and reads the listings anew, whatever was forgotten before.
TEST_F(LobbyLifecycleTest, EnteringForgetsThenConfiguresThenMounts) {
  addLobby(L"Alpha");
  mountAndCacheAVolume();
  noteTheMove();
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  EXPECT_EQ(move,
            (std::vector<String>{"release /media/e/Material/????????.*: 1 drives, local",
                                 "release /media/e/Sound/????????.*: 1 drives, local",
                                 "setValue network lobby name = Alpha: 0 drives, 0 files, local",
                                 "FsysReInitialize true: 0 drives, 0 files, network"}));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e"}));
}

TEST_F(LobbyLifecycleTest, GoingLocalForgetsThenConfiguresThenMounts) {
  addLobby(L"Alpha");
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  mountAndCacheAVolume();
  noteTheMove();
  LobbyUtils::switchFromNetworkToLocal();
  EXPECT_EQ(move, (std::vector<String>{
                      "release /media/e/Material/????????.*: 1 drives, network",
                      "release /media/e/Sound/????????.*: 1 drives, network",
                      "setValue last network lobby name = Alpha: 0 drives, 0 files, network",
                      "setValue network lobby name = : 0 drives, 0 files, network",
                      "FsysReInitialize false: 0 drives, 0 files, local"}));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"/media/e"}));
}

TEST_F(LobbyLifecycleTest, UnmountingForgetsListingsAndDrivesAndKeepsTheVolumes) {
  platform.addVolume(L'E', L"/media/e");
  platform.addFile(L"/media/e/Material/a.mxf");
  DiskManager::init();
  initialise_directory_caches(false);
  EXPECT_EQ(getSystemCache()->count(), 1u);
  LobbyUtils::unmountUserMaterialDrives(L"ignored");
  EXPECT_EQ(driveNames(), std::vector<WString>());
  EXPECT_NE(platform.volume(L'E'), nullptr);
  const size_t listed = platform.listed.size();
  validate_directory_cache();
  EXPECT_GT(platform.listed.size(), listed);  // it had to be read again
}

TEST_F(LobbyLifecycleTest, AGivenListIsReadWhateverTheMode) {
  for (const wchar_t* folder : {L"/loc/Given", L"/loc/Home", L"/loc/Shared"}) {
    platform.addFolder(folder);
  }
  platform.addFile(L"/home/ann/projects/DefNetDrive.txt", "/loc/Home\n");
  addLobby(L"Alpha", "/loc/Shared");
  platform.settings[{"Configuration", "network lobby name"}] = "Alpha";
  platform.addFile(L"/somewhere/list.txt", "/loc/Given\n");
  for (const bool networkMode : {false, true}) {
    LobbyUtils::networkMode_ = networkMode;
    EXPECT_TRUE(LobbyUtils::mountUserMaterialDrives(L"/somewhere/list.txt"));
    EXPECT_EQ(driveNames(), (std::vector<WString>{L"Given"}));
  }
}
