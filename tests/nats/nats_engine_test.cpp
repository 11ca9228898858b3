// Texts over a real server.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>

#include "tests/nats/administrator.h"
#include "tests/nats/box.h"
#include "tests/nats/server.h"

using namespace std::chrono_literals;
using test::Administrator;
using test::Member;
using test::Server;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr char kAlpha[] = R"(\\nas\projects\Alpha)";
constexpr char kBeta[] = R"(\\nas\projects\Beta)";

std::vector<std::string> numbered(int first, int last) {
  std::vector<std::string> texts;
  for (int number = first; number <= last; ++number) texts.push_back(std::to_string(number));
  return texts;
}

void sendNumbered(Member& member, int first, int last) {
  for (const std::string& text : numbered(first, last)) member.send(text);
}

size_t threads() {
  const std::filesystem::directory_iterator tasks("/proc/self/task"), end;
  return static_cast<size_t>(std::distance(tasks, end));
}

// A server with a stream for Alpha.
class NatsEngineTest : public testing::Test {
 protected:
  NatsEngineTest() { EXPECT_EQ(test::makeStream(settings(), kAlpha), ""); }

  host::EngineSettings settings() const { return {server.url(), "", ""}; }

  Server server;
};

TEST_F(NatsEngineTest, TextsReachTheOthersInOrderAndNotTheSender) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1"),
      cid(settings(), kAlpha, "c1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected() && cid.awaitConnected());
  sendNumbered(ann, 1, 100);
  ASSERT_TRUE(bob.awaitTexts(100) && cid.awaitTexts(100));
  bob.send("thanks");
  ASSERT_TRUE(ann.awaitTexts(1));
  EXPECT_EQ(bob.seen().texts, numbered(1, 100));
  EXPECT_THAT(ann.seen().texts, ElementsAre("thanks"));
  ASSERT_TRUE(cid.awaitTexts(101));
  EXPECT_EQ(bob.seen().losses + ann.seen().losses + cid.seen().losses, 0);
  EXPECT_THAT(ann.seen().words, HasSubstr("connected to nats://127.0.0.1:"));
}

TEST_F(NatsEngineTest, AParcelArrivesWhole) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  const std::string zeros("a\0b\r\n\0", 6);
  ann.send("");
  ann.send(zeros);
  ASSERT_TRUE(bob.awaitTexts(2));
  const host::Parcel second = bob.seen().parcels.at(1);
  EXPECT_THAT(bob.seen().texts, ElementsAre("", zeros));
  EXPECT_EQ(second.kind, host::Parcel::Kind::kText);
  EXPECT_EQ(second.group, kAlpha);
  EXPECT_EQ(second.sender, "a1");
  EXPECT_EQ(second.number, 2u);
}

// It may as well have been sent after we came, before we listened.
TEST_F(NatsEngineTest, WhatWasSentBeforeWeCameIsNotForUsButReadAgain) {
  Member ann(settings(), kAlpha, "a1");
  ann.send("before");
  ann.leave(60s);
  Member bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  Member cid(settings(), kAlpha, "c1");
  cid.send("after");
  ASSERT_TRUE(bob.awaitTexts(1));
  EXPECT_THAT(bob.seen().texts, ElementsAre("after"));
  EXPECT_EQ(bob.seen().losses, 1);
}

TEST_F(NatsEngineTest, AShortLifeIsLongEnoughToSend) {
  Member bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  {
    Member ann(settings(), kAlpha, "a1");
    sendNumbered(ann, 1, 500);
    ann.leave(60s);
    EXPECT_THAT(ann.seen().undelivered, IsEmpty());
  }
  ASSERT_TRUE(bob.awaitTexts(500));
  EXPECT_EQ(bob.seen().texts, numbered(1, 500));
}

TEST_F(NatsEngineTest, AnotherLobbyIsAnotherStream) {
  ASSERT_EQ(test::makeStream(settings(), kBeta), "");
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kBeta, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  ann.send("to Alpha");
  ann.enter(kBeta);
  ann.send("to Beta");
  ASSERT_TRUE(bob.awaitTexts(1));
  EXPECT_THAT(bob.seen().texts, ElementsAre("to Beta"));
  bob.send("back");
  ASSERT_TRUE(ann.awaitTexts(1));
  EXPECT_EQ(ann.seen().parcels.at(0).group, kBeta);
  EXPECT_TRUE(Administrator(server).awaitLast(kAlpha, 1));
}

