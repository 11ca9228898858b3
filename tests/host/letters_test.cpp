#include "host/volumes/letters.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/state_file.h"
#include "tests/host/home.h"

using host::KeptLetters;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

using Texts = std::vector<std::string>;

std::map<char, std::string> planned(const Texts& points, const std::string& taken,
                                    const KeptLetters& kept) {
  return host::planLetters(points, taken, kept).points;
}

Texts manyPoints(int count) {
  Texts points;
  for (int i = 0; i < count; ++i) points.push_back("/m" + std::to_string(i));
  return points;
}

std::string lettersOf(const host::LetterPlan& plan) {
  std::string letters;
  for (const auto& [letter, point] : plan.points) letters += letter;
  return letters;
}

auto stored() { return host::StateFile::instance().values("Volume letters"); }

class LettersTest : public test::HomeTest {};

TEST_F(LettersTest, AreGivenFromEToZAndThenFromAToD) {
  EXPECT_THAT(planned({"/a", "/b"}, "", {}), ElementsAre(Pair('E', "/a"), Pair('F', "/b")));
  EXPECT_THAT(planned({"/a", "/b"}, "EG", {}), ElementsAre(Pair('F', "/a"), Pair('H', "/b")));
  const auto full = planned(manyPoints(26), "", {});
  EXPECT_EQ(full.at('Z'), "/m21");
  EXPECT_EQ(full.at('A'), "/m22");
  EXPECT_EQ(full.at('D'), "/m25");
}

TEST_F(LettersTest, AreKeptAndReservedForMountsThatAreAway) {
  const KeptLetters kept{{'E', "/away"}, {'G', "/a"}};
  EXPECT_THAT(planned({"/b", "/a"}, "", kept), ElementsAre(Pair('F', "/b"), Pair('G', "/a")));
}

TEST_F(LettersTest, OfConfiguredVolumesWinOverKeptOnes) {
  EXPECT_THAT(planned({"/a", "/b"}, "E", {{'E', "/a"}, {'F', "/b"}}),
              ElementsAre(Pair('F', "/b"), Pair('G', "/a")));
}

TEST_F(LettersTest, OfMountsThatAreAwayAreGivenLast) {
  KeptLetters kept;
  for (char letter = 'E'; letter <= 'Z'; ++letter) kept[letter] = std::string("/away") + letter;
  const auto plan = host::planLetters(manyPoints(6), "", kept);
  EXPECT_EQ(lettersOf(plan), "ABCDEF");
  EXPECT_EQ(plan.points.at('E'), "/m4");
  EXPECT_EQ(plan.claims[4].before, "/awayE");
  EXPECT_EQ(plan.leftOut, 0u);
}

TEST_F(LettersTest, OfTheAlphabetAreAllThereAre) {
  const auto plan = host::planLetters(manyPoints(30), "XY", {});
  EXPECT_EQ(lettersOf(plan), "ABCDEFGHIJKLMNOPQRSTUVWZ");
  EXPECT_EQ(plan.leftOut, 6u);
}

TEST_F(LettersTest, AreTheSameAtTheNextStart) {
  EXPECT_EQ(lettersOf(host::lettersFor({"/a", "/b"}, "", true)), "EF");
  EXPECT_THAT(stored(), ElementsAre(Pair("E", "/a"), Pair("F", "/b")));
  EXPECT_THAT(host::lettersFor({"/c", "/b"}, "", true).points,
              ElementsAre(Pair('F', "/b"), Pair('G', "/c")));
  EXPECT_THAT(stored(), ElementsAre(Pair("E", "/a"), Pair("F", "/b"), Pair("G", "/c")));
  EXPECT_TRUE(host::hasKeptLetter("/a"));
  EXPECT_FALSE(host::hasKeptLetter("/d"));
}

TEST_F(LettersTest, AMountWhoseLetterIsTakenGoesOnWithItsNewOne) {
  host::lettersFor({"/a"}, "", true);
  EXPECT_EQ(lettersOf(host::lettersFor({"/a"}, "E", true)), "F");
  EXPECT_THAT(stored(), ElementsAre(Pair("F", "/a")));
  EXPECT_EQ(lettersOf(host::lettersFor({"/a"}, "", true)), "F");
}

TEST_F(LettersTest, ProvisionalOnesWriteNothing) {
  EXPECT_EQ(lettersOf(host::lettersFor({"/a"}, "", false)), "E");
  EXPECT_FALSE(test::readFile(test::home() + "/state.toml"));
}

TEST_F(LettersTest, ThatCannotBeStoredHoldForThisProcess) {
  test::writeFile(test::home() + "/state.toml", "broken");
  EXPECT_EQ(lettersOf(host::lettersFor({"/a", "/b"}, "", true)), "EF");
  EXPECT_EQ(test::readFile(test::home() + "/state.toml"), "broken");
}

TEST_F(LettersTest, AnyPathCanHaveOne) {
  const std::string odd = "/media/\xFF \"x\"\n";
  EXPECT_EQ(lettersOf(host::lettersFor({odd}, "", true)), "E");
  EXPECT_THAT(host::lettersFor({"/a", odd}, "", true).points,
              ElementsAre(Pair('E', odd), Pair('F', "/a")));
}

TEST_F(LettersTest, WhatPeopleWroteAmissIsNoLetter) {
  test::writeFile(test::home() + "/state.toml",
                  "[\"Volume letters\"]\ne = '/a'\nEE = '/b'\n'' = '/c'\nF = '/d'\n");
  EXPECT_THAT(host::lettersFor({"/a", "/d"}, "", false).points,
              ElementsAre(Pair('E', "/a"), Pair('F', "/d")));
}

// Each sees mounts of its own beside a common one, as when a disk is plugged in meanwhile.
TEST_F(LettersTest, ProcessesThatStartAtTheSameTimeAgree) {
  constexpr int kProcesses = 6;
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      const Texts points{"/own" + std::to_string(i), "/common"};
      const auto plan = host::lettersFor(points, "", true);
      bool agreed = plan.points.size() == 2;
      for (const auto& [letter, point] : plan.points) {
        agreed = agreed && host::StateFile::instance().value("Volume letters", {letter}) == point;
      }
      _exit(agreed ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::map<std::string, int> letters;
  for (const auto& [letter, point] : stored()) ++letters[point];
  EXPECT_EQ(letters.size(), size_t{kProcesses + 1});
}

}  // namespace
