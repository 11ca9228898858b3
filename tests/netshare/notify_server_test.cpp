#include "miscdisc/netshare/notify_server.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "miscdisc/lobby/lobby_utils.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct NotifyServerTest : testing::Test {
  FakePlatform& platform = fakePlatform();
};

struct Client : ValObserverClient {
  void valueAboutToChange(ValClientBase&) override {
    heard.push_back("before: " + getNetMessageServer()->getVal());
  }
  void valueChanged(ValClientBase&) override {
    heard.push_back("after: " + getNetMessageServer()->getVal());
  }
  std::vector<String> heard;
};

}  // namespace

TEST_F(NotifyServerTest, SendsInNetworkModeOnly) {
  SendNotify("8 a");
  EXPECT_EQ(platform.messengersAsked, 0);  // not even a server was made

  LobbyUtils::networkMode_ = true;
  SendNotify("8 b");
  EXPECT_EQ(platform.sent, (std::vector<String>{"8 b"}));
}

TEST_F(NotifyServerTest, SendsNothingWhileDisabled) {
  LobbyUtils::networkMode_ = true;
  DisableNetNotify();
  SendNotify("8 a");
  EXPECT_EQ(platform.messengersAsked, 0);

  EnableNetNotify();
  SendNotify("8 b");
  EXPECT_EQ(platform.sent, (std::vector<String>{"8 b"}));
}

TEST_F(NotifyServerTest, TextsPassUnchangedWhateverTheyHold) {
  LobbyUtils::networkMode_ = true;
  const String text("8 a\0\xFF\n", 6);
  SendNotify(text);
  EXPECT_EQ(platform.sent, (std::vector<String>{text}));
}

TEST_F(NotifyServerTest, AsksForOneMessenger) {
  BeginNotify();
  BeginNotify();
  getNetMessageServer();
  EXPECT_EQ(platform.messengersAsked, 1);
}

TEST_F(NotifyServerTest, WithoutAMessengerTextsAreDropped) {
  platform.hasMessenger = false;
  LobbyUtils::networkMode_ = true;
  SendNotify("8 a");
  EXPECT_TRUE(platform.sent.empty());
  EndNotify();
}

TEST_F(NotifyServerTest, ATextThatComesInIsTheValueAndAnnouncedBeforeAndAfter) {
  Client client;
  ValObserver<String> observer;
  observer.registerWith(*getNetMessageServer());
  observer.setClient(&client);

  platform.deliver("8 a");
  platform.deliver("8 a");  // the same again is news again

  EXPECT_EQ(client.heard,
            (std::vector<String>{"before: ", "after: 8 a", "before: 8 a", "after: 8 a"}));
}

TEST_F(NotifyServerTest, IncomingTextsAreNotLoggedByDefault) {
  BeginNotify();
  platform.deliver("8 a");
  EXPECT_TRUE(platform.log.empty());
}

TEST_F(NotifyServerTest, IncomingTextsAreNotLoggedWhenTheSettingIsZero) {
  platform.settings[{"Configuration", "log_incoming_net_messages"}] = "0";
  BeginNotify();
  platform.deliver("8 a");
  EXPECT_TRUE(platform.log.empty());
}

TEST_F(NotifyServerTest, IncomingTextsAreLoggedOnceEachWhenTheSettingIsNotZero) {
  platform.settings[{"Configuration", "log_incoming_net_messages"}] = "-1";
  BeginNotify();
  platform.deliver("8 a");
  platform.deliver("9 b");
  EXPECT_EQ(platform.log, (std::vector<String>{"Received: 8 a\n", "Received: 9 b\n"}));
}

TEST_F(NotifyServerTest, TheSettingIsReadOnce) {
  BeginNotify();
  platform.deliver("8 a");
  platform.settings[{"Configuration", "log_incoming_net_messages"}] = "1";
  platform.deliver("8 b");
  EXPECT_TRUE(platform.log.empty());
}

TEST_F(NotifyServerTest, TwoThreadsMakeOneServer) {
  std::latch start(2);
  NotifyServer* seen[2] = {};
  const auto make = [&](int i) {
    start.arrive_and_wait();
    seen[i] = NotifyServer::instance();
  };
  std::thread first(make, 0), second(make, 1);
  first.join();
  second.join();
  EXPECT_EQ(seen[0], seen[1]);
  EXPECT_EQ(platform.messengersAsked, 1);
}

TEST_F(NotifyServerTest, EndReleasesTheMessengerAndWithItTheReceiver) {
  BeginNotify();
  EXPECT_TRUE(platform.receiver);
  EndNotify();
  EXPECT_FALSE(platform.receiver);
}

TEST_F(NotifyServerTest, AListenerMayEndItWhenItIsToldOfAValue) {
  struct Ending : ValObserverClient {
    void valueChanged(ValClientBase&) override {
      last = getNetMessageServer()->getVal();
      EndNotify();
    }
    String last;
  } ending;
  ValObserver<String> observer;
  observer.registerWith(*getNetMessageServer());
  observer.setClient(&ending);
  const Qx::Ptr<iNetMessageReceiver> called = platform.receiver;  // as a messenger holds it
  called->receive("8 a");
  EXPECT_EQ(ending.last, "8 a");
  EXPECT_FALSE(platform.receiver);
}

TEST_F(NotifyServerTest, EndWithoutABeginMakesAServerAndDestroysIt) {
  EndNotify();
  EXPECT_EQ(platform.messengersAsked, 1);
  EXPECT_FALSE(platform.receiver);
}