TEST_F(NatsEngineTest, TextsForALobbyThatWeHaveLeftStillGoThere) {
  Member bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  Member ann(settings(), "", "a1");
  ASSERT_TRUE(ann.awaitWords("in no lobby"));
  ann.enter(kAlpha);
  ann.send("1");
  ann.enter("");
  ASSERT_TRUE(bob.awaitTexts(1));
  ASSERT_TRUE(ann.awaitWords("in no lobby"));
  ann.enter(kAlpha);
  EXPECT_TRUE(ann.awaitConnected());
}

TEST_F(NatsEngineTest, WithoutThatLobbysStreamTheyAreGivenUpAndTheOthersGo) {
  Member bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  Member ann(settings(), kBeta, "a1");
  ASSERT_TRUE(ann.awaitWords("miscdisc notify setup --lobby Beta --run"));
  ann.send("to Beta");
  ann.enter(kAlpha);
  ann.send("to Alpha");
  ASSERT_TRUE(bob.awaitTexts(1));
  EXPECT_THAT(bob.seen().texts, ElementsAre("to Alpha"));
  ASSERT_TRUE(ann.awaitUndelivered());
  EXPECT_THAT(ann.seen().undelivered,
              ElementsAre(Pair("to Beta", HasSubstr("miscdisc notify setup --lobby Beta --run"))));
}

// Moves a stream to a subject that nobody sends to, and with 'm' back: as while the server starts
// or ends, or a cluster chooses who answers for the stream.
auto subjectBeginsWith(char first) {
  return [first](jsStreamConfig& config) { const_cast<char*>(config.Subjects[0])[0] = first; };
}

TEST_F(NatsEngineTest, WhileNobodyTakesTextsForALobbyThatWeHaveLeftTheyAreKept) {
  Administrator administrator(server);
  administrator.updateStream(kAlpha, subjectBeginsWith('x'));
  test::Box ann(kAlpha, "a1");
  ann.send("1");
  ann.enter("");
  const std::unique_ptr<host::Engine> engine = test::makeEngine(settings());
  std::thread runs([&] { engine->run(ann); });
  EXPECT_TRUE(ann.awaitWords("the server refuses a text: "));
  administrator.updateStream(kAlpha, subjectBeginsWith('m'));
  EXPECT_TRUE(administrator.awaitLast(kAlpha, 1));
  ann.endWithin(60s);
  runs.join();
  EXPECT_THAT(ann.seen().undelivered, IsEmpty());
}

TEST_F(NatsEngineTest, ButTheyDoNotKeepThePresentLobbyWaitingWithoutEnd) {
  Administrator administrator(server);
  administrator.makeStream(kBeta, [](jsStreamConfig&) {});
  administrator.updateStream(kAlpha, subjectBeginsWith('x'));
  test::Box ann(kAlpha, "a1");
  ann.send("1");
  ann.send("2");
  ann.enter(kBeta);
  ann.send("to Beta");
  const std::unique_ptr<host::Engine> engine = test::makeEngine(settings());
  std::thread runs([&] { engine->run(ann); });
  EXPECT_TRUE(administrator.awaitLast(kBeta, 1));
  ann.endWithin(60s);
  runs.join();
  EXPECT_THAT(ann.seen().undelivered,
              ElementsAre(Pair("1", HasSubstr("the server refuses a text: ")),
                          Pair("2", HasSubstr("the server refuses a text: "))));
}

TEST_F(NatsEngineTest, OverAKilledServerNothingIsLostAndNothingComesTwice) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  for (int round = 0; round < 3; ++round) {
    const int first = round * 1000 + 1;
    sendNumbered(ann, first, first + 499);
    ASSERT_TRUE(bob.awaitTexts(first));  // in the midst of it
    server.kill();
    sendNumbered(ann, first + 500, first + 999);
    ASSERT_TRUE(ann.awaitWords(""));
    server.start();
    ASSERT_TRUE(bob.awaitTexts(first + 999));
  }
  ann.send("3001");
  ASSERT_TRUE(bob.awaitTexts(3001));
  EXPECT_EQ(bob.seen().texts, numbered(1, 3001));
  EXPECT_EQ(bob.seen().losses, 0);
}

