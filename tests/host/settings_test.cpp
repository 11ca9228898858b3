#include "host/settings.h"

#include <sys/stat.h>

#include "host/places.h"
#include "tests/host/home.h"

using test::configure;

namespace {

class SettingsTest : public test::HomeTest {};

std::string at(const std::string& rest) { return test::home() + "/config.toml:" + rest; }

}  // namespace

TEST_F(SettingsTest, MissingFileGivesTheDefaultsAndNoProblem) {
  const auto settings = host::settings();
  EXPECT_TRUE(settings->volumes.empty());
  EXPECT_TRUE(settings->shares.empty());
  EXPECT_EQ(settings->user, "");
  EXPECT_FALSE(settings->shortNamesOnly);
  EXPECT_FALSE(settings->allowLocalOnly);
  EXPECT_TRUE(settings->remoteFolders.empty());
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, EverythingIsRead) {
  configure(R"([volumes]
F = "/mnt/b/"
E = "/mnt/a"
[shares]
'//nas/projects/' = "/mnt/nas"
[machine]
user = "edit-1"
[listing]
short_names_only = true
[locks]
allow_local_only = true
remote = ["/mnt/x", "/mnt/y/"]
)");
  const auto settings = host::settings();
  ASSERT_EQ(settings->volumes.size(), 2u);
  EXPECT_EQ(settings->volumes[0].letter, 'E');
  EXPECT_EQ(settings->volumes[0].folder, "/mnt/a");
  EXPECT_EQ(settings->volumes[1].letter, 'F');
  EXPECT_EQ(settings->volumes[1].folder, "/mnt/b");
  ASSERT_EQ(settings->shares.size(), 1u);
  EXPECT_EQ(settings->shares[0].network, "//nas/projects");
  EXPECT_EQ(settings->shares[0].folder, "/mnt/nas");
  EXPECT_EQ(settings->user, "edit-1");
  EXPECT_TRUE(settings->shortNamesOnly);
  EXPECT_TRUE(settings->allowLocalOnly);
  EXPECT_EQ(settings->remoteFolders, (std::vector<std::string>{"/mnt/x", "/mnt/y"}));
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, EntriesOfOthersAreLeftAlone) {
  configure("[formats.hd8]\nwidth = 1920\n[messenger]\nengine = 5\n[volumes]\nE = '/e'\n");
  EXPECT_EQ(host::settings()->volumes.size(), 1u);
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, AProblemNamesThePlaceAndLeavesTheDefaults) {
  struct {
    const char* toml;
    const char* problem;
  } const cases[] = {
      {"[volumes]\ne = '/x'\n", "2:1: a volume's letter from A to Z was expected, not e"},
      {"[volumes]\nEE = '/x'\n", "2:1: a volume's letter from A to Z was expected, not EE"},
      {"[volumes]\nE = 5\n", "2:5: volume E: the full path of a folder, in quotes, was expected"},
      {"[volumes]\nE = 'x'\n", "2:5: volume E: the full path of a folder, in quotes, was expected"},
      {"[volumes]\nE = ''\n", "2:5: volume E: the full path of a folder, in quotes, was expected"},
      {"[volumes]\nE = \"/x\\u0000y\"\n",
       "2:5: volume E: the full path of a folder, in quotes, was expected"},
      {"volumes = 5\n", "1:11: volumes is a section: [volumes] was expected"},
      {"[shares]\n'nas/x' = '/x'\n", "2:1: a share as '//server/share' was expected, not nas/x"},
      {"[shares]\n'//nas' = '/x'\n", "2:1: a share as '//server/share' was expected, not //nas"},
      {"[shares]\n'///x' = '/x'\n", "2:1: a share as '//server/share' was expected, not ///x"},
      {"[shares]\n'//nas/x' = 1\n",
       "2:13: //nas/x: the full path of a folder, in quotes, was expected"},
      {"[machine]\nuser = ''\n",
       "2:8: user: a name in quotes was expected, without '/' and not starting with '.'"},
      {"[machine]\nuser = 'a/b'\n",
       "2:8: user: a name in quotes was expected, without '/' and not starting with '.'"},
      {"[machine]\nuser = '.a'\n",
       "2:8: user: a name in quotes was expected, without '/' and not starting with '.'"},
      {"[machine]\nuser = 7\n",
       "2:8: user: a name in quotes was expected, without '/' and not starting with '.'"},
      {"[listing]\nshort_names_only = 1\n", "2:20: short_names_only: true or false was expected"},
      {"[locks]\nallow_local_only = 'yes'\n", "2:20: allow_local_only: true or false was expected"},
      {"[locks]\nremote = '/x'\n", "2:10: remote: a list of folders in [ ] was expected"},
      {"[locks]\nremote = ['/x', 'y']\n",
       "2:17: remote: the full path of a folder, in quotes, was expected"},
  };
  for (const auto& c : cases) {
    const std::string toml = std::string(c.toml) + "[zz]\n";
    configure(toml);
    EXPECT_EQ(host::settingsProblem(), at(c.problem)) << c.toml;
    EXPECT_TRUE(host::settings()->volumes.empty()) << c.toml;
    EXPECT_EQ(test::readFile(test::home() + "/config.toml"), toml) << c.toml;
  }
}

TEST_F(SettingsTest, AFileThatDoesNotParseSaysWhere) {
  configure("[volumes]\nE = \n");
  EXPECT_EQ(host::settingsProblem().substr(0, at("2:").size()), at("2:"));
  EXPECT_GT(host::settingsProblem().size(), at("2:5: ").size());
}

TEST_F(SettingsTest, AProblemElsewhereTakesTheGoodEntriesToo) {
  configure("[volumes]\nE = '/e'\n[machine]\nuser = 7\n");
  EXPECT_TRUE(host::settings()->volumes.empty());
}

TEST_F(SettingsTest, AFolderInTheFilesPlaceIsAProblem) {
  test::makeFolder(test::home() + "/config.toml");
  host::reloadSettings();
  EXPECT_EQ(host::settingsProblem(), at("1:1: a readable file was expected: Is a directory"));
}

TEST_F(SettingsTest, AFifoInTheFilesPlaceIsNotWaitedFor) {
  ASSERT_EQ(mkfifo((test::home() + "/config.toml").c_str(), 0600), 0);
  host::reloadSettings();
  EXPECT_EQ(host::settingsProblem(), at("1:1: a readable file was expected: Invalid argument"));
}

TEST_F(SettingsTest, OldSettingsStayWithWhoeverHoldsThem) {
  configure("[machine]\nuser = 'a'\n");
  const auto old = host::settings();
  configure("[machine]\nuser = 'b'\n");
  EXPECT_EQ(old->user, "a");
  EXPECT_EQ(host::settings()->user, "b");
}

TEST_F(SettingsTest, AMendedFileIsNoProblemAnyMore) {
  configure("x");
  EXPECT_NE(host::settingsProblem(), "");
  configure("");
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, BothFilesAreComplainedAboutOnALineEach) {
  configure("volumes = 5\n");
  test::writeFile(test::home() + "/state.toml", "x = 5\n");
  EXPECT_EQ(host::settingsProblem(), at("1:11: volumes is a section: [volumes] was expected") +
                                         "\n" + test::home() +
                                         "/state.toml:1:5: a section of keys was expected");
}
