// Who sees whom in a lobby, on several machines.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/machines/machines_test.h"

namespace {

namespace fs = std::filesystem;
using test::Machine;

class LoginsTest : public test::MachinesTest {
 protected:
  LoginsTest() { makeLobby("Alpha"); }
};

ON_LOCAL_AND_REMOTE_STORAGE(LoginsTest);

}  // namespace

TEST_P(LoginsTest, TwoUsersInALobbySeeEachOther) {
  ASSERT_EQ(ann.ask("enter Alpha"), "yes");
  EXPECT_EQ(ann.ask("alone"), "yes");
  EXPECT_EQ(ann.ask("others"), "no");

  ASSERT_EQ(ben.ask("enter Alpha"), "yes");
  for (Machine* machine : {&ann, &ben}) {
    EXPECT_EQ(machine->ask("alone"), "no");
    EXPECT_EQ(machine->ask("others"), "yes");
  }

  EXPECT_EQ(ben.ask("leave"), "yes");
  EXPECT_EQ(ann.ask("alone"), "yes");
  EXPECT_EQ(ann.ask("others"), "no");
}

// Only who is outside every room is named, and of these the first by name.
TEST_P(LoginsTest, UserOutsideTheRoomsIsNamedUntilSheEntersOne) {
  bothEnter("Alpha");
  EXPECT_EQ(ann.ask("leave-room"), "yes");
  EXPECT_EQ(ben.ask("alone"), "no: ann");
  EXPECT_EQ(ann.ask("room Edit 1"), "yes");
  EXPECT_EQ(ben.ask("alone"), "no");
  EXPECT_EQ(ben.ask("leave-room"), "yes");
  EXPECT_EQ(ann.ask("alone"), "no: ben");
}