TEST_F(NatsEngineTest, OverARestartTheReceiverThatWasAwayLongerHearsTheRest) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  ann.send("1");
  ASSERT_TRUE(bob.awaitTexts(1));
  server.end();
  ASSERT_TRUE(bob.awaitWords("no answer"));
  server.start();
  sendNumbered(ann, 2, 200);
  ASSERT_TRUE(bob.awaitTexts(200));
  EXPECT_EQ(bob.seen().texts, numbered(1, 200));
  EXPECT_EQ(bob.seen().losses, 0);
}

TEST_F(NatsEngineTest, AServerThatStandsStillIsLeftAndFoundAgain) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  server.stop();
  sendNumbered(ann, 1, 5000);
  const auto hasNoticed = [](const auto& seen) { return !seen.connected; };
  ASSERT_TRUE(ann.await(hasNoticed) && bob.await(hasNoticed));  // bob only listens
  server.resume();
  ASSERT_TRUE(bob.awaitTexts(5000));
  EXPECT_EQ(bob.seen().texts, numbered(1, 5000));
  EXPECT_EQ(bob.seen().losses, 0);
}

TEST_F(NatsEngineTest, AServerThatStandsStillKeepsNobodyFromLeaving) {
  Member ann(settings(), kAlpha, "a1");
  ASSERT_TRUE(ann.awaitConnected());
  server.stop();
  ann.send("too late");
  const auto begin = std::chrono::steady_clock::now();
  ann.leave(500ms);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
  EXPECT_THAT(ann.seen().undelivered, ElementsAre(Pair("too late", testing::_)));
}

// A text for Beta waits in Alpha, and the end comes when the engine asks which lobby we are in.
class Interrupted : public test::Box {
 public:
  Interrupted() : Box(kAlpha, "a1") {}

  std::optional<host::Parcel> take() override {
    if (!sends.exchange(false)) return std::nullopt;
    ends_ = true;
    return host::Parcel{host::Parcel::Kind::kText, kBeta, "a1", 1, "to Beta"};
  }

  std::string group() override {
    if (ends_.exchange(false)) endWithin(500ms);
    return Box::group();
  }

  std::atomic<bool> sends = false;

 private:
  std::atomic<bool> ends_ = false;
};

TEST_F(NatsEngineTest, AnEndThatComesWhileATextIsPublishedIsNotMissed) {
  Interrupted ann;
  const std::unique_ptr<host::Engine> engine = test::makeEngine(settings());
  std::thread runs([&] { engine->run(ann); });
  EXPECT_TRUE(ann.awaitConnected());
  server.stop();
  ann.sends = true;
  ann.enter(kAlpha);  // rings
  runs.join();
  // Unnoticed it would last until the connection is found dead, which would be the reason then.
  EXPECT_THAT(ann.seen().undelivered,
              ElementsAre(Pair("to Beta", "the server did not confirm it in time")));
}

// The receiver is a process of its own, which can be stopped.
TEST_F(NatsEngineTest, AReceiverThatStandsStillHearsEverythingAfterwards) {
  constexpr size_t kTexts = 20000;
  int heard[2];
  ASSERT_EQ(pipe(heard), 0);
  const pid_t receiver = fork();
  if (receiver == 0) {
    Member bob(settings(), kAlpha, "b1");
    bool good = bob.awaitConnected() && write(heard[1], "c", 1) == 1 && bob.awaitTexts(1) &&
                write(heard[1], "1", 1) == 1 && bob.awaitTexts(kTexts);
    good = good && bob.seen().texts == numbered(1, kTexts) && bob.seen().losses == 0;
    good = good && write(heard[1], "a", 1) == 1;
    _exit(good ? 0 : 1);
  }
  close(heard[1]);
  char step = 0;
  ASSERT_EQ(read(heard[0], &step, 1), 1);
  Member ann(settings(), kAlpha, "a1");
  ann.send("1");
  ASSERT_EQ(read(heard[0], &step, 1), 1);
  kill(receiver, SIGSTOP);
  sendNumbered(ann, 2, kTexts);
  Administrator administrator(server);
  EXPECT_TRUE(administrator.awaitLast(kAlpha, kTexts));
  kill(receiver, SIGCONT);
  int status = 0;
  ASSERT_EQ(waitpid(receiver, &status, 0), receiver);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  close(heard[0]);
}

