#include "host/nats/names.h"

#include <gtest/gtest.h>

using host::nats::groupName;

namespace {

TEST(NatsNamesTest, AGroupIsItsLobbyAndTheDigestOfTheWhole) {
  EXPECT_EQ(groupName("//nas/projects/Alpha"), "Alpha-ba80325d275f5ea2");
  EXPECT_EQ(groupName("//nas/projects/alpha"), "alpha-2e4f5ebeaea45e76");
  EXPECT_EQ(groupName("//nas/other/Alpha"), "Alpha-279be12026815527");
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
  EXPECT_EQ(host::nats::streamOf("//nas/projects/Alpha"), "miscdisc-Alpha-ba80325d275f5ea2");
  EXPECT_EQ(host::nats::subjectOf("//nas/projects/Alpha"), "miscdisc.Alpha-ba80325d275f5ea2");
  EXPECT_EQ(host::nats::inboxOf("//nas/projects/Alpha"), "miscdisc-inbox.Alpha-ba80325d275f5ea2");
}

}  // namespace
