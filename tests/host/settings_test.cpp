#include "host/settings.h"

#include <sys/stat.h>

#include "tests/host/home.h"

using test::configure;

namespace {

class SettingsTest : public test::HomeTest {};

std::string at(const std::string& rest) { return test::home() + "/config.toml:" + rest; }

}  // namespace

TEST_F(SettingsTest, MissingFileGivesTheDefaultsAndNoProblem) {
  const auto settings = host::settings();
  EXPECT_TRUE(settings->volumes.empty());
  EXPECT_TRUE(settings->discoverVolumes);
  EXPECT_EQ(settings->quotaVolumes, "");
  EXPECT_TRUE(settings->shares.empty());
  EXPECT_EQ(settings->user, "");
  EXPECT_FALSE(settings->shortNamesOnly);
  EXPECT_FALSE(settings->allowLocalOnly);
  EXPECT_TRUE(settings->remoteFolders.empty());
  EXPECT_TRUE(settings->formats.empty());
  EXPECT_EQ(settings->drivesFormats, (std::vector<std::string>{"dv25", "hd8"}));
  EXPECT_EQ(settings->lowMinutes, 30u);
  EXPECT_EQ(settings->messenger.engine, "dbus");
  EXPECT_EQ(settings->messenger.url, "");
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, EverythingIsRead) {
  configure(R"([volumes]
F = "/mnt/b/"
E = "/mnt/a"
discover = false
quota = ["E", "K"]
[shares]
'//nas/projects/' = "/mnt/nas"
[machine]
user = "edit-1"
[listing]
short_names_only = true
[locks]
allow_local_only = true
remote = ["/mnt/x", "/mnt/y/"]
[formats.b]
fourcc = "v210"
width = 1920
height = 1080
bits = 22
rate = 29.97
description = "ten bits"
[formats.a]
fourcc = "AVdn"
width = 1280
height = 720
bits = 16
rate = 50
megabits = 120
[drives]
formats = ["uhd10", "a"]
low_minutes = 90
[messenger]
engine = "nats"
url = "tls://nas:4222"
credentials = "/etc/miscdisc/alpha.creds"
ca = "/etc/miscdisc/ca.pem"
)");
  const auto settings = host::settings();
  ASSERT_EQ(settings->volumes.size(), 2u);
  EXPECT_EQ(settings->volumes[0].letter, 'E');
  EXPECT_EQ(settings->volumes[0].folder, "/mnt/a");
  EXPECT_EQ(settings->volumes[1].letter, 'F');
  EXPECT_EQ(settings->volumes[1].folder, "/mnt/b");
  EXPECT_FALSE(settings->discoverVolumes);
  EXPECT_EQ(settings->quotaVolumes, "EK");
  ASSERT_EQ(settings->shares.size(), 1u);
  EXPECT_EQ(settings->shares[0].network, "//nas/projects");
  EXPECT_EQ(settings->shares[0].folder, "/mnt/nas");
  EXPECT_EQ(settings->user, "edit-1");
  EXPECT_TRUE(settings->shortNamesOnly);
  EXPECT_TRUE(settings->allowLocalOnly);
  EXPECT_EQ(settings->remoteFolders, (std::vector<std::string>{"/mnt/x", "/mnt/y"}));
  ASSERT_EQ(settings->formats.size(), 2u);
  EXPECT_EQ(settings->formats[0].name, "a");
  EXPECT_EQ(settings->formats[0].format.mpegRate, 120u);
  EXPECT_EQ(settings->formats[1].name, "b");
  EXPECT_EQ(settings->formats[1].description, "ten bits");
  EXPECT_EQ(settings->drivesFormats, (std::vector<std::string>{"uhd10", "a"}));
  EXPECT_EQ(settings->lowMinutes, 90u);
  EXPECT_EQ(settings->messenger.engine, "nats");
  EXPECT_EQ(settings->messenger.url, "tls://nas:4222");
  EXPECT_EQ(settings->messenger.credentials, "/etc/miscdisc/alpha.creds");
  EXPECT_EQ(settings->messenger.ca, "/etc/miscdisc/ca.pem");
  EXPECT_EQ(host::settingsProblem(), "");
  EXPECT_TRUE(host::unknownSettings().empty());
}

