#include <gtest/gtest.h>

#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/project_share.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct OccupancyTest : testing::Test {
  OccupancyTest() {
    platform.baseDirectory = L"/share/Alpha/";
    platform.addFolder(L"/share/Alpha");
  }

  ~OccupancyTest() override { platform.atCall = nullptr; }

  // A user's login file; marked ones are outside any room.
  void login(const WString& user, bool marked = true) {
    platform.addFile(L"/share/Alpha/" + user + L".cli");
    platform.nodes[L"/share/Alpha/" + user + L".cli"].marked = marked;
  }

  bool isMarked(const WString& user) {
    return platform.nodes[L"/share/Alpha/" + user + L".cli"].marked;
  }

  FakePlatform& platform = fakePlatform();
  char out[1024] = "before";
  const WString room = L"/share/Alpha/Edit 1";
  const WString second = L"/share/Alpha/Edit 2";
};

}  // namespace

TEST_F(OccupancyTest, TheTwoQuestionsHaveOppositeSenses) {
  EXPECT_TRUE(ProjectShare::otherUsersInLobby(L"Alpha", nullptr));  // nobody: alone
  EXPECT_FALSE(ProjectShare::anyOtherNetUsers(nullptr));
  login(L"ann");
  EXPECT_TRUE(ProjectShare::otherUsersInLobby(L"Alpha", nullptr));
  EXPECT_FALSE(ProjectShare::anyOtherNetUsers(nullptr));
  login(L"ben");
  EXPECT_FALSE(ProjectShare::otherUsersInLobby(L"Alpha", nullptr));
  EXPECT_TRUE(ProjectShare::anyOtherNetUsers(nullptr));
}

TEST_F(OccupancyTest, BothQuestionsListTheLoginsInOneWay) {
  ProjectShare::otherUsersInLobby(L"Alpha", out);
  ProjectShare::anyOtherNetUsers(out);
  EXPECT_EQ(platform.calls,
            (std::vector<String>{"list /share/Alpha/*.cli 1 0", "list /share/Alpha/*.cli 1 0"}));
}

TEST_F(OccupancyTest, AListingThatFailsIsNobody) {
  login(L"ben");
  login(L"cat");
  platform.failNextCall();
  EXPECT_TRUE(ProjectShare::otherUsersInLobby(L"Alpha", out));
  EXPECT_STREQ(out, "");
  platform.failNextCall();
  EXPECT_FALSE(ProjectShare::anyOtherNetUsers(out));
}

TEST_F(OccupancyTest, UnmarkedLoginsCountToo) {
  login(L"ann", false);
  login(L"ben", false);
  EXPECT_FALSE(ProjectShare::otherUsersInLobby(L"Alpha", out));
  EXPECT_STREQ(out, "");
}

TEST_F(OccupancyTest, OneLoginFileIsAloneWhoeverItIs) {
  login(L"ben");
  EXPECT_TRUE(ProjectShare::otherUsersInLobby(L"Alpha", out));
  EXPECT_STREQ(out, "ben");
}

TEST_F(OccupancyTest, WithoutALobbyThereIsNobody) {
  login(L"ann");
  login(L"ben");
  EXPECT_TRUE(ProjectShare::otherUsersInLobby(L"", out));
  EXPECT_STREQ(out, "");
}

// The base directory is looked at, whatever lobby is named.
TEST_F(OccupancyTest, TheNamedLobbyIsNotWhereTheLoginsAre) {
  platform.addFile(L"/share/Beta/ben.cli");
  platform.addFile(L"/share/Beta/cat.cli");
  EXPECT_TRUE(ProjectShare::otherUsersInLobby(L"/share/Beta/", nullptr));
  login(L"ann");
  login(L"dan");
  EXPECT_FALSE(ProjectShare::otherUsersInLobby(L"/share/Beta/", nullptr));
}

TEST_F(OccupancyTest, TheFirstMarkedUserIsNamed) {
  login(L"cat");
  login(L"ben", false);
  login(L"dan");
  ProjectShare::otherUsersInLobby(L"Alpha", out);
  EXPECT_STREQ(out, "cat");
}

// The name of a file has its ending, which no user's name begins with.
TEST_F(OccupancyTest, OnesOwnFileIsNamedLikeAnyOther) {
  login(L"ann");
  login(L"ben");
  ProjectShare::otherUsersInLobby(L"Alpha", out);
  EXPECT_STREQ(out, "ann");
}

