#include "miscdisc/platform/values/val_server.h"

#include <gtest/gtest.h>

namespace {

struct Client : ValObserverClient {
  void valueAboutToChange(ValClientBase&) override { ++announced; }
  void valueChanged(ValClientBase&) override { ++changed; }
  int announced = 0;
  int changed = 0;
};

struct Guard : ValGuard<WString> {
  bool accepts(ValServer<WString>&, WString proposed) override { return proposed != L"locked"; }
  void serverGone(ValServer<WString>&) override { ++serversGone; }
  int serversGone = 0;
};

}  // namespace

TEST(ValServer, AnnouncesEverySetAlsoOfTheSameValue) {
  ValServer<WString> server;
  Client client;
  ValObserver<WString> observer;
  observer.registerWith(server);
  observer.setClient(&client);

  EXPECT_TRUE(server.updateAndNotify(L"Room 1"));
  EXPECT_TRUE(server.updateAndNotify(L"Room 1"));

  EXPECT_EQ(client.changed, 2);
  EXPECT_EQ(client.announced, 0);  // updateAndNotify sends no message before the change
  EXPECT_EQ(server.getVal(), L"Room 1");
}

TEST(ValServer, GuardIsStillAskedWhileItIsToldOfTheEnd) {
  struct : Guard {
    void serverGone(ValServer<WString>& server) override {
      EXPECT_FALSE(server.updateAndNotify(L"locked"));
      Guard::serverGone(server);
    }
  } guard;
  {
    ValServer<WString> server;
    server.setGuard(&guard);
  }
  EXPECT_EQ(guard.serversGone, 1);
}

TEST(ValServer, AssignmentIsASet) {
  ValServer<WString> server, other;
  Client client;
  ValObserver<WString> observer;
  observer.registerWith(server);
  observer.setClient(&client);
  other = L"Room 2";

  server = L"Room 1";
  server = other;

  EXPECT_EQ(client.changed, 2);
  EXPECT_TRUE(server == other);
}

TEST(ValServer, AGuardMayRefuse) {
  Guard guard;
  {
    ValServer<WString> server;
    Client client;
    ValObserver<WString> observer;
    observer.registerWith(server);
    observer.setClient(&client);
    server.setGuard(&guard);

    EXPECT_FALSE(server.updateAndNotify(L"locked"));
    EXPECT_EQ(server.getVal(), L"");
    EXPECT_EQ(client.changed, 0);

    EXPECT_TRUE(server.updateAndNotify(L"open"));
    EXPECT_EQ(client.changed, 1);
  }
  EXPECT_EQ(guard.serversGone, 1);
}

TEST(ValServer, PreNotifyReachesTheClientAsItsOwnMessage) {
  ValServer<String> server;
  Client client;
  ValObserver<String> observer;
  observer.registerWith(server);
  observer.setClient(&client);
  server.preNotifyValChanged();
  EXPECT_EQ(client.announced, 1);
  EXPECT_EQ(client.changed, 0);
}

TEST(ValClientBase, IsRegisteredOnceAndCanLeave) {
  ValServer<WString> server;
  Client client;
  ValObserver<WString> observer;
  observer.setClient(&client);
  EXPECT_EQ(observer.getValServer(0), nullptr);
  observer.deregisterFrom(nullptr);

  observer.registerWith(server);
  observer.registerWith(server);
  EXPECT_EQ(observer.getValServer(0), &server);
  EXPECT_EQ(observer.getValServer(1), nullptr);
  server = L"once";
  EXPECT_EQ(client.changed, 1);

  observer.deregisterFrom(&server);
  server = L"unheard";
  EXPECT_EQ(client.changed, 1);
  EXPECT_EQ(observer.getValServer(0), nullptr);
}

TEST(ValClientBase, ForgetsAServerThatIsGone) {
  ValObserver<WString> observer;
  {
    ValServer<WString> server;
    observer.registerWith(server);
  }
  EXPECT_EQ(observer.getValServer(0), nullptr);
}

TEST(LastValServer, IsTheOneBuiltLastWhileItLives) {
  {
    ValServer<WString> server;
    EXPECT_EQ(LastValServer::getLastValServer(), static_cast<LastValServer*>(&server));
  }
  EXPECT_EQ(LastValServer::getLastValServer(), nullptr);
}
