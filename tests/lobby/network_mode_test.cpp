#include <gtest/gtest.h>

#include "miscdisc/lobby/lobby_utils.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct NetworkModeTest : testing::Test {
  void setRoot(const String& root) { set("network project root", root); }
  void setLobby(const String& name) { set("network lobby name", name); }
  void set(const String& key, const String& value) {
    platform.settings[{"Configuration", key}] = value;
  }
  FakePlatform& platform = fakePlatform();
};

}  // namespace

TEST_F(NetworkModeTest, StartsLocalAndInTheLobby) {
  EXPECT_FALSE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_TRUE(LobbyUtils::inLobby());
  LobbyUtils::networkMode_ = true;
  EXPECT_TRUE(LobbyUtils::machineIsInNetworkMode());
  EXPECT_TRUE(LobbyUtils::inLobby());  // network mode does not matter
}

TEST_F(NetworkModeTest, TheKeysOfTheRootsAreKnown) {
  EXPECT_STREQ(LobbyUtils::NetProjRootRegKey, "network project root");
  EXPECT_STREQ(LobbyUtils::NetMatRootRegKey, "network material root");
}

TEST_F(NetworkModeTest, ConfiguredRootsComeBackUnchanged) {
  setRoot("/share/projects");
  set("network material root", "/share/m\xC3\xA4terial/");
  EXPECT_EQ(LobbyUtils::getNetworkProjectsRoot(), L"/share/projects");
  EXPECT_EQ(LobbyUtils::getNetworkMaterialRoot(), L"/share/m\u00E4terial/");
}

TEST_F(NetworkModeTest, EmptyRootsGiveThePlatformsFoldersAndStayEmpty) {
  setRoot("");
  EXPECT_EQ(LobbyUtils::getNetworkProjectsRoot(), L"/home/ann/network/projects/");
  EXPECT_EQ(LobbyUtils::getNetworkMaterialRoot(), L"/home/ann/network/material/");
  EXPECT_EQ((platform.settings[{"Configuration", "network project root"}]), "");
  EXPECT_FALSE((platform.settings.contains({"Configuration", "network material root"})));
}

TEST_F(NetworkModeTest, SettingsAreReadAtEveryCall) {
  setRoot("/a");
  EXPECT_EQ(LobbyUtils::getNetworkProjectsRoot(), L"/a");
  setRoot("/b");
  EXPECT_EQ(LobbyUtils::getNetworkProjectsRoot(), L"/b");
}

TEST_F(NetworkModeTest, ALobbysPathIsTheRootASeparatorAndItsName) {
  struct {
    const char* why;
    String root;
    WString name;
    bool separator;
    WString path;
  } const cases[] = {
      {"plain", "/share/projects", L"Alpha", false, L"/share/projects/Alpha"},
      {"with its separator", "/share/projects", L"Alpha", true, L"/share/projects/Alpha/"},
      {"the root has one already", "/share/projects/", L"Alpha", false, L"/share/projects/Alpha"},
      {"a name that ends in one gets two", "/share/projects", L"Alpha/", true,
       L"/share/projects/Alpha//"},
      {"no name, two at the end", "/share/projects", L"", true, L"/share/projects//"},
      {"no name, the root's own and one more", "/share/projects/", L"", true, L"/share/projects//"},
      {"no name, no flag", "/share/projects", L"", false, L"/share/projects/"},
  };
  for (const auto& c : cases) {
    setRoot(c.root);
    EXPECT_EQ(LobbyUtils::getNetworkLobbyFullPath(c.name, c.separator), c.path) << c.why;
  }
}

TEST_F(NetworkModeTest, TheCurrentLobbyIsTheConfiguredOne) {
  EXPECT_EQ(LobbyUtils::getCurrentNetworkLobbyName(), L"");
  setRoot("/share/projects");
  EXPECT_EQ(LobbyUtils::getCurrentNetworkLobbyFullPath(true), L"/share/projects//");
  setLobby(" Alpha ");  // nothing is trimmed
  EXPECT_EQ(LobbyUtils::getCurrentNetworkLobbyName(), L" Alpha ");
  EXPECT_EQ(LobbyUtils::getCurrentNetworkLobbyFullPath(false), L"/share/projects/ Alpha ");
}

TEST_F(NetworkModeTest, TheFolderToWorkInFollowsTheMode) {
  setRoot("/share/projects");
  setLobby("Alpha");
  platform.localProjects = L"/disk/projects";  // a platform that gives no separator
  EXPECT_EQ(LobbyUtils::getCurrentLobbyName(), L"/disk/projects");
  platform.localProjects = L"/disk/projects/";
  EXPECT_EQ(LobbyUtils::getCurrentLobbyName(), L"/disk/projects/");
  LobbyUtils::networkMode_ = true;
  EXPECT_EQ(LobbyUtils::getCurrentLobbyName(), L"/share/projects/Alpha/");
}
