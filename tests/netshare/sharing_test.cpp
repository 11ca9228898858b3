// What a machine leaves on shared storage, on every platform.
#include <gtest/gtest.h>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/netshare/net_login.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/platform/ground.h"

namespace {

WString inGround(const WString& rest) { return ground::folder() + rest; }

class SharingTest : public testing::Test {
 protected:
  SharingTest() {
    UserConfig().setValue(LobbyUtils::NetProjRootRegKey, Qx::UTF8FromWString(inGround(L"share")),
                          "Configuration");
    ground::makeFolder(inGround(L"share"));
    ground::makeFolder(getLocalProjectsDir());
  }

  static WString inLobby(const WString& rest) { return inGround(L"share/Alpha/") + rest; }

  // In the lobby Alpha, logged in.
  static void enterLobby() {
    ASSERT_TRUE(LobbyUtils::createNewLobby(L"Alpha"));
    LobbyUtils::setCurrentNetworkLobby(L"Alpha");
    ASSERT_TRUE(LobbyUtils::setupQXProjDirectory());
  }

  static void leaveLobby() {
    LobbyUtils::switchFromNetworkToLocal();
    ASSERT_TRUE(LobbyUtils::setupQXProjDirectory());
  }

  static WString ownLogin() { return inLobby(ProjectShare::getUserName() + L".cli"); }
};

}  // namespace

TEST_F(SharingTest, ALobbyIsMadeEnteredLeftAndDeleted) {
  enterLobby();
  EXPECT_EQ(ground::readFile(inLobby(L"DefNetDrive.txt")), Qx::UTF8FromWString(inLobby(L"Media")));
  EXPECT_EQ(ground::readFile(ownLogin()), "");
  EXPECT_EQ(getProjectsBaseDirectory(), inLobby(L""));
  ASSERT_NE(DiskManager::getDriveWithName(L"Media"), nullptr);
  EXPECT_FALSE(LobbyUtils::createNewLobby(L"Alpha"));

  leaveLobby();
  EXPECT_EQ(ground::readFile(ownLogin()), std::nullopt);
  EXPECT_EQ(getProjectsBaseDirectory(), getLocalProjectsDir());
  EXPECT_EQ(DiskManager::getDriveWithName(L"Media"), nullptr);

  Vector<WString> lobbies;
  LobbyUtils::getAvailableNetworkLobbies(lobbies);
  ASSERT_EQ(lobbies.size(), 1u);
  EXPECT_EQ(lobbies[0], L"Alpha");
  EXPECT_TRUE(LobbyUtils::deleteLobby(L"Alpha"));
  EXPECT_FALSE(fileExists(inGround(L"share/Alpha")));
  EXPECT_FALSE(LobbyUtils::deleteLobby(L"Alpha"));
}

TEST_F(SharingTest, ALobbyThatIsGoneRefusesTheLogin) {
  LobbyUtils::setCurrentNetworkLobby(L"Gone");
  EXPECT_FALSE(LobbyUtils::setupQXProjDirectory());
  EXPECT_FALSE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_EQ(getProjectsBaseDirectory(), getLocalProjectsDir());
  EXPECT_EQ(LobbyUtils::getCurrentNetworkLobbyName(), L"Gone");
}

TEST_F(SharingTest, TwoLoginsInOneFolderLeaveNoFile) {
  ground::makeFolder(inGround(L"share/Alpha"));
  EXPECT_TRUE(NetLogin(inGround(L"share/Alpha")));
  EXPECT_TRUE(NetLogin(inGround(L"share/Alpha")));
  EXPECT_EQ(ground::readFile(ownLogin()), std::nullopt);
}

TEST_F(SharingTest, ALoginElsewhereTakesTheFirstFileAway) {
  ground::makeFolder(inGround(L"share/Alpha"));
  ground::makeFolder(inGround(L"share/Beta"));
  EXPECT_TRUE(NetLogin(inGround(L"share/Alpha")));
  EXPECT_TRUE(NetLogin(inGround(L"share/Beta")));
  EXPECT_EQ(ground::readFile(ownLogin()), std::nullopt);
  const WString beta = inGround(L"share/Beta/") + ProjectShare::getUserName() + L".cli";
  EXPECT_EQ(ground::readFile(beta), "");
  NetLogout();
  EXPECT_EQ(ground::readFile(beta), std::nullopt);
}

