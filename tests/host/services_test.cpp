// The small services: folders, log, texts, clock, commands.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <thread>

#include "host/command_map.h"
#include "host/log.h"
#include "host/project_folders.h"
#include "host/state_file.h"
#include "miscdisc/platform/clock.h"
#include "miscdisc/platform/command_map.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/resources.h"
#include "tests/host/home.h"

namespace {

WString inHome(const std::string& rest) { return Qx::WStringFromUTF8(test::home() + rest); }

class ProjectFoldersTest : public test::HomeTest {
 protected:
  ProjectFoldersTest() {
    setLocalProjectsDir(L"");
    setProjectsBaseDirectory(L"");
  }
};

class LogTest : public test::HomeTest {
 protected:
  ~LogTest() override { host::setVerbose(false); }

  static std::string logged() {
    const std::string text = test::readFile(test::home() + "/miscdisc.log").value_or("");
    return std::regex_replace(
        text, std::regex("(^|\n)\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ \\d+ "), "$1> ");
  }
};

}  // namespace

TEST_F(ProjectFoldersTest, StartInTheMachinesHome) {
  EXPECT_EQ(getDefaultLocalProjectsDir(), inHome("/projects/"));
  EXPECT_EQ(getLocalProjectsDir(), inHome("/projects/"));
  EXPECT_EQ(getProjectsBaseDirectory(), inHome("/projects/"));
  EXPECT_EQ(getDumpFolder(), inHome("/"));
}

TEST_F(ProjectFoldersTest, TheLocalFolderIsKeptAndTheBaseDirectoryIsNot) {
  setProjectsBaseDirectory(L"/mnt/lobby");
  setLocalProjectsDir(L"/mnt/p");
  EXPECT_EQ(host::StateFile::instance().value("Folders", "local projects"), "/mnt/p/");
  EXPECT_EQ(host::StateFile::instance().values("Folders").size(), 1u);
}

TEST_F(ProjectFoldersTest, AFolderThatCannotBeStoredHoldsForThisProcess) {
  test::writeFile(test::home() + "/state.toml", "broken");
  setLocalProjectsDir(L"/mnt/q");
  EXPECT_EQ(getLocalProjectsDir(), L"/mnt/q/");
  EXPECT_FALSE(host::localProjectsDirIsStored());
  EXPECT_EQ(test::readFile(test::home() + "/state.toml"), "broken");
  std::filesystem::remove(test::home() + "/state.toml");
  setLocalProjectsDir(L"");
  EXPECT_EQ(getLocalProjectsDir(), inHome("/projects/"));
  EXPECT_TRUE(host::localProjectsDirIsStored());
}

TEST_F(LogTest, LinesAreAppendedWithTheirTimeAndProcess) {
  Log("one %d", 1);
  LogBoth("two %s\n", "2");
  EXPECT_EQ(logged(), "> one 1\n> two 2\n");
}

TEST_F(LogTest, ATextIsOneLineAndObeyedByNoTerminal) {
  Log("%s\n", "a\nb\tc\x1B[2J\x7F\r d\xC2\x9Bz \xC3\x9B \\\\nas \xFF");
  EXPECT_EQ(logged(), "> a\\nb\\tc\\x1B[2J\\x7F\\x0D d\\xC2\\x9Bz \xC3\x9B \\\\nas \xFF\n");
  host::setVerbose(true);
  testing::internal::CaptureStderr();
  LogBoth("1\n2\x1B\n");
  tolv_printf("no end");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "1\\n2\\x1B\nno end");
}

TEST_F(LogTest, TheFolderIsMadeAndAMovedLogGoesOn) {
  std::filesystem::remove_all(test::home());
  Log("first");
  std::filesystem::rename(test::home() + "/miscdisc.log", test::home() + "/old");
  Log("second");
  EXPECT_EQ(logged(), "> second\n");
}

TEST_F(LogTest, AnUnwritableLogIsSilence) {
  test::makeFolder(test::home() + "/miscdisc.log");
  Log("lost");
  LogBoth("lost");
}

TEST_F(LogTest, HugeTextsAreWhole) {
  const std::string huge(3'000'000, 'x');
  Log("%s", huge.c_str());
  EXPECT_EQ(logged(), "> " + huge + "\n");
}

TEST_F(LogTest, ThreadsDoNotMixTheirLines) {
  const auto write = [] {
    for (int i = 0; i < 200; ++i) Log("%s", "0123456789");
  };
  std::thread other(write);
  write();
  other.join();
  std::string expected;
  for (int i = 0; i < 400; ++i) expected += "> 0123456789\n";
  EXPECT_EQ(logged(), expected);
}

TEST_F(LogTest, OnlyAVerboseConsoleSeesTexts) {
  testing::internal::CaptureStderr();
  LogBoth("quiet\n");
  tolv_printf("quiet\n");
  host::setVerbose(true);
  Log("log only\n");
  LogBoth("both\n");
  tolv_printf("no line end");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "both\nno line end");
  EXPECT_EQ(logged(), "> quiet\n> log only\n> both\n");
}

TEST(Resources, TextsForPeople) {
  EXPECT_EQ(resourceStrW(10940), L"Other users are in this lobby");
  EXPECT_EQ(resourceStrW(10946), L"This room is in use by $NAME$");
  EXPECT_EQ(resourceStrW(0), L"");
}

TEST(Clock, NeverRunsBackwards) {
  uint32_t last = service_get_msecs();
  for (int i = 0; i < 1000; ++i) {
    const uint32_t now = service_get_msecs();
    EXPECT_LT(now - last, 60'000u);
    last = now;
  }
}

TEST(CommandMap, RunsWhatWasRegisteredLast) {
  std::string ran;
  const auto first = [](void* context) { *static_cast<std::string*>(context) += "first "; };
  const auto second = [](void* context) { *static_cast<std::string*>(context) += "second "; };
  EXPECT_FALSE(host::runCommand("dump"));
  CommandMap::theCommandMap().registerCommand("dump", first, &ran, 1, 999999, 999999, MapItem());
  EXPECT_TRUE(host::runCommand("dump"));
  CommandMap::theCommandMap().registerCommand("dump", second, &ran, 1, 999999, 999999, MapItem());
  CommandMap::theCommandMap().registerCommand("also", first, &ran, 0, 0, 0, MapItem());
  EXPECT_TRUE(host::runCommand("dump"));
  EXPECT_EQ(ran, "first second ");
  EXPECT_EQ(host::commandNames(), (std::vector<std::string>{"also", "dump"}));
}
