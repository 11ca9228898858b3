#include "host/nats/names.h"

#include <gtest/gtest.h>

using host::nats::groupName;

namespace {

TEST(NatsNamesTest, AGroupIsItsLobbyAndTheDigestOfTheWhole) {
  EXPECT_EQ(groupName(R"(\\nas\projects\Alpha)"), "Alpha-a94de85b9497535b");
  EXPECT_EQ(groupName(R"(\\nas\projects\alpha)"), "alpha-cbb99dc4a6205ef9");
  EXPECT_EQ(groupName(R"(\\nas\other\Alpha)"), "Alpha-7105801e280c5832");
  EXPECT_EQ(groupName("//nas/p/Film \u00d6 & more"), "Film------more-cbac0b8b32945240");
  EXPECT_EQ(groupName(""), "-1b4db7eb40575ddf");
}

TEST(NatsNamesTest, ALongNameIsCutAndStillItsOwn) {
  const std::string group = "//nas/" + std::string(100, 'x');
  EXPECT_EQ(groupName(group).substr(0, 33), std::string(32, 'x') + "-");
  EXPECT_EQ(groupName(group).size(), 49u);
  EXPECT_NE(groupName(group), groupName(group + "x"));
}

TEST(NatsNamesTest, TheLobbyIsTheLastPart) {
  EXPECT_EQ(host::nats::lobbyOf("//nas/projects/Film A/"), "Film A");
  EXPECT_EQ(host::nats::lobbyOf("\\\\nas\\projects\\Beta"), "Beta");
  EXPECT_EQ(host::nats::lobbyOf("//"), "");
}

TEST(NatsNamesTest, EverythingOfAGroupCarriesItsName) {
  EXPECT_EQ(host::nats::streamOf(R"(\\nas\projects\Alpha)"), "miscdisc-Alpha-a94de85b9497535b");
  EXPECT_EQ(host::nats::subjectOf(R"(\\nas\projects\Alpha)"), "miscdisc.Alpha-a94de85b9497535b");
  EXPECT_EQ(host::nats::inboxOf(R"(\\nas\projects\Alpha)"),
            "miscdisc-inbox.Alpha-a94de85b9497535b");
}

}  // namespace