TEST_F(SharingTest, ProjectAndRoomNameTheirHolder) {
  enterLobby();
  const cookie project = *cookie::fromWString(L"P0001000");
  EXPECT_FALSE(ProjectShare::lockProject(project));  // it has no folder yet
  ground::makeFolder(inLobby(L"P0001000"));
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_EQ(ground::readFile(inLobby(L"P0001000/Lock.inf")),
            Qx::UTF8FromWString(ProjectShare::getUserName()));
  EXPECT_TRUE(ProjectShare::indicateRoomChange(inLobby(L"Edit 1"), project));
  EXPECT_EQ(ProjectShare::getLockOwner(inLobby(L"Edit 1")), ProjectShare::getUserName());

  EXPECT_TRUE(ProjectShare::indicateRoomChange(L"", project));
  EXPECT_TRUE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_FALSE(ProjectShare::isRoomOccupied(inLobby(L"Edit 1")));
  EXPECT_FALSE(ProjectShare::isProjectOccupied(project));
  EXPECT_EQ(ground::readFile(inLobby(L"P0001000/Lock.inf")), std::nullopt);
}

// The second lock is refused as if another machine held the first, which stays held, out of reach.
TEST_F(SharingTest, AProjectLockedTwiceIsRefusedAndStaysLocked) {
  enterLobby();
  ground::makeFolder(inLobby(L"P0001000"));
  const cookie project = *cookie::fromWString(L"P0001000");
  EXPECT_TRUE(ProjectShare::lockProject(project));
  EXPECT_FALSE(ProjectShare::lockProject(project));
  EXPECT_FALSE(ProjectShare::lockProject(project));

  EXPECT_FALSE(ProjectShare::unlockCurrentlyLockedProject());
  EXPECT_TRUE(ProjectShare::isProjectOccupied(project));
  EXPECT_EQ(ProjectShare::getLockOwner(project), ProjectShare::getUserName());
  NetLock again(ProjectShare::getProjectLockFile(project));
  EXPECT_FALSE(again.Lock());
}

TEST_F(SharingTest, LeavingRoomsMarksTheLoginAndEnteringTakesTheMarkAway) {
  enterLobby();
  const auto ownMark = [] {
    Vector<iFileManager::DirectoryItem> items;
    OS()->fileManager().list(inLobby(L"*.cli"), items, 1, 0);
    return items.size() == 1 ? items[0].attributes & 2u : 99u;
  };
  EXPECT_EQ(ownMark(), 0u);
  ProjectShare::indicateRoomChange(L"", cookie());
  EXPECT_EQ(ownMark(), 2u);
  ProjectShare::indicateRoomChange(inLobby(L"Edit 1"), cookie());
  EXPECT_EQ(ownMark(), 0u);
  ProjectShare::unlockCurrentRoom();
}

TEST_F(SharingTest, OthersKeepARoomFromBeingTrashed) {
  enterLobby();
  LobbyUtils::setRoomFileName(inLobby(L"Edit 1"));
  WString reason;
  EXPECT_TRUE(ProjectShare::roomIsTrashable(inLobby(L"Edit 2"), reason));
  EXPECT_FALSE(fileExists(inLobby(L"Edit 2.lck")));

  ground::writeFile(inLobby(L"0ben.cli"), "");
  OS()->fileManager().mark(inLobby(L"0ben.cli"), 2);
  EXPECT_FALSE(ProjectShare::roomIsTrashable(inLobby(L"Edit 2"), reason));
  EXPECT_EQ(reason, L"Other users are in this lobby (0ben)");
  LobbyUtils::setRoomFileName(L"");
}

TEST_F(SharingTest, ALocalSpaceGetsItsFoldersAndLists) {
  ground::makeFolder(inGround(L"films"));
  ground::makeFolder(getDefaultLocalProjectsDir());
  ground::writeFile(getDefaultLocalProjectsDir() + L"UnmountedDrives.txt", "/gone/\n");
  EXPECT_TRUE(LobbyUtils::createNewLocalProjectSpace(inGround(L"films/")));
  EXPECT_TRUE(fileExists(inGround(L"films/P0001000")));
  EXPECT_TRUE(fileExists(inGround(L"films/G0001000")));
  EXPECT_EQ(ground::readFile(inGround(L"films/UnmountedDrives.txt")), "/gone/\n");
  EXPECT_TRUE(LobbyUtils::changeLocalProjectSpace(inGround(L"films/")));
  EXPECT_EQ(getLocalProjectsDir(), inGround(L"films/"));
  EXPECT_EQ(getProjectsBaseDirectory(), inGround(L"films/"));
}
