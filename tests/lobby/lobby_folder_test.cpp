// Which folders are lobbies; runs on the fakes and on the host.
#include <gtest/gtest.h>

#include "miscdisc/lobby/lobby_utils.h"
#include "tests/platform/ground.h"

TEST(LobbyFolder, IsALobbyWhenItHoldsTheMediaLocationsFile) {
  const WString alpha = ground::folder() + L"Alpha";
  ground::makeFolder(alpha + L"/");
  EXPECT_FALSE(LobbyUtils::isNetworkLobby(alpha));

  ground::writeFile(alpha + L"/DefNetDrive.txt", "");
  EXPECT_TRUE(LobbyUtils::isNetworkLobby(alpha));
  EXPECT_TRUE(LobbyUtils::isNetworkLobby(alpha + L"/"));
  EXPECT_FALSE(LobbyUtils::isNetworkLobby(ground::folder() + L"Beta"));
}
