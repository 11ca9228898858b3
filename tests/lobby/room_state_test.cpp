#include <gtest/gtest.h>

#include "miscdisc/lobby/lobby_utils.h"

namespace {

struct Client : ValObserverClient {
  void valueAboutToChange(ValClientBase&) override { ++announced; }
  void valueChanged(ValClientBase&) override { heard.push_back(LobbyUtils::getRoomName()); }
  std::vector<WString> heard;
  int announced = 0;
};

}  // namespace

TEST(RoomState, StartsEmpty) {
  EXPECT_EQ(LobbyUtils::getRoomName(), L"");
  EXPECT_EQ(LobbyUtils::getRoomFileName(), L"");
  EXPECT_EQ(LobbyUtils::getPreviousRoomName(), L"");
}

TEST(RoomState, EverySetOfTheRoomNameIsAnnouncedAlsoOfTheSameName) {
  Client client;
  ValObserver<WString> observer;
  LobbyUtils::registerForRoomNameChanges(observer, client);
  LobbyUtils::setRoomName(L"Edit 1");
  LobbyUtils::setRoomName(L"Edit 1");
  EXPECT_EQ(client.heard, (std::vector<WString>{L"Edit 1", L"Edit 1"}));
  EXPECT_EQ(client.announced, 0);  // nobody is told before the change
}

// A set is told to those who watch at that moment: not to one who left, nor to one who comes later.
TEST(RoomState, WithoutAnObserverTheNameIsSetAndNothingIsSent) {
  Client former, later;
  ValObserver<WString> left, come;
  LobbyUtils::registerForRoomNameChanges(left, former);
  ValServerBase* const name = left.getValServer(0);
  ASSERT_NE(name, nullptr);
  EXPECT_TRUE(name->notifier().hasListeners());
  left.deregisterFrom(name);
  EXPECT_FALSE(name->notifier().hasListeners());

  LobbyUtils::setRoomName(L"Edit 2");
  EXPECT_EQ(LobbyUtils::getRoomName(), L"Edit 2");
  LobbyUtils::registerForRoomNameChanges(come, later);
  EXPECT_TRUE(former.heard.empty());
  EXPECT_TRUE(later.heard.empty());
  EXPECT_EQ(former.announced + later.announced, 0);
}

TEST(RoomState, RegisteringTwiceRegistersOnce) {
  Client client;
  ValObserver<WString> observer;
  LobbyUtils::registerForRoomNameChanges(observer, client);
  LobbyUtils::registerForRoomNameChanges(observer, client);
  LobbyUtils::setRoomName(L"Edit 1");
  EXPECT_EQ(client.heard.size(), 1u);
}

TEST(RoomState, RegisteringLeavesWhatWasWatchedBefore) {
  ValServer<WString> other;
  Client client;
  ValObserver<WString> observer;
  observer.registerWith(other);
  LobbyUtils::registerForRoomNameChanges(observer, client);
  other = L"unheard";
  EXPECT_TRUE(client.heard.empty());
}

TEST(RoomState, TheLastClientIsTheOneToldAbout) {
  Client first, second;
  ValObserver<WString> observer;
  LobbyUtils::registerForRoomNameChanges(observer, first);
  LobbyUtils::registerForRoomNameChanges(observer, second);
  LobbyUtils::setRoomName(L"Edit 1");
  EXPECT_TRUE(first.heard.empty());
  EXPECT_EQ(second.heard.size(), 1u);
}

TEST(RoomState, TheRoomFileTellsWhetherTheUserIsInTheLobby) {
  Client client;
  ValObserver<WString> observer;
  LobbyUtils::registerForRoomNameChanges(observer, client);
  LobbyUtils::setRoomFileName(L"/share/projects/Alpha/Edit 1");
  EXPECT_FALSE(LobbyUtils::inLobby());
  EXPECT_EQ(LobbyUtils::getRoomFileName(), L"/share/projects/Alpha/Edit 1");
  LobbyUtils::setRoomFileName(L"");
  EXPECT_TRUE(LobbyUtils::inLobby());
  EXPECT_TRUE(client.heard.empty());
}

TEST(RoomState, ThePreviousRoomIsHandedOutAsTheValueItself) {
  const WString& previous = LobbyUtils::getPreviousRoomName();
  LobbyUtils::setPreviousRoomName(L"Edit 3");
  EXPECT_EQ(previous, L"Edit 3");
}