TEST_F(OccupancyTest, AUserWhoseNameBeginsWithAFilesNameIsPassedOver) {
  platform.userName = L"ann.cli";
  login(L"ann");
  login(L"ben");
  ProjectShare::otherUsersInLobby(L"Alpha", out);
  EXPECT_STREQ(out, "ben");

  platform.userName = L"ANN.cli";  // letter case counts
  ProjectShare::otherUsersInLobby(L"Alpha", out);
  EXPECT_STREQ(out, "ann");
}

// The other question names the last file that the user's name begins with, in any letter case.
TEST_F(OccupancyTest, TheOtherQuestionNamesTheLastMatch) {
  login(L"a", false);
  login(L"a.cliff", false);
  login(L"ben");
  platform.userName = L"A.cliff.cli";
  EXPECT_TRUE(ProjectShare::anyOtherNetUsers(out));
  EXPECT_STREQ(out, "a.cliff");
}

TEST_F(OccupancyTest, TheOtherQuestionLeavesTheTextAsItWasWithoutAMatch) {
  login(L"ann");
  login(L"ben");
  ProjectShare::anyOtherNetUsers(out);
  EXPECT_STREQ(out, "before");
}

TEST_F(OccupancyTest, NamesAreUtf8) {
  login(L"J\u00F6rg");
  ProjectShare::otherUsersInLobby(L"Alpha", out);
  EXPECT_STREQ(out, "J\u00F6rg");
}

TEST_F(OccupancyTest, AFreeRoomIsTrashableAndKeepsNoLockFile) {
  WString reason = L"before";
  EXPECT_TRUE(ProjectShare::roomIsTrashable(room, reason));
  EXPECT_EQ(reason, L"before");
  EXPECT_FALSE(platform.has(room + L".lck"));
}

TEST_F(OccupancyTest, OutsideAnyRoomTheOthersAreNotAskedFor) {
  login(L"ann");
  login(L"ben");
  WString reason;
  EXPECT_TRUE(ProjectShare::roomIsTrashable(room, reason));
}

TEST_F(OccupancyTest, WithOthersInTheLobbyNoRoomIsTrashable) {
  LobbyUtils::setRoomFileName(room);
  login(L"ben");
  login(L"cat");
  WString reason;
  EXPECT_FALSE(ProjectShare::roomIsTrashable(L"/share/Alpha/CARDVT.Room", reason));
  EXPECT_EQ(reason, L"Other users are in this lobby (ben)");
  EXPECT_EQ(platform.opened, std::vector<FakePlatform::Open>());
}

TEST_F(OccupancyTest, TheSpecialRoomIsTrashableWithoutALockWhenNobodyElseIsThere) {
  WString reason;
  EXPECT_TRUE(ProjectShare::roomIsTrashable(L"/share/Alpha/cardvt.ROOM", reason));
  EXPECT_EQ(platform.opened, std::vector<FakePlatform::Open>());
}

// The owner is looked for behind a doubled ".lck", where nobody writes one.
TEST_F(OccupancyTest, ARoomInUseIsNotTrashableAndItsHolderIsNotNamed) {
  platform.addFile(room + L".lck");
  platform.addFile(room + L".lck.inf", "ben");
  platform.heldElsewhere = {room + L".lck"};
  WString reason;
  EXPECT_FALSE(ProjectShare::roomIsTrashable(room, reason));
  EXPECT_EQ(reason, L"This room is in use by ");
  EXPECT_EQ(platform.removed, std::vector<WString>());

  platform.addFile(room + L".lck.lck.inf", "cat");
  EXPECT_FALSE(ProjectShare::roomIsTrashable(room, reason));
  EXPECT_EQ(reason, L"This room is in use by cat");
}

TEST_F(OccupancyTest, EnteringARoomLocksItAndNamesTheUser) {
  EXPECT_TRUE(ProjectShare::indicateRoomChange(room, cookie()));
  EXPECT_TRUE(ProjectShare::isRoomOccupied(room));
  EXPECT_EQ(ProjectShare::getLockOwner(room), L"ann");
  ProjectShare::unlockCurrentRoom();
  EXPECT_FALSE(ProjectShare::isRoomOccupied(room));
}

