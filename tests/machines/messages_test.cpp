// Texts between machines, which are processes on a session bus of the test's own.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/machines/machines.h"
#include "tests/machines/session_bus.h"

namespace fs = std::filesystem;
using test::Machine;
using test::SessionBus;
using test::Share;
using test::Storage;

namespace {

void join(Machine& machine, const std::string& lobby) {
  ASSERT_EQ(machine.ask("enter " + lobby), "yes");
  machine.ask("listen");
  ASSERT_EQ(machine.ask("await-connection"), "yes");
}

std::string numbersTo(int last) {
  std::string all = "1";
  for (int i = 2; i <= last; ++i) all += "|" + std::to_string(i);
  return all;
}

// What the machine hears, up to this text.
std::vector<std::string> hearUntil(Machine& machine, const std::string& last) {
  std::vector<std::string> heard;
  while (heard.empty() || heard.back() != last) {
    const std::string texts = machine.ask("heard 1");
    if (texts.empty()) throw std::runtime_error("it was never heard: " + last);
    std::istringstream lines(texts);
    for (std::string text; std::getline(lines, text, '|');) heard.push_back(text);
  }
  return heard;
}

class MessagesTest : public testing::Test {
 protected:
  MessagesTest() {
    ann.ask("create Alpha");
    ann.ask("create Beta");
  }

  SessionBus bus;
  Share share{Storage::kLocal};
  Machine ann{share, "ann"};
  Machine ben{share, "ben"};
  Machine cat{share, "cat"};
};

}  // namespace

TEST_F(MessagesTest, ATextIsHeardByTheOthersAndNotByItsSender) {
  for (Machine* machine : {&ann, &ben, &cat}) join(*machine, "Alpha");
  ann.ask("send 8 of ann");
  EXPECT_EQ(ben.ask("heard 1"), "8 of ann");
  EXPECT_EQ(cat.ask("heard 1"), "8 of ann");
  ben.ask("send 8 of ben");
  EXPECT_EQ(ann.ask("heard 1"), "8 of ben");  // and nothing else before
  EXPECT_EQ(cat.ask("heard 1"), "8 of ben");
}

TEST_F(MessagesTest, AnotherLobbyHearsNothing) {
  Machine dan{share, "dan"};
  join(ann, "Alpha");
  join(ben, "Beta");
  join(cat, "Alpha");
  join(dan, "Beta");
  ann.ask("send 8 alpha");
  EXPECT_EQ(cat.ask("heard 1"), "8 alpha");
  dan.ask("send 8 beta");
  EXPECT_EQ(ben.ask("heard 1"), "8 beta");
}

TEST_F(MessagesTest, WhoChangesTheLobbyHearsTheNewOne) {
  join(ann, "Alpha");
  join(ben, "Alpha");
  join(cat, "Beta");
  ASSERT_EQ(ben.ask("enter Beta"), "yes");
  ASSERT_EQ(ben.ask("await-connection"), "yes");
  ben.ask("send 8 ben is here");
  EXPECT_EQ(cat.ask("heard 1"), "8 ben is here");
  ann.ask("send 8 alpha");
  cat.ask("send 8 beta");
  EXPECT_EQ(ben.ask("heard 1"), "8 beta");

  ASSERT_EQ(ben.ask("leave"), "yes");
  ASSERT_EQ(ben.ask("await-connection"), "yes");
  ben.ask("send 8 nowhere");
  ASSERT_EQ(ben.ask("enter Alpha"), "yes");
  ASSERT_EQ(ben.ask("await-connection"), "yes");
  ben.ask("send 8 back");
  EXPECT_EQ(ann.ask("heard 1"), "8 back");
}

TEST_F(MessagesTest, OneShareAtTwoMountPointsIsOneGroup) {
  const std::string elsewhere = fs::path(share.root()).parent_path() / "elsewhere";
  fs::create_directory_symlink(share.root(), elsewhere);
  Machine dan{share, "dan", share.root()};
  Machine eve{share, "eve", elsewhere};
  join(dan, "Alpha");
  join(eve, "Alpha");
  dan.ask("send 8 of dan");
  EXPECT_EQ(eve.ask("heard 1"), "8 of dan");
}

TEST_F(MessagesTest, AMachineThatStopsForAWhileMissesNothing) {
  join(ann, "Alpha");
  join(ben, "Alpha");
  ben.stop();
  ann.ask("send-many 2000");
  ben.resume();
  EXPECT_EQ(ben.ask("heard 2000"), numbersTo(2000));
}

TEST_F(MessagesTest, AMachineThatIsKilledHearsAgainAfterwards) {
  join(ann, "Alpha");
  join(ben, "Alpha");
  ann.ask("send 8 a");
  EXPECT_EQ(ben.ask("heard 1"), "8 a");
  ben.crash();
  ann.ask("send 8 b");
  ben.restart();
  join(ben, "Alpha");
  ann.ask("send 8 c");
  EXPECT_EQ(ben.ask("heard 1"), "8 c");
}

