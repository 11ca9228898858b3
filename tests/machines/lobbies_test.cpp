// Lobbies that come and go under the eyes of other machines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/machines/machines_test.h"

namespace {

using test::Machine;

class LobbiesTest : public test::MachinesTest {
 protected:
  std::vector<std::string> lines(const std::string& name) {
    std::vector<std::string> found;
    std::istringstream text(share.read(name).value());
    for (std::string line; std::getline(text, line);) found.push_back(line);
    return found;
  }
};

ON_LOCAL_AND_REMOTE_STORAGE(LobbiesTest);

}  // namespace

TEST_P(LobbiesTest, LobbyThatOneMachineMakesIsListedAndEnteredByTheOther) {
  EXPECT_EQ(ben.ask("available"), "");
  ASSERT_EQ(ann.ask("create Alpha"), "yes");
  EXPECT_EQ(ben.ask("available"), "Alpha");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::EndsWith("Media"));
  EXPECT_EQ(ben.ask("leave"), "yes");

  EXPECT_EQ(ann.ask("delete Alpha"), "yes");
  EXPECT_EQ(ben.ask("available"), "");
  EXPECT_EQ(ben.ask("delete Alpha"), "no");
  EXPECT_EQ(ben.ask("enter Alpha"), "no");
  EXPECT_EQ(ben.ask("network-mode"), "no");
}

TEST_P(LobbiesTest, OfTwoMachinesThatMakeALobbyAtOnceOneSucceedsAndTheListIsWhole) {
  for (int round = 0; round < 40; ++round) {
    const std::string name = "Lobby" + std::to_string(round);
    ann.tell("create " + name);
    ben.tell("create " + name);
    const std::string first = ann.answer(), second = ben.answer();
    ASSERT_NE(first, second) << name;
    ASSERT_EQ(share.read(name + "/DefNetDrive.txt"), share.path(name) + "/Media");
    ASSERT_TRUE(share.has(name + "/Media/Material"));
    ASSERT_TRUE(share.has(name + "/Media/Sound"));
  }
}

TEST_P(LobbiesTest, FolderIsNoLobbyBeforeItHasItsMediaFolders) {
  ASSERT_EQ(ann.ask("freeze-before mkdir Sound"), "yes");
  ann.tell("create Alpha");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("available"), "");
  EXPECT_EQ(ben.ask("delete Alpha"), "no");
  EXPECT_EQ(ben.ask("create Alpha"), "no");

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(ben.ask("available"), "Alpha");
}

// A machine that enters by name needs no list: a folder is enough.
TEST_P(LobbiesTest, LobbyThatIsBeingMadeIsEnteredWithoutItsDrive) {
  ASSERT_EQ(ann.ask("freeze-before mkdir Sound"), "yes");
  ann.tell("create Alpha");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::Not(testing::EndsWith("Media")));

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(ann.ask("enter Alpha"), "yes");
  EXPECT_EQ(ann.ask("alone"), "no");
}

// Between the making of the list and its first line a lobby is listed that has no drive yet.
TEST_P(LobbiesTest, LobbyIsListedAMomentBeforeItsListHasTheDrive) {
  ASSERT_EQ(ann.ask("freeze-before write DefNetDrive.txt"), "yes");
  ann.tell("create Alpha");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("available"), "Alpha");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::Not(testing::EndsWith("Media")));

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_EQ(ben.ask("leave"), "yes");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::EndsWith("Media"));
}

TEST_P(LobbiesTest, MachineThatDiesWhileItMakesALobbyLeavesAFolderThatIsNone) {
  ASSERT_EQ(ann.ask("freeze-before mkdir Sound"), "yes");
  ann.tell("create Alpha");
  ann.awaitStop();
  ann.crash();
  EXPECT_EQ(ben.ask("available"), "");
  EXPECT_EQ(ben.ask("delete Alpha"), "no");
  EXPECT_EQ(ben.ask("create Alpha"), "no");  // people must take the folder away
}

TEST_P(LobbiesTest, WhoeverIsInALobbyThatIsDeletedCanStillLeaveIt) {
  ASSERT_EQ(ann.ask("create Alpha"), "yes");
  ASSERT_EQ(ben.ask("enter Alpha"), "yes");
  ASSERT_EQ(ben.ask("room Edit 1"), "yes");
  EXPECT_EQ(ann.ask("delete Alpha"), "yes");
  EXPECT_FALSE(share.has("Alpha"));
  EXPECT_EQ(ben.ask("alone"), "yes");
  EXPECT_EQ(ben.ask("room Edit 2"), "no");
  EXPECT_EQ(ben.ask("leave-room"), "yes");
  EXPECT_EQ(ben.ask("leave"), "yes");

  EXPECT_EQ(ann.ask("create Alpha"), "yes");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_EQ(state("Alpha/ben.cli"), "held");
}