TEST_F(NatsEngineTest, WithoutAServerItSaysSoAndComesWhenTheServerDoes) {
  server.end();
  Member bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitWords("no answer from nats://127.0.0.1:"));
  EXPECT_THAT(bob.seen().words, HasSubstr("check \"url\" in the settings, the network"));
  bob.send("kept");
  server.start();
  EXPECT_TRUE(bob.awaitConnected());
  EXPECT_THAT(bob.seen().undelivered, IsEmpty());
}

TEST_F(NatsEngineTest, AMissingStreamIsSaidWithTheCommandAndUsedOnceItIsThere) {
  Member ann(settings(), kBeta, "a1"), bob(settings(), kBeta, "b1");
  ann.send("kept");
  ASSERT_TRUE(
      ann.awaitWords("an administrator makes it with: miscdisc notify setup --lobby Beta --run"));
  ASSERT_TRUE(bob.awaitWords(R"(the server has no stream for the lobby \\nas\projects\Beta)"));
  Administrator administrator(server);
  ASSERT_EQ(test::makeStream(settings(), kBeta), "");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  EXPECT_TRUE(administrator.awaitLast(kBeta, 1));
}

TEST_F(NatsEngineTest, AStreamThatIsThereIsLeftAsItIs) {
  // Making a stream closes the client library when it is done, so each has its own connection.
  Administrator(server).makeStream(kBeta, [](jsStreamConfig& config) { config.MaxMsgs = 7; });
  EXPECT_EQ(test::makeStream(settings(), kBeta), "");
  Administrator(server).updateStream(kBeta,
                                     [](jsStreamConfig& config) { EXPECT_EQ(config.MaxMsgs, 7); });
}

TEST_F(NatsEngineTest, AStreamMadeAnewIsALossAndTheReceiverGoesOn) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  sendNumbered(ann, 1, 3);
  ASSERT_TRUE(bob.awaitTexts(3));
  Administrator(server).deleteStream(kAlpha);
  bob.send("who sends notices at once");
  ASSERT_TRUE(bob.awaitWords("miscdisc notify setup --lobby Alpha --run"));
  ASSERT_EQ(test::makeStream(settings(), kAlpha), "");
  ASSERT_TRUE(bob.awaitConnected()) << bob.seen().words;
  ann.send("4");
  ASSERT_TRUE(bob.awaitTexts(4));
  EXPECT_EQ(bob.seen().losses, 1);
  EXPECT_EQ(bob.seen().texts, numbered(1, 4));
}

