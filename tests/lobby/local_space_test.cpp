#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/netshare/net_login.h"
#include "tests/fakes/fake_platform.h"
#include "tests/media/drive_names.h"

namespace {

struct LocalSpaceTest : testing::Test {
  LocalSpaceTest() {
    platform.clockStep = 1;
    platform.settings[{"Configuration", "network project root"}] = "/mnt/nas";
    platform.addFolder(L"/home/ann/projects");
    platform.addFolder(L"/home/ann/Films");
    platform.addFolder(L"/mnt/nas/Alpha");
  }

  void configureLobby(const String& name) {
    platform.settings[{"Configuration", "network lobby name"}] = name;
  }

  // The calls that begin with one of the texts.
  std::vector<String> callsOf(std::initializer_list<const char*> beginnings) const {
    std::vector<String> calls = platform.calls;
    std::erase_if(calls, [&](const String& call) {
      return std::none_of(beginnings.begin(), beginnings.end(),
                          [&](const char* beginning) { return call.starts_with(beginning); });
    });
    return calls;
  }

  std::vector<String> callsOfFiles() const {
    std::vector<String> calls = platform.calls;
    std::erase_if(calls, [](const String& call) { return call.starts_with("Fsys"); });
    return calls;
  }

  FakePlatform& platform = fakePlatform();
};

const WString kDefault = L"/home/ann/projects/";
const WString kFilms = L"/home/ann/Films/";

}  // namespace

TEST_F(LocalSpaceTest, TheDefaultFoldersAreMadeInOrder) {
  EXPECT_TRUE(LobbyUtils::createDefaultProjectFolders(L"/home/ann/Films"));
  EXPECT_EQ(callsOfFiles(), (std::vector<String>{"createDirectory /home/ann/Films/P0001000",
                                                 "createDirectory /home/ann/Films/G0001000"}));
}

TEST_F(LocalSpaceTest, OnlyTheMissingFolderIsMade) {
  platform.addFolder(L"/home/ann/Films/P0001000");
  EXPECT_TRUE(LobbyUtils::createDefaultProjectFolders(kFilms));
  EXPECT_EQ(callsOfFiles(), (std::vector<String>{"createDirectory /home/ann/Films/G0001000"}));
  EXPECT_TRUE(LobbyUtils::createDefaultProjectFolders(kFilms));  // nothing more to make
  EXPECT_EQ(callsOfFiles().size(), 1u);
}

TEST_F(LocalSpaceTest, AfterTheFirstFailureTheSecondFolderIsNotTried) {
  platform.failNextCall();
  EXPECT_FALSE(LobbyUtils::createDefaultProjectFolders(kFilms));
  EXPECT_EQ(callsOfFiles(), (std::vector<String>{"createDirectory /home/ann/Films/P0001000"}));
}

TEST_F(LocalSpaceTest, TheResultIsThatOfTheMissingFolder) {
  platform.addFolder(L"/home/ann/Films/P0001000");
  platform.failNextCall();
  EXPECT_FALSE(LobbyUtils::createDefaultProjectFolders(kFilms));
}

TEST_F(LocalSpaceTest, ANewSpaceGetsTheDefaultSpacesLists) {
  platform.addFile(kDefault + L"DefNetDrive.txt", "/loc/a\n");
  platform.addFile(kDefault + L"UnmountedDrives.txt", "/media/e/\n");
  EXPECT_TRUE(LobbyUtils::createNewLocalProjectSpace(kFilms));
  EXPECT_EQ(platform.file(kFilms + L"DefNetDrive.txt")->bytes, "/loc/a\n");
  EXPECT_EQ(platform.file(kFilms + L"UnmountedDrives.txt")->bytes, "/media/e/\n");
  EXPECT_TRUE(platform.has(L"/home/ann/Films/P0001000"));
  EXPECT_EQ(platform.localProjects, kDefault);  // not made current
}

TEST_F(LocalSpaceTest, ADefaultSpaceWithoutListsIsNoFailure) {
  EXPECT_TRUE(LobbyUtils::createNewLocalProjectSpace(kFilms));
  EXPECT_EQ(
      callsOfFiles().back(),
      "copy /home/ann/projects/UnmountedDrives.txt /home/ann/Films/UnmountedDrives.txt 0 0 0");
  EXPECT_FALSE(platform.has(kFilms + L"DefNetDrive.txt"));
}

TEST_F(LocalSpaceTest, WithoutItsFoldersASpaceGetsNoLists) {
  platform.addFile(kDefault + L"DefNetDrive.txt", "/loc/a\n");
  platform.failNextCall();
  EXPECT_FALSE(LobbyUtils::createNewLocalProjectSpace(kFilms));
  EXPECT_FALSE(platform.has(kFilms + L"DefNetDrive.txt"));
}