TEST_F(SettingsTest, EntriesThatNobodyKnowsChangeNothing) {
  configure(
      "[formats.a]\nfourcc='dv25'\nwidth=1\nheight=1\nbits=1\nrate=25\ncodec=5\n[others]"
      "\nengine = 5\n[volumes]\nE = '/e'\n");
  EXPECT_EQ(host::settings()->volumes.size(), 1u);
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, WhatNobodyKnowsIsToldWithItsPlaceAndWhatWasMeant) {
  const struct {
    const char *toml, *unknown;
  } cases[] = {
      {"[volume]\nE = '/e'\n", "1:2: there is no section [volume]; did you mean [volumes]?"},
      {"[[volume]]\n", "1:3: there is no section [volume]; did you mean [volumes]?"},
      {"[lists.of.mine]\n", "1:2: there is no section [lists]"},
      {"user = 'ann'\n", "1:1: there is no setting \"user\" outside the sections"},
      {"[machine]\nusr = 'ann'\n",
       "2:1: there is no setting \"usr\" in [machine]; did you mean \"user\"?"},
      {"[drives]\nlow_minute = 5\n",
       "2:1: there is no setting \"low_minute\" in [drives]; did you mean \"low_minutes\"?"},
      {"[messenger]\n  engin = 'none'\n",
       "2:3: there is no setting \"engin\" in [messenger]; did you mean \"engine\"?"},
      {"[listing]\nshort = true\n", "2:1: there is no setting \"short\" in [listing]"},
      {"[locks]\nrmote = []\n",
       "2:1: there is no setting \"rmote\" in [locks]; did you mean \"remote\"?"},
      {"[formats.a]\nfourcc='dv25'\nwidth=1\nheight=1\nbits=1\nrate=25\ncodec=5\n",
       "7:1: there is no setting \"codec\" in [formats.a]"},
      {"[machine]\n\"u\\nr\" = 'ann'\n", "2:1: there is no setting \"u\\u000Ar\" in [machine]"},
  };
  for (const auto& c : cases) {
    configure(c.toml);
    EXPECT_EQ(host::unknownSettings(), std::vector{at(c.unknown)}) << c.toml;
    EXPECT_EQ(host::settingsProblem(), "") << c.toml;
  }
}

