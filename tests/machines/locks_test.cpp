// Projects and rooms that several machines want.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/machines/machines_test.h"

namespace {

using test::Machine;
using test::Storage;

class LocksTest : public test::MachinesTest {
 protected:
  LocksTest() {
    makeLobby("Alpha");
    bothEnter("Alpha");
  }
};

ON_LOCAL_AND_REMOTE_STORAGE(LocksTest);

}  // namespace

TEST_P(LocksTest, ProjectThatIsLockedElsewhereIsRefusedWithItsOwnersName) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ben.ask("project-occupied P0001000"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ann");

  EXPECT_EQ(ann.ask("unlock-project"), "yes");
  EXPECT_EQ(ben.ask("project-occupied P0001000"), "no");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ann.ask("project-owner P0001000"), "ben");
}

TEST_P(LocksTest, RefusedMachineTakesNothingFromTheHolder) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ben.ask("unlock-project"), "no");
  EXPECT_EQ(state("Alpha/P0001000/Lock"), "held");
  EXPECT_EQ(share.read("Alpha/P0001000/Lock.inf"), "ann");
}

TEST_P(LocksTest, KilledHolderBlocksNobody) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  ann.crash();
  // What it left is there, names it, and holds nothing.
  EXPECT_EQ(ben.ask("project-occupied P0001000"), "yes");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ann");
  EXPECT_EQ(state("Alpha/P0001000/Lock"), "free");
  EXPECT_EQ(ben.ask("room-occupied Edit 1"), "yes");
  EXPECT_EQ(state("Alpha/Edit 1.lck"), "free");

  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ben");
  EXPECT_EQ(ben.ask("room Edit 1"), "yes");
  EXPECT_EQ(ben.ask("room-owner Edit 1"), "ben");
}

TEST_P(LocksTest, MachineThatComesBackMustAskForItsLocksAgain) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ann.crash();
  ann.restart();
  ASSERT_EQ(ann.ask("setup"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ann.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ann.ask("unlock-project"), "no");
  EXPECT_EQ(ann.ask("project-owner P0001000"), "ben");
}

TEST_P(LocksTest, StoppedHolderStillHolds) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  ann.stop();
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ben.ask("room Edit 1"), "no");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ann");

  ann.resume();
  EXPECT_EQ(ann.ask("unlock-project"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
}

TEST_P(LocksTest, StoppedHolderThatIsKilledBlocksNobody) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ann.stop();
  ann.crash();
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
}

TEST_P(LocksTest, UserIsRefusedWhatTheSameUserHoldsOnAnotherMachine) {
  Machine second(share, "ann");
  ASSERT_EQ(second.ask("enter Alpha"), "yes");
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(second.ask("lock-project P0001000"), "no");
  EXPECT_EQ(second.ask("project-owner P0001000"), "ann");
  EXPECT_EQ(second.ask("unlock-project"), "no");
  EXPECT_EQ(state("Alpha/P0001000/Lock"), "held");
}

TEST_P(LocksTest, LockIsHeldBeforeItNamesItsHolder) {
  ASSERT_EQ(ann.ask("freeze-before write Lock.inf"), "yes");
  ann.tell("lock-project P0001000");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "");

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ann");
}

TEST_P(LocksTest, NameIsGoneBeforeTheLockIsFree) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ASSERT_EQ(ann.ask("freeze-before unlink P0001000/Lock"), "yes");
  ann.tell("unlock-project");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("project-owner P0001000"), "");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(state("Alpha/P0001000/Lock"), "held");

  ann.crash();
  EXPECT_EQ(state("Alpha/P0001000/Lock"), "free");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ben");
}

// The first lock is out of reach once a second one is taken.
TEST_P(LocksTest, FirstOfTwoProjectsStaysLockedUntilTheProcessEnds) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ASSERT_EQ(ann.ask("lock-project P0001001"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ben.ask("lock-project P0001001"), "no");

  EXPECT_EQ(ann.ask("unlock-project"), "yes");
  EXPECT_EQ(ann.ask("unlock-project"), "no");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ben.ask("project-owner P0001000"), "ann");
  EXPECT_EQ(ben.ask("lock-project P0001001"), "yes");

  ann.crash();
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
}

// The lock that is refused takes the place of the one that was held.
TEST_P(LocksTest, HolderThatIsRefusedASecondProjectCannotUnlockTheFirst) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  ASSERT_EQ(ben.ask("lock-project P0001001"), "yes");
  EXPECT_EQ(ann.ask("lock-project P0001001"), "no");
  EXPECT_EQ(ann.ask("unlock-project"), "no");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
}