TEST_F(LocalSpaceTest, MakingASpaceTwiceReplacesNoList) {
  platform.addFile(kDefault + L"DefNetDrive.txt", "/loc/a\n");
  platform.addFile(kFilms + L"DefNetDrive.txt", "/loc/precious\n");
  EXPECT_TRUE(LobbyUtils::createNewLocalProjectSpace(kFilms));
  EXPECT_EQ(platform.file(kFilms + L"DefNetDrive.txt")->bytes, "/loc/precious\n");
}

TEST_F(LocalSpaceTest, TheDefaultSpaceIsNotCopiedOntoItself) {
  platform.addFile(kDefault + L"DefNetDrive.txt", "/loc/a\n");
  EXPECT_TRUE(LobbyUtils::createNewLocalProjectSpace(kDefault));
  EXPECT_EQ(callsOfFiles(), (std::vector<String>{"createDirectory /home/ann/projects/P0001000",
                                                 "createDirectory /home/ann/projects/G0001000"}));
}

TEST_F(LocalSpaceTest, TheDefaultSpaceInAnotherSpellingIsASpaceLikeAnyOther) {
  platform.addFile(kDefault + L"DefNetDrive.txt", "/loc/a\n");
  EXPECT_TRUE(LobbyUtils::createNewLocalProjectSpace(L"/home/ann/projects"));
  EXPECT_EQ(callsOf({"copy"}),
            (std::vector<String>{"copy /home/ann/projects/DefNetDrive.txt "
                                 "/home/ann/projectsDefNetDrive.txt 0 0 0",
                                 "copy /home/ann/projects/UnmountedDrives.txt "
                                 "/home/ann/projectsUnmountedDrives.txt 0 0 0"}));
}

// Names are appended as they are.
TEST_F(LocalSpaceTest, ASpaceWithoutASeparatorHasItsListsBesideIt) {
  platform.addFile(kDefault + L"DefNetDrive.txt", "/loc/a\n");
  LobbyUtils::createNewLocalProjectSpace(L"/home/ann/Films");
  EXPECT_TRUE(platform.has(L"/home/ann/FilmsDefNetDrive.txt"));
}

TEST_F(LocalSpaceTest, ChangingToASpaceBringsItsDrives) {
  platform.addFolder(L"/loc/Rushes");
  platform.addFile(kFilms + L"DefNetDrive.txt", "/loc/Rushes\n");
  EXPECT_TRUE(LobbyUtils::changeLocalProjectSpace(kFilms));
  EXPECT_EQ(platform.localProjects, kFilms);
  EXPECT_EQ(platform.baseDirectory, kFilms);
  ASSERT_NE(DiskManager::get_drive(0), nullptr);
  EXPECT_EQ(DiskManager::get_drive(0)->name, L"Rushes");
}

// The lobby stays the current space; its own list is not read.
TEST_F(LocalSpaceTest, InALobbyTooTheDrivesAreThoseOfTheGivenFolder) {
  platform.addFolder(L"/loc/Rushes");
  platform.addFile(kFilms + L"DefNetDrive.txt", "/loc/Rushes\n");
  platform.addFolder(L"/loc/Shared");
  platform.addFile(L"/mnt/nas/Alpha/DefNetDrive.txt", "/loc/Shared\n");
  LobbyUtils::setCurrentNetworkLobby(L"Alpha");
  ASSERT_TRUE(LobbyUtils::setupQXProjDirectory());
  ASSERT_EQ(driveNames(), (std::vector<WString>{L"Shared"}));

  EXPECT_TRUE(LobbyUtils::changeLocalProjectSpace(kFilms));
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"Rushes"}));
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(platform.localProjects, kFilms);
  EXPECT_EQ(platform.baseDirectory, L"/mnt/nas/Alpha/");
}

TEST_F(LocalSpaceTest, TheSpaceIsSetUpBeforeItsDrivesAreMounted) {
  configureLobby("Alpha");
  EXPECT_TRUE(LobbyUtils::changeLocalProjectSpace(kFilms));
  EXPECT_EQ(
      callsOf({"set", "open", "FsysReInitialize"}),
      (std::vector<String>{"setLocalProjectsDir /home/ann/Films/", "open /mnt/nas/Alpha/ann.cli",
                           "setProjectsBaseDirectory /mnt/nas/Alpha",
                           "FsysReInitialize true"}));  // the mode that the login gave
}