TEST_F(NatsEngineTest, AFullStreamThatTakesNoMoreIsSaidAndNothingIsLost) {
  Administrator administrator(server);
  administrator.makeStream(kBeta, [](jsStreamConfig& config) {
    config.MaxMsgs = 2;
    config.Discard = js_DiscardNew;
  });
  Member ann(settings(), kBeta, "a1"), bob(settings(), kBeta, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  sendNumbered(ann, 1, 5);
  ASSERT_TRUE(ann.awaitWords("raises the limits of the stream miscdisc-Beta-"));
  administrator.updateStream(kBeta, [](jsStreamConfig& config) { config.MaxMsgs = 100; });
  ASSERT_TRUE(bob.awaitTexts(5));
  EXPECT_EQ(bob.seen().texts, numbered(1, 5));
}

TEST_F(NatsEngineTest, ATextThatTheStreamFindsTooLongIsGivenUp) {
  Administrator(server).makeStream(kBeta, [](jsStreamConfig& config) { config.MaxMsgSize = 300; });
  Member ann(settings(), kBeta, "a1"), bob(settings(), kBeta, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  const std::string tooLong(301, 'x');
  ann.send("1");
  ann.send(tooLong);
  ann.send("2");
  ASSERT_TRUE(bob.awaitTexts(2));
  EXPECT_EQ(bob.seen().texts, numbered(1, 2));
  ASSERT_TRUE(ann.awaitUndelivered());
  EXPECT_THAT(ann.seen().undelivered,
              ElementsAre(Pair(tooLong, HasSubstr("the server refuses a text: message size"))));
}

// More than are on their way at any time.
TEST_F(NatsEngineTest, TheLongestTextsArriveWhole) {
  Member ann(settings(), kAlpha, "a1"), bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  std::string longest(65536, 'x');
  for (size_t byte = 0; byte < longest.size(); ++byte) longest[byte] = static_cast<char>(byte);
  for (int copy = 0; copy < 150; ++copy) ann.send(longest);
  ASSERT_TRUE(bob.awaitTexts(150));
  EXPECT_TRUE(bob.seen().texts == std::vector<std::string>(150, longest));
  EXPECT_EQ(bob.seen().strangers, 0);
}

TEST_F(NatsEngineTest, WhatNoMessengerSendsIsIgnoredAndCounted) {
  Member bob(settings(), kAlpha, "b1");
  ASSERT_TRUE(bob.awaitConnected());
  Administrator stranger(server);
  int count = 0;
  for (const std::string& bytes :
       {std::string(), std::string("8 a"), std::string(3, '\0'), std::string("\xFF\xFE\x80"),
        std::string((1 << 20) - 100, 'x')}) {
    stranger.publish(kAlpha, nullptr, bytes);
    ++count;
  }
  const std::string tooLongName = std::string(65, 'a') + "-t-1";
  const std::string endless = "a1-t-" + std::string(500, '1');
  for (const char* id : {"a",
                         "-",
                         "-t-1",
                         "a1",
                         "a1-t",
                         "a1-t-",
                         "a1-t-x",
                         "a1-t-1x",
                         "a1-t- 1",
                         "a1-t--1",
                         "a1-t-0",
                         "a1-t-18446744073709551616",
                         "a1-t-1-t-1",
                         "a1-x-1",
                         "a1-h-1",
                         "a1-m-1",
                         "A1-t-1",
                         "somebody-t-1",
                         "\xFF\xFE-t-1",
                         tooLongName.c_str(),
                         endless.c_str()}) {
    stranger.publish(kAlpha, id, "8 a");
    ++count;
  }
  stranger.publish(kAlpha, "a1-t-1", std::string(65537, 'x'));
  stranger.publish(kAlpha, "a1-t-2", std::string((1 << 20) - 100, 'x'));
  count += 2;

  const std::string longestName(64, 'f');
  stranger.publish(kAlpha, (longestName + "-t-1").c_str(), "");
  stranger.publish(kAlpha, "c1-t-18446744073709551615", std::string(65536, 'x'));
  ASSERT_TRUE(bob.awaitTexts(2));
  const auto seen = bob.seen();
  EXPECT_EQ(seen.strangers, count);
  EXPECT_EQ(seen.losses, 0);
  EXPECT_TRUE(seen.connected);
  ASSERT_EQ(seen.parcels.size(), 2u);
  EXPECT_EQ(seen.parcels[0].sender, longestName);
  EXPECT_EQ(seen.parcels[0].number, 1u);
  EXPECT_EQ(seen.parcels[1].number, 18446744073709551615u);
  EXPECT_EQ(seen.parcels[1].text.size(), 65536u);
}

TEST(NatsPayloadTest, ATextThatTheServerFindsTooLongIsGivenUp) {
  Server server("max_payload: 1000");
  const host::EngineSettings settings{server.url(), "", ""};
  Administrator(server).makeStream(kAlpha, [](jsStreamConfig&) {});
  Member ann(settings, kAlpha, "a1"), bob(settings, kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  // Whatever the headers take, one of these is the last that fits, and none ends the connection.
  for (int length = 700; length <= 1000; ++length) ann.send(std::string(length, 'x'));
  ann.send("last");
  ASSERT_TRUE(bob.await(
      [](const auto& seen) { return !seen.texts.empty() && seen.texts.back() == "last"; }));
  const auto undelivered = ann.seen().undelivered;
  EXPECT_EQ(undelivered.size() + bob.seen().texts.size(), 302u);
  ASSERT_FALSE(undelivered.empty());
  EXPECT_THAT(undelivered.back().second, HasSubstr("raise max_payload in its configuration"));
  EXPECT_EQ(bob.seen().losses, 0);
  EXPECT_TRUE(ann.seen().connected);
}

TEST(NatsThreadsTest, NoneOutlivesTheLastEngineAndSigpipeIsTheApplications) {
  // The thread sanitizer has a thread of its own as soon as there has been another.
  std::thread([] {}).join();
  const size_t before = threads();
  Server server;
  const host::EngineSettings settings{server.url(), "", ""};
  ASSERT_EQ(test::makeStream(settings, kAlpha), "");
  for (int round = 0; round < 2; ++round) {
    Member ann(settings, kAlpha, "a1"), bob(settings, kAlpha, "b1");
    ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
    struct sigaction pipes = {};
    sigaction(SIGPIPE, nullptr, &pipes);
    EXPECT_EQ(pipes.sa_handler, SIG_DFL);
    ann.leave(60s);
    bob.send("still there");
    bob.leave(60s);
    EXPECT_THAT(bob.seen().undelivered, IsEmpty());
    // The messengers have gone; on a busy machine the library's threads take a moment more.
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (threads() > before && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(5ms);
    }
    EXPECT_LE(threads(), before);
  }
}

// Users who may do everything; those who are not named are thrown out at the next reload.
std::string users(const std::string& names) {
  std::string list;
  for (const char name : names) {
    list += std::string("{ user: ") + name + ", password: secret },";
  }
  return "authorization { users: [" + list + "] }";
}

TEST(NatsAwayTest, WhatTheStreamDidNotKeepIsALossOnceAndTheRestArrives) {
  Server server(users("ab"));
  const host::EngineSettings asAnn{server.url("a:secret"), "", ""};
  const host::EngineSettings asBob{server.url("b:secret"), "", ""};
  Administrator administrator(server, "a:secret");
  administrator.makeStream(kAlpha, [](jsStreamConfig& config) { config.MaxMsgs = 10; });
  Member ann(asAnn, kAlpha, "a1"), bob(asBob, kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  ann.send("1");
  ASSERT_TRUE(bob.awaitTexts(1));

  server.reload(users("a"));
  ASSERT_TRUE(bob.awaitWords("refuses these credentials"));
  sendNumbered(ann, 2, 31);
  ASSERT_TRUE(administrator.awaitLast(kAlpha, 31));
  server.reload(users("ab"));
  ASSERT_TRUE(bob.awaitTexts(11));
  ann.send("32");
  ASSERT_TRUE(bob.awaitTexts(12));
  std::vector<std::string> expected = numbered(22, 32);
  expected.insert(expected.begin(), "1");
  EXPECT_EQ(bob.seen().texts, expected);
  EXPECT_EQ(bob.seen().losses, 1);
}

TEST(NatsAwayTest, AllGoneIsALossToo) {
  Server server(users("ab"));
  const host::EngineSettings asAnn{server.url("a:secret"), "", ""};
  const host::EngineSettings asBob{server.url("b:secret"), "", ""};
  Administrator administrator(server, "a:secret");
  administrator.makeStream(kAlpha, [](jsStreamConfig&) {});
  Member ann(asAnn, kAlpha, "a1"), bob(asBob, kAlpha, "b1");
  ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
  server.reload(users("a"));
  ASSERT_TRUE(bob.awaitWords("refuses these credentials"));
  sendNumbered(ann, 1, 3);
  ASSERT_TRUE(administrator.awaitLast(kAlpha, 3));
  administrator.purge(kAlpha);
  server.reload(users("ab"));
  ASSERT_TRUE(bob.await([](const auto& seen) { return seen.losses == 1; }));
  ann.send("4");
  ASSERT_TRUE(bob.awaitTexts(1));
  EXPECT_THAT(bob.seen().texts, ElementsAre("4"));
  EXPECT_EQ(bob.seen().losses, 1);
}

TEST(NatsAwayTest, WhoEntersAndCannotListenAtOnceHasMissedSomething) {
  Server server(users("a"));
  Administrator administrator(server, "a:secret");
  administrator.makeStream(kAlpha, [](jsStreamConfig&) {});
  Member ann({server.url("a:secret"), "", ""}, kAlpha, "a1");
  Member bob({server.url("b:secret"), "", ""}, kAlpha, "b1");
  ASSERT_TRUE(bob.awaitWords("refuses these credentials"));
  ann.send("1");
  ASSERT_TRUE(administrator.awaitLast(kAlpha, 1));
  server.reload(users("ab"));
  ASSERT_TRUE(bob.awaitConnected());
  EXPECT_EQ(bob.seen().losses, 1);
}

}  // namespace