TEST_P(LocksTest, LocksOutliveTheLeavingOfTheLobby) {
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "no");
  EXPECT_EQ(ann.ask("unlock-project"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001000"), "yes");
}

TEST_P(LocksTest, RoomsOfDifferentNamesAndProjectsKeepOutOfEachOthersWay) {
  EXPECT_EQ(ann.ask("room Edit 1"), "yes");
  EXPECT_EQ(ben.ask("room Edit 2"), "yes");
  EXPECT_EQ(ann.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ben.ask("lock-project P0001001"), "yes");
}

TEST_P(LocksTest, MachineThatIsRefusedARoomKeepsItsOwn) {
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  ASSERT_EQ(ben.ask("room Edit 2"), "yes");
  EXPECT_EQ(ann.ask("room Edit 2"), "no");
  EXPECT_EQ(ben.ask("room Edit 1"), "no");
  EXPECT_EQ(ben.ask("room-owner Edit 1"), "ann");
  EXPECT_EQ(ann.ask("room-owner Edit 2"), "ben");
}

TEST_P(LocksTest, OldRoomIsFreeOnlyAfterTheNewOneIsTaken) {
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  ASSERT_EQ(ann.ask("freeze-before unlink Edit 1.lck"), "yes");
  ann.tell("room Edit 2");
  ann.awaitStop();
  EXPECT_EQ(state("Alpha/Edit 2.lck"), "held");
  EXPECT_EQ(ben.ask("room Edit 1"), "no");

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(ben.ask("room Edit 1"), "yes");
  EXPECT_EQ(ben.ask("room-owner Edit 1"), "ben");
  EXPECT_EQ(ben.ask("room-owner Edit 2"), "ann");
}

TEST_P(LocksTest, MachineThatDiesWhileItChangesRoomsBlocksNeither) {
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  ASSERT_EQ(ann.ask("freeze-before unlink Edit 1.lck"), "yes");
  ann.tell("room Edit 2");
  ann.awaitStop();
  ann.crash();
  EXPECT_EQ(ben.ask("room Edit 1"), "yes");
  EXPECT_EQ(ben.ask("room Edit 2"), "yes");
}

TEST_P(LocksTest, RoomThatIsLeftIsFreeForOthers) {
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  EXPECT_EQ(ann.ask("leave-room"), "yes");
  EXPECT_EQ(ben.ask("room-occupied Edit 1"), "no");
  EXPECT_EQ(ben.ask("room Edit 1"), "yes");
}

TEST_P(LocksTest, RoomThatIsOnlyLockedNamesNobody) {
  EXPECT_EQ(ann.ask("room-lock Edit 1"), "yes");
  EXPECT_EQ(ben.ask("room-lock Edit 1"), "no");
  EXPECT_EQ(ben.ask("room-owner Edit 1"), "");
  EXPECT_EQ(ann.ask("room-unlock"), "yes");
  EXPECT_EQ(ben.ask("room-lock Edit 1"), "yes");
}

TEST_P(LocksTest, TheSpecialRoomIsForEverybody) {
  EXPECT_EQ(ann.ask("room-lock cardvt.room"), "yes");
  EXPECT_EQ(ben.ask("room-lock CARDVT.Room"), "yes");
  EXPECT_EQ(ben.ask("room-occupied CARDVT.Room"), "no");
}

TEST_P(LocksTest, WithOthersInTheLobbyNoRoomIsTrashable) {
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  ASSERT_EQ(ben.ask("leave-room"), "yes");
  EXPECT_EQ(ann.ask("trashable Edit 2"), "no: Other users are in this lobby (ben)");
  ASSERT_EQ(ben.ask("room Edit 3"), "yes");
  EXPECT_EQ(ann.ask("trashable Edit 2"), "no: Other users are in this lobby ()");
  ASSERT_EQ(ben.ask("leave"), "yes");
  EXPECT_EQ(ann.ask("trashable Edit 2"), "yes");
}

// Outside the rooms the others are not asked for; the lock is.  Its owner is looked for under
// "Edit 1.lck.lck.inf".
TEST_P(LocksTest, RoomThatAnotherMachineHoldsIsNotTrashable) {
  ASSERT_EQ(ann.ask("room Edit 1"), "yes");
  EXPECT_EQ(ben.ask("trashable Edit 1"), "no: This room is in use by ");
  EXPECT_EQ(ben.ask("trashable Edit 2"), "yes");
  EXPECT_EQ(ben.ask("room-owner Edit 1"), "ann");  // asking has taken nothing from her

  ann.crash();
  EXPECT_EQ(ben.ask("trashable Edit 1"), "yes");
  EXPECT_FALSE(share.has("Alpha/Edit 1.lck"));
}

TEST_P(LocksTest, OfTwoMachinesThatLockAProjectAtOnceOneSucceeds) {
  for (int round = 0; round < 50; ++round) {
    ann.tell("lock-project P0001000");
    ben.tell("lock-project P0001000");
    const std::string first = ann.answer(), second = ben.answer();
    ASSERT_NE(first, second) << "round " << round;
    Machine& winner = first == "yes" ? ann : ben;
    Machine& loser = first == "yes" ? ben : ann;
    ASSERT_EQ(loser.ask("project-owner P0001000"), first == "yes" ? "ann" : "ben");
    ASSERT_EQ(winner.ask("unlock-project"), "yes");
  }
}

TEST_P(LocksTest, FileThatIsNeverDeletedIsUsedOnRemoteStorageOnly) {
  const bool remote = GetParam() == Storage::kDeclaredRemote;
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(share.has("Alpha/P0001000/.lockspace"), remote);
  EXPECT_EQ(share.has("Alpha/.lockspace"), remote);  // the logins
  EXPECT_EQ(ann.ask("unlock-project"), "yes");
  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(share.has("Alpha/P0001000/.lockspace"), remote);
  EXPECT_EQ(share.has("Alpha/.lockspace"), remote);
}

// The machine that serves the storage to the others has the folder itself, and asks whether they
// have been there before it opens the lock.
TEST_P(LocksTest, MachineWithTheFolderItselfSeesTheFirstOtherOneAlsoWhenItCameMeanwhile) {
  Machine server(share, "sue", Storage::kLocal), client(share, "cat", Storage::kDeclaredRemote);
  ASSERT_EQ(server.ask("enter Alpha"), "yes");
  ASSERT_EQ(client.ask("enter Alpha"), "yes");
  ASSERT_EQ(server.ask("freeze-before open P0001000/Lock"), "yes");
  server.tell("lock-project P0001000");
  server.awaitStop();

  ASSERT_EQ(client.ask("lock-project P0001000"), "yes");
  ASSERT_EQ(client.ask("freeze-before unlink P0001000/Lock"), "yes");
  client.tell("unlock-project");
  client.awaitStop();
  server.resume();
  EXPECT_EQ(server.answer(), "no");

  client.resume();
  EXPECT_EQ(client.answer(), "yes");
  EXPECT_EQ(server.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(client.ask("lock-project P0001000"), "no");
}

// Its machine has let go of the lock, and comes too late to remove it.
TEST_P(LocksTest, FormerHolderIsNotTakenForOneThatHasNotNamedItselfYet) {
  Machine cat(share, "cat");
  ASSERT_EQ(cat.ask("enter Alpha"), "yes");
  ASSERT_EQ(ann.ask("lock-project P0001000"), "yes");
  const bool remote = GetParam() == Storage::kDeclaredRemote;
  ASSERT_EQ(ann.ask(std::string("freeze-before open P0001000/") + (remote ? ".lockspace" : "Lock")),
            "yes");
  ann.tell("unlock-project");
  ann.awaitStop();
  ASSERT_EQ(ben.ask("freeze-before open P0001000/Lock.inf"), "yes");
  ben.tell("lock-project P0001000");
  ben.awaitStop();
  EXPECT_EQ(cat.ask("lock-project P0001000"), "no");
  EXPECT_EQ(cat.ask("project-owner P0001000"), "");

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  ben.crash();
  EXPECT_FALSE(share.has("Alpha/P0001000/Lock.inf"));
  EXPECT_EQ(cat.ask("lock-project P0001000"), "yes");
  EXPECT_EQ(ann.ask("project-owner P0001000"), "cat");
}

TEST_P(LocksTest, LockWhoseFolderVanishesIsMissingAndNotHeld) {
  ASSERT_EQ(ann.ask("freeze-before open P0001000/Lock"), "yes");
  ann.tell("lock-project P0001000");
  ann.awaitStop();
  std::filesystem::remove_all(share.path("Alpha/P0001000"));
  ann.resume();
  EXPECT_EQ(ann.answer(), "no");
  EXPECT_EQ(ann.ask("why-not-opened"),
            share.path("Alpha/P0001000/Lock") + ": No such file or directory");
}