TEST_F(LocalSpaceTest, ARefusedLoginDoesNotKeepTheSpaceFromBeingChanged) {
  platform.addFolder(L"/loc/Rushes");
  platform.addFile(kFilms + L"DefNetDrive.txt", "/loc/Rushes\n");
  configureLobby("Alpha");
  platform.heldElsewhere = {L"/mnt/nas/Alpha/ann.cli"};
  EXPECT_TRUE(LobbyUtils::changeLocalProjectSpace(kFilms));
  EXPECT_FALSE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(platform.baseDirectory, kFilms);
  EXPECT_EQ(driveNames(), (std::vector<WString>{L"Rushes"}));
}

TEST_F(LocalSpaceTest, AMissingSpaceChangesNothing) {
  EXPECT_FALSE(LobbyUtils::changeLocalProjectSpace(L"/home/ann/Gone/"));
  EXPECT_EQ(platform.localProjects, kDefault);
  EXPECT_EQ(platform.baseDirectory, kDefault);
  EXPECT_EQ(platform.calls, std::vector<String>());
}

TEST_F(LocalSpaceTest, SetUpWithoutALobbyWorksLocally) {
  platform.localProjects = kFilms;
  EXPECT_TRUE(LobbyUtils::setupQXProjDirectory());
  EXPECT_EQ(platform.baseDirectory, kFilms);
  EXPECT_EQ(platform.opened, std::vector<FakePlatform::Open>());
}

TEST_F(LocalSpaceTest, AnUnusableLocalFolderGivesWayToTheDefault) {
  platform.localProjects = L"/home/ann/Gone/";
  platform.baseDirectory = L"/mnt/nas/Beta/";
  EXPECT_TRUE(LobbyUtils::setupQXProjDirectory());
  EXPECT_EQ(platform.baseDirectory, kDefault);
}

TEST_F(LocalSpaceTest, SetUpWithALobbyLogsInThere) {
  configureLobby("Alpha");
  EXPECT_TRUE(LobbyUtils::setupQXProjDirectory());
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(platform.baseDirectory, L"/mnt/nas/Alpha/");
  // The platform adds the separator.
  EXPECT_EQ(callsOf({"setProjectsBaseDirectory"}),
            (std::vector<String>{"setProjectsBaseDirectory /mnt/nas/Alpha"}));
  EXPECT_TRUE(platform.has(L"/mnt/nas/Alpha/ann.cli"));
}

// The second login deletes the file of the first, which is its own.
TEST_F(LocalSpaceTest, SetUpTwiceInOneLobbyLeavesNoLoginFile) {
  configureLobby("Alpha");
  LobbyUtils::setupQXProjDirectory();
  EXPECT_TRUE(LobbyUtils::setupQXProjDirectory());
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_FALSE(platform.has(L"/mnt/nas/Alpha/ann.cli"));
}

TEST_F(LocalSpaceTest, ARefusedLoginFallsBackToTheLocalFolder) {
  configureLobby("Alpha");
  platform.heldElsewhere = {L"/mnt/nas/Alpha/ann.cli"};
  platform.localProjects = kFilms;
  platform.baseDirectory = L"/mnt/nas/Beta/";
  LobbyUtils::networkMode_ = true;
  EXPECT_FALSE(LobbyUtils::setupQXProjDirectory());
  EXPECT_FALSE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(platform.baseDirectory, kFilms);
  EXPECT_EQ((platform.settings[{"Configuration", "network lobby name"}]), "Alpha");

  platform.localProjects = L"/home/ann/Gone/";
  EXPECT_FALSE(LobbyUtils::setupQXProjDirectory());
  EXPECT_EQ(platform.baseDirectory, kDefault);

  platform.heldElsewhere = {};
  EXPECT_TRUE(LobbyUtils::setupQXProjDirectory());  // the same lobby is tried again
  EXPECT_EQ(platform.baseDirectory, L"/mnt/nas/Alpha/");
}

TEST_F(LocalSpaceTest, AfterLeavingALobbySetUpLogsOut) {
  configureLobby("Alpha");
  LobbyUtils::setupQXProjDirectory();
  configureLobby("");
  EXPECT_TRUE(LobbyUtils::setupQXProjDirectory());
  EXPECT_FALSE(platform.has(L"/mnt/nas/Alpha/ann.cli"));
  EXPECT_EQ(platform.baseDirectory, kDefault);
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());  // left as it is
}

TEST_F(LocalSpaceTest, InTheLocalSpaceAlreadySetUpDoesNotLogOut) {
  NetLogin(L"/mnt/nas/Alpha");
  LobbyUtils::setupQXProjDirectory();
  EXPECT_TRUE(platform.has(L"/mnt/nas/Alpha/ann.cli"));
}