TEST_F(OccupancyTest, TheOldRoomIsLetGoAfterTheNewOneIsTaken) {
  ProjectShare::indicateRoomChange(room, cookie());
  platform.calls.clear();
  EXPECT_TRUE(ProjectShare::indicateRoomChange(second, cookie()));
  EXPECT_EQ(platform.calls,
            (std::vector<String>{
                "mark  1", "open /share/Alpha/Edit 2.lck", "release /share/Alpha/Edit 2.lck",
                "open /share/Alpha/Edit 2.lck", "release /share/Alpha/Edit 1.lck",
                "remove /share/Alpha/Edit 1.lck", "remove /share/Alpha/Edit 1.lck.inf",
                "open /share/Alpha/Edit 2.lck.inf", "write /share/Alpha/Edit 2.lck.inf",
                "release /share/Alpha/Edit 2.lck.inf"}));
  EXPECT_EQ(ProjectShare::getLockOwner(second), L"ann");
  EXPECT_FALSE(ProjectShare::isRoomOccupied(room));
}

TEST_F(OccupancyTest, ARefusedRoomLeavesTheUserInTheOldOne) {
  ProjectShare::indicateRoomChange(room, cookie());
  platform.addFile(second + L".lck");
  platform.addFile(second + L".lck.inf", "ben");
  platform.heldElsewhere = {second + L".lck"};
  EXPECT_FALSE(ProjectShare::indicateRoomChange(second, cookie()));
  EXPECT_EQ(ProjectShare::getLockOwner(room), L"ann");
  EXPECT_EQ(ProjectShare::getLockOwner(second), L"ben");
  EXPECT_EQ(platform.locks[room + L".lck"], -1);
}

TEST_F(OccupancyTest, LeavingRoomsMarksOnesOwnLoginAndEnteringUnmarksIt) {
  login(L"ann", false);
  ProjectShare::indicateRoomChange(room, cookie());
  EXPECT_TRUE(ProjectShare::indicateRoomChange(L"", cookie()));
  EXPECT_FALSE(ProjectShare::isRoomOccupied(room));
  EXPECT_EQ(LobbyUtils::getPreviousRoomName(), L"ann.cli");
  EXPECT_TRUE(isMarked(L"ann"));

  EXPECT_TRUE(ProjectShare::indicateRoomChange(room, cookie()));
  EXPECT_FALSE(isMarked(L"ann"));
}

TEST_F(OccupancyTest, LeavingLetsTheRoomGoThenMarksThenRemembersTheLogin) {
  login(L"ann", false);
  ProjectShare::indicateRoomChange(room, cookie());
  LobbyUtils::setPreviousRoomName(L"before");
  platform.calls.clear();
  WString previousAtTheMark;
  platform.atCall = [&](const String& call) {
    if (call.starts_with("mark")) previousAtTheMark = LobbyUtils::getPreviousRoomName();
  };
  ProjectShare::indicateRoomChange(L"", cookie());
  EXPECT_EQ(platform.calls, (std::vector<String>{
                                "release /share/Alpha/Edit 1.lck", "remove /share/Alpha/Edit 1.lck",
                                "remove /share/Alpha/Edit 1.lck.inf", "mark ann.cli 2"}));
  EXPECT_EQ(previousAtTheMark, L"before");
  EXPECT_EQ(LobbyUtils::getPreviousRoomName(), L"ann.cli");
}

TEST_F(OccupancyTest, ARefusedUserLosesTheMark) {
  login(L"ann");
  ProjectShare::indicateRoomChange(L"", cookie());
  platform.heldElsewhere = {room + L".lck"};
  EXPECT_FALSE(ProjectShare::indicateRoomChange(room, cookie()));
  EXPECT_FALSE(isMarked(L"ann"));
}

TEST_F(OccupancyTest, EnteringTheSpecialRoomLocksItLikeAnyOther) {
  EXPECT_TRUE(ProjectShare::indicateRoomChange(L"/share/Alpha/CARDVT.Room", cookie()));
  EXPECT_TRUE(platform.has(L"/share/Alpha/CARDVT.Room.lck"));
}

TEST_F(OccupancyTest, AMarkThatFailsDoesNotKeepAnybodyOut) {
  EXPECT_TRUE(ProjectShare::indicateRoomChange(L"", cookie()));  // no login file to mark
  EXPECT_TRUE(ProjectShare::indicateRoomChange(room, cookie()));
  EXPECT_EQ(ProjectShare::getLockOwner(room), L"ann");
}