TEST_P(LoginsTest, UserOnTwoMachinesCountsOnceAndStaysUntilTheLastLeaves) {
  Machine second(share, "ann");
  ASSERT_EQ(ann.ask("enter Alpha"), "yes");
  ASSERT_EQ(second.ask("enter Alpha"), "yes");
  EXPECT_EQ(ann.ask("alone"), "yes");
  EXPECT_EQ(second.ask("alone"), "yes");
  ASSERT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_EQ(ben.ask("alone"), "no");

  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  EXPECT_EQ(ben.ask("alone"), "no");
  EXPECT_EQ(second.ask("leave"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "missing");
  EXPECT_EQ(ben.ask("alone"), "yes");
}

TEST_P(LoginsTest, CrashOfOneOfAUsersMachinesLeavesTheOtherLoggedIn) {
  Machine second(share, "ann");
  ASSERT_EQ(second.ask("enter Alpha"), "yes");
  bothEnter("Alpha");
  ann.crash();
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  EXPECT_EQ(second.ask("leave"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "missing");
}

TEST_P(LoginsTest, LoginOfACrashedMachineCountsAndIsStale) {
  bothEnter("Alpha");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  ann.crash();
  EXPECT_EQ(state("Alpha/ann.cli"), "free");
  EXPECT_EQ(ben.ask("alone"), "no");
  EXPECT_EQ(ben.ask("others"), "yes");

  EXPECT_EQ(ben.ask("leave"), "yes");
  EXPECT_TRUE(share.has("Alpha/ann.cli"));
}

TEST_P(LoginsTest, MachineThatComesBackIsInTheLobbyWhereItCrashed) {
  bothEnter("Alpha");
  ann.crash();
  ann.restart();
  EXPECT_EQ(state("Alpha/ann.cli"), "free");
  EXPECT_EQ(ann.ask("setup"), "yes");
  EXPECT_EQ(ann.ask("network-mode"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(ben.ask("alone"), "yes");
}

// A new login is not marked, whatever the file says that the crash left.
TEST_P(LoginsTest, NextLoginTakesACrashedOnesFileOverWithoutItsMark) {
  bothEnter("Alpha");
  EXPECT_EQ(ann.ask("leave-room"), "yes");
  ann.crash();
  EXPECT_EQ(ben.ask("alone"), "no: ann");

  Machine second(share, "ann");
  EXPECT_EQ(second.ask("enter Alpha"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  EXPECT_EQ(ben.ask("alone"), "no");
}

TEST_P(LoginsTest, StoppedMachineStaysLoggedIn) {
  bothEnter("Alpha");
  ann.stop();
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  EXPECT_EQ(ben.ask("alone"), "no");
  ann.resume();
  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(ben.ask("alone"), "yes");
}

TEST_P(LoginsTest, MachineThatEntersAnotherLobbyIsGoneFromTheFirst) {
  makeLobby("Beta");
  Machine cat(share, "cat");
  bothEnter("Alpha");
  ASSERT_EQ(cat.ask("enter Beta"), "yes");

  EXPECT_EQ(ann.ask("enter Beta"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "missing");
  EXPECT_EQ(state("Beta/ann.cli"), "held");
  EXPECT_EQ(ben.ask("alone"), "yes");
  EXPECT_EQ(cat.ask("alone"), "no");
  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(cat.ask("alone"), "yes");
}

// The second login deletes the first one's file, which in the same lobby is its own.
TEST_P(LoginsTest, MachineThatLogsInTwiceIsNotSeen) {
  bothEnter("Alpha");
  EXPECT_EQ(ann.ask("enter Alpha"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "missing");
  EXPECT_EQ(ben.ask("alone"), "yes");
  EXPECT_EQ(ann.ask("leave"), "yes");
  EXPECT_EQ(state("Alpha/ben.cli"), "held");
}

TEST_P(LoginsTest, LoginTwiceLeavesTheUsersOtherMachineItsFile) {
  Machine second(share, "ann");
  ASSERT_EQ(second.ask("enter Alpha"), "yes");
  bothEnter("Alpha");
  EXPECT_EQ(ann.ask("enter Alpha"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
  second.crash();
  EXPECT_EQ(state("Alpha/ann.cli"), "free");  // ann's own login announces nothing any more
}

// A remove locks the login file for an instant.  Whoever logs in meanwhile waits for its end.
TEST_P(LoginsTest, LoginWaitsForALogoutOfTheSameUser) {
  Machine second(share, "ann");
  ASSERT_EQ(ann.ask("enter Alpha"), "yes");
  ASSERT_EQ(ann.ask("freeze-before unlink ann.cli"), "yes");
  ann.tell("leave");
  ann.awaitStop();
  second.tell("enter Alpha");
  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(second.answer(), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
}

TEST_P(LoginsTest, LoginBehindALogoutThatHangsIsRefusedUntilThatMachineIsGone) {
  Machine second(share, "ann");
  ASSERT_EQ(ann.ask("enter Alpha"), "yes");
  ASSERT_EQ(ann.ask("freeze-before unlink ann.cli"), "yes");
  ann.tell("leave");
  ann.awaitStop();
  EXPECT_EQ(second.ask("enter Alpha"), "no");
  EXPECT_EQ(second.ask("network-mode"), "no");

  ann.crash();
  EXPECT_EQ(second.ask("setup"), "yes");
  EXPECT_EQ(state("Alpha/ann.cli"), "held");
}

// Whoever may write in the lobby may put there what he wants; it gets no rights from us.
TEST_P(LoginsTest, LinkThatTakesTheNameOfALoginWhileItIsMarkedLeadsNowhere) {
  const fs::path login = share.path("Alpha/ann.cli"), other = share.path("other");
  std::ofstream(other) << "ben's";
  fs::permissions(other, fs::perms(0600));
  ASSERT_EQ(ann.ask("enter Alpha"), "yes");
  ASSERT_EQ(ann.ask("refuse setxattr"), "yes");
  ASSERT_EQ(ann.ask("freeze-before chmod ann.cli"), "yes");
  ann.tell("leave-room");
  ann.awaitStop();
  fs::rename(login, share.path("Alpha/moved"));
  fs::create_symlink(other, login);
  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(fs::status(other).permissions(), fs::perms(0600));
}

TEST_P(LoginsTest, LinkThatTakesTheNameOfANewLobbyLeadsNowhere) {
  const fs::path lobby = share.path("Beta"), other = share.path("other");
  fs::create_directory(other);
  fs::permissions(other, fs::perms(0700));
  fs::permissions(share.root(), fs::perms(0777));
  ASSERT_EQ(ann.ask("umask 077"), "yes");
  ASSERT_EQ(ann.ask("freeze-before chmod Beta"), "yes");
  ann.tell("create Beta");
  ann.awaitStop();
  fs::rename(lobby, share.path("moved"));
  fs::create_symlink(other, lobby);
  ann.resume();
  ann.answer();
  EXPECT_EQ(fs::status(other).permissions(), fs::perms(0700));
}