TEST_F(SettingsTest, EverythingUnknownIsToldInItsOrder) {
  configure("[b]\n[machine]\nz = 1\ny = 2\n[a]\n");
  EXPECT_EQ(host::unknownSettings(), (std::vector{at("1:2: there is no section [b]"),
                                                  at("3:1: there is no setting \"z\" in [machine]"),
                                                  at("4:1: there is no setting \"y\" in [machine]"),
                                                  at("5:2: there is no section [a]")}));
  configure("[b]\n[machine]\nuser = 5\n");
  EXPECT_TRUE(host::unknownSettings().empty());
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
      {"[volumes]\ndiscover = 1\n", "2:12: discover: true or false was expected"},
      {"[volumes]\nquota = 'E'\n",
       "2:9: quota: a list of volume letters in [ ] was expected, as in [\"E\"]"},
      {"[volumes]\nquota = ['E', 5]\n",
       "2:15: quota: a list of volume letters in [ ] was expected, as in [\"E\"]"},
      {"[volumes]\nquota = ['e']\n", "2:10: a volume's letter from A to Z was expected, not e"},
      {"messenger = 'none'\n", "1:13: messenger is a section: [messenger] was expected"},
      {"[messenger]\nengine = 5\n", "2:10: engine: a text in quotes was expected"},
      {"[messenger]\nengine = 'mail'\n",
       "2:10: engine: \"dbus\", \"nats\" or \"none\" was expected, not mail"},
      {"[messenger]\nengine = 'nats'\n",
       "2:10: engine: the url of a server was expected with it, such as url = \"tls://nas:4222\""},
      {"[messenger]\nurl = 5\n", "2:7: url: a text in quotes was expected"},
      {"[messenger]\ncredentials = 'alpha.creds'\n",
       "2:15: credentials: the full path of a file, in quotes, was expected"},
      {"[messenger]\nca = true\n", "2:6: ca: the full path of a file, in quotes, was expected"},
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

TEST_F(SettingsTest, AProblemOfAFormatNamesThePlace) {
  struct {
    const char* toml;
    const char* problem;
  } const cases[] = {
      {"formats = 5\n", "1:11: formats is a section: [formats] was expected"},
      {"[formats]\nx = 'UYVY'\n", "2:5: x is a format: [formats.x] was expected"},
      {"[formats.'a b']\n",
       "1:10: a format's name of letters, digits, '-', '_' and '.' was expected, not a b"},
      {"[formats.'']\n",
       "1:10: a format's name of letters, digits, '-', '_' and '.' was expected, not "},
      {"[formats.x]\n",
       "1:1: fourcc: a code of four characters, in quotes, was expected, such as \"UYVY\""},
      {"[formats.x]\nfourcc = 'UYV'\n",
       "2:10: fourcc: a code of four characters, in quotes, was expected, such as \"UYVY\""},
      {"[formats.x]\nfourcc = 'UYVYU'\n",
       "2:10: fourcc: a code of four characters, in quotes, was expected, such as \"UYVY\""},
      {"[formats.x]\nfourcc = \"UY\u00fc\"\n",
       "2:10: fourcc: a code of four characters, in quotes, was expected, such as \"UYVY\""},
      {"[formats.x]\nfourcc = 35\n",
       "2:10: fourcc: a code of four characters, in quotes, was expected, such as \"UYVY\""},
      {"[formats.x]\nfourcc='UYVY'\n", "1:1: width: a whole number from 1 to 8192 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth = 0\n",
       "3:9: width: a whole number from 1 to 8192 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth = 8193\n",
       "3:9: width: a whole number from 1 to 8192 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth = -1\n",
       "3:9: width: a whole number from 1 to 8192 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth = 720.0\n",
       "3:9: width: a whole number from 1 to 8192 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight = '576'\n",
       "4:10: height: a whole number from 1 to 8192 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits = 49\n",
       "5:8: bits: a whole number from 1 to 48 was expected"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\n",
       "1:1: rate: frames per second from 1 to 1000 were expected, such as 25 or 29.97"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\nrate = 0.9\n",
       "6:8: rate: frames per second from 1 to 1000 were expected, such as 25 or 29.97"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\nrate = nan\n",
       "6:8: rate: frames per second from 1 to 1000 were expected, such as 25 or 29.97"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\nrate = 25000\n",
       "6:8: rate: frames per second from 1 to 1000 were expected, such as 25 or 29.97"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\nrate = true\n",
       "6:8: rate: frames per second from 1 to 1000 were expected, such as 25 or 29.97"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\nrate=25\nmegabits = 50\n",
       "7:12: megabits: a fourcc of \"MPEG\", \"AVdn\" or \"AVdx\" was expected with it"},
      {"[formats.x]\nfourcc='MPEG'\nwidth=720\nheight=576\nbits=16\nrate=25\n",
       "1:1: megabits: a whole number from 1 to 10000 was expected"},
      {"[formats.x]\nfourcc='MPEG'\nwidth=720\nheight=576\nbits=16\nrate=25\nmegabits = 0\n",
       "7:12: megabits: a whole number from 1 to 10000 was expected"},
      {"[formats.x]\nfourcc='AVdn'\nwidth=720\nheight=576\nbits=16\nrate=25\nmegabits = 120\n",
       "7:12: megabits: the rate of a VC-3 class for 720 x 576 at 25 was expected; "
       "formats.md lists the classes"},
      {"[formats.x]\nfourcc='UYVY'\nwidth=720\nheight=576\nbits=16\nrate=25\ndescription = 5\n",
       "7:15: description: a text in quotes was expected"},
  };
  for (const auto& c : cases) {
    configure(c.toml);
    EXPECT_EQ(host::settingsProblem(), at(c.problem)) << c.toml;
    EXPECT_TRUE(host::settings()->formats.empty()) << c.toml;
  }
}

TEST_F(SettingsTest, NoDriveNeedBeLow) {
  configure("[drives]\nlow_minutes = 0\n");
  EXPECT_EQ(host::settings()->lowMinutes, 0u);
  EXPECT_EQ(host::settings()->drivesFormats, (std::vector<std::string>{"dv25", "hd8"}));
  EXPECT_EQ(host::settingsProblem(), "");
}

TEST_F(SettingsTest, AProblemOfTheDrivesNamesThePlace) {
  struct {
    const char* toml;
    const char* problem;
  } const cases[] = {
      {"drives = 5\n", "1:10: drives is a section: [drives] was expected"},
      {"[drives]\nformats = 'dv25'\n",
       "2:11: formats: names of recording formats in [ ] were expected, such as [\"dv25\"]"},
      {"[drives]\nformats = []\n",
       "2:11: formats: names of recording formats in [ ] were expected, such as [\"dv25\"]"},
      {"[drives]\nformats = ['dv25', 5]\n",
       "2:20: formats: a format's name in quotes was expected"},
      {"[drives]\nformats = ['dv25', 'DV25']\n",
       "2:20: formats: a built-in format or one of [formats] was expected, not DV25; "
       "formats.md lists the built-in ones"},
      {"[drives]\nlow_minutes = -1\n",
       "2:15: low_minutes: a whole number from 0 to 100000 was expected"},
      {"[drives]\nlow_minutes = 100001\n",
       "2:15: low_minutes: a whole number from 0 to 100000 was expected"},
      {"[drives]\nlow_minutes = 1.5\n",
       "2:15: low_minutes: a whole number from 0 to 100000 was expected"},
  };
  for (const auto& c : cases) {
    configure(c.toml);
    EXPECT_EQ(host::settingsProblem(), at(c.problem)) << c.toml;
    EXPECT_EQ(host::settings()->drivesFormats, (std::vector<std::string>{"dv25", "hd8"})) << c.toml;
    EXPECT_EQ(host::settings()->lowMinutes, 30u) << c.toml;
  }
}

TEST_F(SettingsTest, AFileThatDoesNotParseSaysWhere) {
  configure("[volumes]\nE = \n");
  EXPECT_EQ(host::settingsProblem().substr(0, at("2:").size()), at("2:"));
  EXPECT_GT(host::settingsProblem().size(), at("2:5: ").size());
}

TEST_F(SettingsTest, APathWithoutQuotesIsToldWhatItLacks) {
  configure("[volumes]\nE = /mnt/a\n");
  const std::string problem = host::settingsProblem();
  EXPECT_EQ(problem.substr(0, at("2:5: ").size()), at("2:5: "));
  EXPECT_TRUE(problem.ends_with("; texts and paths stand in quotes")) << problem;
}

TEST_F(SettingsTest, AProblemIsOneLineWhateverItQuotes) {
  const struct {
    const char *toml, *problem;
  } cases[] = {
      {"[volumes]\n\"a\\nb\" = '/e'\n",
       "2:1: a volume's letter from A to Z was expected, not a\\u000Ab"},
      {"[messenger]\nengine = \"a\\r\\u007F\"\n",
       "2:10: engine: \"dbus\", \"nats\" or \"none\" was expected, not a\\u000D\\u007F"},
  };
  for (const auto& c : cases) {
    configure(c.toml);
    EXPECT_EQ(host::settingsProblem(), at(c.problem)) << c.toml;
  }
}

TEST_F(SettingsTest, ASectionWithoutANameIsAProblemAtItsPlace) {
  configure("[\n");
  EXPECT_EQ(host::settingsProblem().substr(0, at("1:2:").size()), at("1:2:"));
}

TEST_F(SettingsTest, ALetterOutsideQuotesIsAProblemAtItsPlace) {
  for (const char* letter : {"\u00E9", "\u0494", "\u1750", "\u4E00", "\uFEFE"}) {
    configure("[volumes" + std::string(letter) + "]\n");
    EXPECT_EQ(host::settingsProblem().substr(0, at("1:9:").size()), at("1:9:")) << letter;
  }
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