// A login that meets a deletion may come too late to be deleted: the folder then stays, as no
// lobby.
TEST_P(LobbiesTest, LoginInTheLastMomentOfADeletionLeavesAFolderThatIsNoLobby) {
  ASSERT_EQ(ann.ask("create Alpha"), "yes");
  ASSERT_EQ(ann.ask("freeze-before rmdir Alpha"), "yes");
  ann.tell("delete Alpha");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("available"), "");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_TRUE(share.has("Alpha/ben.cli"));
  EXPECT_EQ(ann.ask("available"), "");
  EXPECT_EQ(ann.ask("delete Alpha"), "no");
  EXPECT_EQ(ann.ask("create Alpha"), "no");
}

// Another machine lists and enters what it sees while lobbies come and go.  It sees the lobby of
// that moment or none; what it enters it leaves again; and nothing is listed in the end.
TEST_P(LobbiesTest, LobbiesThatComeAndGoAreListedByNameOrNotAtAll) {
  for (int round = 0; round < 15; ++round) {
    const std::string name = "Lobby" + std::to_string(round);
    const std::string steps[] = {"create " + name, "enter " + name, "leave", "delete " + name};
    for (const std::string& step : steps) {
      ann.tell(step);
      const std::string seen = ben.ask("available");
      ASSERT_TRUE(seen.empty() || seen == name) << seen << " during: " << step;
      if (!seen.empty()) {
        ben.ask("enter " + name);  // the lobby may be gone by now
        ASSERT_EQ(ben.ask("leave"), "yes");
      }
      ASSERT_EQ(ann.answer(), "yes") << step;
    }
    ASSERT_EQ(ben.ask("available"), "");
  }
}

TEST_P(LobbiesTest, MachinesThatAddLocationsAtOnceBothKeepTheirs) {
  makeLobby("Alpha");
  bothEnter("Alpha");
  std::vector<std::string> expected{share.path("Alpha/Media")};
  for (int i = 0; i < 5; ++i) {
    const std::string first = "media/ann" + std::to_string(i);
    const std::string second = "media/ben" + std::to_string(i);
    for (const std::string& folder : {first, second}) {
      share.makeFolder(folder + "/Material");
      share.makeFolder(folder + "/Sound");
      expected.push_back(share.path(folder));
    }
    ann.tell("add-location " + share.path(first));
    ben.tell("add-location " + share.path(second));
    ASSERT_EQ(ann.answer(), "yes");
    ASSERT_EQ(ben.answer(), "yes");
  }
  EXPECT_THAT(lines("Alpha/DefNetDrive.txt"), testing::UnorderedElementsAreArray(expected));

  Machine cat(share, "cat");
  ASSERT_EQ(cat.ask("enter Alpha"), "yes");
  std::istringstream drives(cat.ask("drives"));
  const std::set<std::string> names{std::istream_iterator<std::string>(drives), {}};
  for (const char* user : {"ann", "ben"}) {
    for (int i = 0; i < 5; ++i) EXPECT_EQ(names.count(user + std::to_string(i)), 1u);
  }
  EXPECT_EQ(names.count("Media"), 1u);
}

TEST_P(LobbiesTest, LocationThatAnotherMachineAddsIsThereWhenTheLobbyIsEnteredAgain) {
  makeLobby("Alpha");
  bothEnter("Alpha");
  share.makeFolder("media/day1");
  ASSERT_EQ(ann.ask("add-location " + share.path("media/day1")), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::EndsWith(" Media"));
  EXPECT_EQ(ben.ask("leave"), "yes");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::EndsWith(" Media day1"));
}

TEST_P(LobbiesTest, RemovingALocationKeepsWhatAnotherMachineAddsMeanwhile) {
  makeLobby("Alpha");
  bothEnter("Alpha");
  std::vector<std::string> expected{share.path("Alpha/Media")};
  for (int i = 0; i < 5; ++i) {
    const std::string gone = share.path("media/gone" + std::to_string(i)) + "/";
    const std::string kept = share.path("media/kept" + std::to_string(i)) + "/";
    share.makeFolder("media/gone" + std::to_string(i));
    share.makeFolder("media/kept" + std::to_string(i));
    expected.push_back(kept);
    ASSERT_EQ(ann.ask("add-location " + gone), "yes");
    ann.tell("remove-location " + gone);
    ben.tell("add-location " + kept);
    ASSERT_EQ(ann.answer(), "yes");
    ASSERT_EQ(ben.answer(), "yes");
  }
  EXPECT_THAT(lines("Alpha/DefNetDrive.txt"), testing::UnorderedElementsAreArray(expected));
}