TEST_F(MessagesTest, WhenTheBusComesBackEverythingIsReadAgainAndTextsGoOn) {
  join(ann, "Alpha");
  join(ben, "Alpha");
  ann.ask("send 8 before");
  EXPECT_EQ(ben.ask("heard 1"), "8 before");
  bus.kill();
  ann.ask("send 8 meanwhile");
  bus.restart();
  EXPECT_EQ(ann.ask("heard 1"), "100 ");
  const std::string first = ben.ask("heard 1");
  ann.ask("send 8 after");
  // Whether ben was back before the text was sent is chance: what he missed, he reads again.
  std::vector<std::string> heard = hearUntil(ben, "8 after");
  EXPECT_TRUE(first.starts_with("100 ")) << first;
  for (const std::string& text : heard) {
    EXPECT_TRUE(text == "100 " || text == "8 meanwhile" || text == "8 after") << text;
  }
  ben.ask("send 8 answer");
  EXPECT_EQ(ann.ask("heard 1"), "8 answer");
}

TEST_F(MessagesTest, WhatTheBusDropsIsOneRescanSoonAfterwards) {
  const SessionBus tight(500'000);
  Machine dan{share, "dan"}, eve{share, "eve"}, fay{share, "fay"};
  for (Machine* machine : {&dan, &eve, &fay}) join(*machine, "Alpha");
  fay.stop();
  const std::string padding(30'000, 'x');
  for (int i = 1; i <= 60; ++i) {
    dan.ask("send " + std::to_string(i) + " " + padding);
    ASSERT_EQ(eve.ask("heard 1"), std::to_string(i) + " " + padding);  // the bus has seen it
  }
  fay.resume();
  // No text follows: the bus would drop that one too while fay has not caught up.
  const std::vector<std::string> heard = hearUntil(fay, "100 ");
  EXPECT_LT(heard.size(), 61u);
  dan.ask("send last");
  EXPECT_EQ(fay.ask("heard 1"), "last");
}

// A bus that takes the connection and never says a word.
TEST_F(MessagesTest, WithABusThatIsDeadNobodyWaits) {
  const std::string path = fs::path(share.root()).parent_path() / "dead";
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  path.copy(name.sun_path, sizeof name.sun_path - 1);
  const int dead = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(dead, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
  ASSERT_EQ(listen(dead, 5), 0);
  setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);

  Machine dan{share, "dan"};
  ASSERT_EQ(dan.ask("enter Alpha"), "yes");
  EXPECT_EQ(dan.ask("listen"), "not connected yet");
  EXPECT_EQ(dan.ask("send-many 1000"), "yes");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(dan.ask("end-notify"), "yes");
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, std::chrono::milliseconds(1900));  // as long as what waits may need
  EXPECT_LT(took, std::chrono::seconds(10));
  close(dead);
}

TEST_F(MessagesTest, WithABusThatAnswersLateSomethingMayBeMissing) {
  bus.stop();
  ASSERT_EQ(ann.ask("enter Alpha"), "yes");
  EXPECT_EQ(ann.ask("listen"), "not connected yet");
  // Longer than may pass unnoticed, shorter than the attempt to connect lasts.
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  bus.resume();
  ASSERT_EQ(ann.ask("await-connection"), "yes");
  EXPECT_EQ(ann.ask("heard 1"), "100 ");
}

TEST_F(MessagesTest, ABusThatIsNotThereYetIsFoundWhenItComes) {
  bus.kill();
  ann.ask("enter Alpha");
  ann.ask("listen");
  EXPECT_EQ(ann.ask("await-state no connection to the session bus at " + bus.address() +
                    ": Connection refused; trying again. Is it running? See "
                    "DBUS_SESSION_BUS_ADDRESS"),
            "yes");
  EXPECT_EQ(ann.ask("send 8 early"), "yes");
  bus.restart();
  EXPECT_EQ(ann.ask("await-connection"), "yes");
  EXPECT_EQ(ann.ask("heard 1"), "100 ");  // nobody knows what it missed
}

// Signals from the path of the group \\nas\projects\Alpha, by programs that are no messengers.
TEST_F(MessagesTest, SignalsOfStrangersAreNotTakenForTexts) {
  Machine dan{share, "dan", share.root()}, eve{share, "eve", share.root()};
  join(dan, "Alpha");
  join(eve, "Alpha");
  sd_bus* stranger = nullptr;
  ASSERT_GE(sd_bus_open_user(&stranger), 0);
  const char path[] = "/org/miscdisc/group/82ea0980cf3ed2b5";
  const char interface[] = "org.miscdisc.Messages1";
  ASSERT_GE(sd_bus_emit_signal(stranger, path, interface, "Text", "s", "8 of another shape"), 0);
  ASSERT_GE(sd_bus_emit_signal(stranger, path, interface, "Text", "aystyay", 1, 'x', "abc",
                               uint64_t{1}, uint8_t{'t'}, 1, 'x'),
            0);  // of another group
  ASSERT_GE(sd_bus_emit_signal(stranger, path, interface, "Text", "aystyay", 0, "no hex digits",
                               uint64_t{1}, uint8_t{'t'}, 0),
            0);
  ASSERT_GE(sd_bus_flush(stranger), 0);
  sd_bus_unref(stranger);
  EXPECT_EQ(dan.ask("await-state connected to the session bus; texts of another shape that were "
                    "ignored: 2"),
            "yes");
  eve.ask("send 8 of eve");
  EXPECT_EQ(dan.ask("heard 1"), "8 of eve");
}
