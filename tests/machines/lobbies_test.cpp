// Lobbies that come and go under the eyes of other machines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/machines/machines_test.h"

using namespace std::string_literals;

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

  std::vector<std::string> temporaries(const std::string& lobby) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(share.path(lobby))) {
      if (entry.path().extension() == ".tmp") found.push_back(entry.path().filename());
    }
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

TEST_P(LobbiesTest, LobbyThatTwoMachinesDeleteAtOnceIsGoneForEach) {
  ASSERT_EQ(ann.ask("create Alpha"), "yes");
  ASSERT_EQ(ann.ask("freeze-before unlinkat Sound"), "yes");
  ann.tell("delete Alpha");
  ann.awaitStop();
  ASSERT_EQ(ben.ask("freeze-before unlinkat DefNetDrive.txt"), "yes");
  ben.tell("delete Alpha");
  ben.awaitStop();
  EXPECT_FALSE(share.has("Alpha/Media"));

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_FALSE(share.has("Alpha"));
  ben.resume();
  EXPECT_EQ(ben.answer(), "yes");
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

TEST_P(LobbiesTest, FolderIsALobbyOnlyWithItsWholeList) {
  for (const char* point : {"write .tmp", "fsync .tmp", "link DefNetDrive.txt"}) {
    SCOPED_TRACE(point);
    ASSERT_EQ(ann.ask("freeze-before "s + point), "yes");
    ann.tell("create Alpha");
    ann.awaitStop();
    EXPECT_EQ(ben.ask("available"), "");
    EXPECT_FALSE(share.has("Alpha/DefNetDrive.txt"));

    ann.resume();
    EXPECT_EQ(ann.answer(), "yes");
    EXPECT_EQ(ben.ask("available"), "Alpha");
    EXPECT_EQ(ben.ask("enter Alpha"), "yes");
    EXPECT_THAT(ben.ask("drives"), testing::EndsWith("Media"));
    EXPECT_EQ(ben.ask("leave"), "yes");
    EXPECT_EQ(ann.ask("delete Alpha"), "yes");
  }
}

// Who enters by name is there before the list, and may be the first to write one.
TEST_P(LobbiesTest, LocationThatIsAddedWhileALobbyIsMadeStandsBesideTheLobbysOwn) {
  share.makeFolder("media/day1");
  ASSERT_EQ(ann.ask("freeze-before write .tmp"), "yes");
  ann.tell("create Alpha");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_EQ(ben.ask("add-location " + share.path("media/day1")), "yes");

  ann.resume();
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_THAT(lines("Alpha/DefNetDrive.txt"),
              testing::ElementsAre(share.path("media/day1"), share.path("Alpha/Media")));
  EXPECT_EQ(ben.ask("leave"), "yes");
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  EXPECT_THAT(ben.ask("drives"), testing::EndsWith(" day1 Media"));
}

// On remote storage the other machine's list is there before it has a line.
TEST_P(LobbiesTest, LocationThatIsBeingAddedWhileALobbyIsMadeStandsBesideTheLobbysOwn) {
  share.makeFolder("media/day1");
  ASSERT_EQ(ann.ask("freeze-before mkdir Sound"), "yes");
  ann.tell("create Alpha");
  ann.awaitStop();
  EXPECT_EQ(ben.ask("enter Alpha"), "yes");
  ASSERT_EQ(ben.ask("freeze-before rename DefNetDrive.txt"), "yes");
  ben.tell("add-location " + share.path("media/day1"));
  ben.awaitStop();

  ann.resume();
  ben.resume();
  EXPECT_EQ(ben.answer(), "yes");
  EXPECT_EQ(ann.answer(), "yes");
  EXPECT_THAT(lines("Alpha/DefNetDrive.txt"),
              testing::ElementsAre(share.path("media/day1"), share.path("Alpha/Media")));
}

// FAT disks know no links, and network clients no rename that replaces nothing.
TEST_P(LobbiesTest, ListAppearsWholeAlsoWhereStorageKnowsNoLinks) {
  const std::vector<std::vector<const char*>> storages{
      {"renameat2"}, {"link"}, {"link", "renameat2"}};
  int number = 0;
  for (const std::vector<const char*>& unknown : storages) {
    Machine maker(share, "cat");
    for (const char* call : unknown) ASSERT_EQ(maker.ask("refuse "s + call), "yes");
    const std::string name = "Lobby" + std::to_string(++number), list = name + "/DefNetDrive.txt";
    EXPECT_EQ(maker.ask("create " + name), "yes");
    EXPECT_EQ(share.read(list), share.path(name) + "/Media");

    const std::string shared = "Shared" + std::to_string(number);
    share.makeFolder(shared + "/media");
    ASSERT_EQ(maker.ask("freeze-before write .tmp"), "yes");
    maker.tell("create " + shared + "/Alpha");
    maker.awaitStop();
    ASSERT_EQ(ben.ask("enter " + shared + "/Alpha"), "yes");
    ASSERT_EQ(ben.ask("add-location " + share.path(shared + "/media")), "yes");
    maker.resume();
    EXPECT_EQ(maker.answer(), "yes");
    EXPECT_THAT(
        lines(shared + "/Alpha/DefNetDrive.txt"),
        testing::ElementsAre(share.path(shared + "/media"), share.path(shared + "/Alpha/Media")));
    EXPECT_THAT(temporaries(name), testing::IsEmpty());
    EXPECT_THAT(temporaries(shared + "/Alpha"), testing::IsEmpty());
    EXPECT_EQ(ben.ask("leave"), "yes");
  }
}

TEST_P(LobbiesTest, MachineThatDiesWhileItMakesTheListLeavesNoneOrTheWhole) {
  struct Row {
    const char* point;
    bool made;
  };
  share.makeFolder("media/day1");
  int number = 0;
  for (const Row row :
       {Row{"write .tmp", false}, Row{"fsync .tmp", false}, Row{"link DefNetDrive.txt", false},
        Row{"unlink .tmp", true}, Row{"unlink .DefNetDrive.txt.lk", true}}) {
    SCOPED_TRACE(row.point);
    const std::string name = "Lobby" + std::to_string(++number);
    Machine maker(share, "cat");
    ASSERT_EQ(maker.ask("freeze-before "s + row.point), "yes");
    maker.tell("create " + name);
    maker.awaitStop();
    maker.crash();
    const std::string list = name + "/DefNetDrive.txt", own = share.path(name) + "/Media";
    EXPECT_EQ(share.read(list), row.made ? std::optional(own) : std::nullopt);

    // What it left keeps nobody from writing the list.
    EXPECT_EQ(ben.ask("enter " + name), "yes");
    EXPECT_EQ(ben.ask("add-location " + share.path("media/day1")), "yes");
    std::vector<std::string> expected{share.path("media/day1")};
    if (row.made) expected.insert(expected.begin(), own);
    EXPECT_EQ(lines(list), expected);
    EXPECT_EQ(ben.ask("leave"), "yes");
  }
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

// With a guard that no process can open, as on a full disk or in a home that is read-only.
TEST_P(LobbiesTest, LobbyIsEnteredAlsoWhereItsNameCannotBeStored) {
  makeLobby("Alpha");
  ann.makeStateUnwritable();
  EXPECT_EQ(ann.ask("enter Alpha"), "yes");
  EXPECT_TRUE(share.has("Alpha/ann.cli"));
  EXPECT_FALSE(share.has("ann.cli"));
  share.makeFolder("day1");
  EXPECT_EQ(ann.ask("add-location " + share.path("day1")), "yes");
  EXPECT_FALSE(share.has("DefNetDrive.txt"));
}

TEST_P(LobbiesTest, LobbyWhoseDeletionDiedIsOneToTheLastAndIsDeletedAgain) {
  for (const char* left : {"", "Lock", "Edit 1.lck", "P0001000", "Media", "DefNetDrive.txt"}) {
    SCOPED_TRACE(left);
    makeLobby("Alpha");
    std::ofstream(share.path("Alpha/P0001000/Lock"));
    std::ofstream(share.path("Alpha/Edit 1.lck"));
    ASSERT_EQ(ann.ask("freeze-before unlinkat " + std::string(left)), "yes");
    ann.tell("delete Alpha");
    ann.awaitStop();
    ann.crash();
    EXPECT_EQ(ben.ask("available"), "Alpha");
    EXPECT_EQ(share.has("Alpha/Media"), left != "DefNetDrive.txt"s);
    EXPECT_EQ(ben.ask("delete Alpha"), "yes");
    EXPECT_FALSE(share.has("Alpha"));
    ann.restart();
  }
}

TEST_P(LobbiesTest, LobbyWhoseFolderCannotBeReadToItsEndIsOneStill) {
  makeLobby("Alpha");
  std::ofstream(share.path("Alpha/Edit 1.Room"));
  ASSERT_EQ(ann.ask("refuse readdir"), "yes");
  ann.ask("delete Alpha");
  EXPECT_EQ(ben.ask("available"), "Alpha");
  EXPECT_TRUE(share.has("Alpha/Edit 1.Room"));
  EXPECT_EQ(ben.ask("delete Alpha"), "yes");
  EXPECT_FALSE(share.has("Alpha"));
}

// Storage that knows neither way to give the list its name gets a copy.
TEST_P(LobbiesTest, ListThatCannotBeCopiedWholeLeavesNone) {
  ASSERT_EQ(ann.ask("refuse link"), "yes");
  ASSERT_EQ(ann.ask("refuse renameat2"), "yes");
  ASSERT_EQ(ann.ask("no-room-for /DefNetDrive.txt"), "yes");
  ann.ask("create Alpha");
  EXPECT_FALSE(share.has("Alpha/DefNetDrive.txt"));
  EXPECT_EQ(ben.ask("available"), "");
}
