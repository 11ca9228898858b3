// Machines, each a process, whose texts go over a server.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/messenger/setup.h"
#include "tests/machines/machines.h"
#include "tests/nats/server.h"

using test::Machine;
using test::Server;
using test::Share;
using test::Storage;

namespace {

constexpr char kAlpha[] = R"(\\nas\projects\Alpha)";

std::string numbersTo(int last) {
  std::string all = "1";
  for (int number = 2; number <= last; ++number) all += "|" + std::to_string(number);
  return all;
}

// All see the share as //nas/projects.
class NatsMachinesTest : public testing::Test {
 protected:
  NatsMachinesTest() {
    EXPECT_EQ(host::makeNatsStream(kAlpha, server.url(), "", ""), "");
    share.addSettings("[messenger]\nengine = 'nats'\nurl = '" + server.url() + "'\n");
  }

  static void join(Machine& machine) {
    ASSERT_EQ(machine.ask("enter Alpha"), "yes");
    machine.ask("listen");
    ASSERT_EQ(machine.ask("await-connection"), "yes");
  }

  Server server;
  Share share{Storage::kLocal};
};

TEST_F(NatsMachinesTest, HearEachOtherAndNotThemselves) {
  Machine ann(share, "ann", share.root()), ben(share, "ben", share.root());
  ann.ask("create Alpha");
  join(ann);
  join(ben);
  ann.ask("send 8 of ann");
  EXPECT_EQ(ben.ask("heard 1"), "8 of ann");
  ben.ask("send 9 of ben");
  EXPECT_EQ(ann.ask("heard 1"), "9 of ben");  // and nothing else before
}

TEST_F(NatsMachinesTest, MissNothingWhileTheServerIsKilledOrTheyStandStill) {
  Machine ann(share, "ann", share.root()), ben(share, "ben", share.root());
  ann.ask("create Alpha");
  join(ann);
  join(ben);
  server.kill();
  ann.ask("send-many 1000");
  server.start();
  EXPECT_EQ(ben.ask("heard 1000"), numbersTo(1000));
  ben.stop();
  ann.ask("send-many 1000");
  ann.ask("send last");
  ben.resume();
  EXPECT_EQ(ben.ask("heard 1001"), numbersTo(1000) + "|last");
}

TEST_F(NatsMachinesTest, WhenMoreWaitsThanIsKeptTheOthersAreToldToReadAgain) {
  Machine ann(share, "ann", share.root()), ben(share, "ben", share.root());
  ann.ask("create Alpha");
  join(ann);
  join(ben);
  server.kill();
  ASSERT_EQ(ann.ask("await-state no answer from " + server.url() +
                    ": check \"url\" in the settings, the network, and that the server runs"),
            "yes");
  ann.ask("send-many 65546");
  server.start();
  std::string expected = "100 ";
  for (int number = 11; number <= 65546; ++number) expected += "|" + std::to_string(number);
  EXPECT_TRUE(ben.ask("heard 65537") == expected);
}

TEST_F(NatsMachinesTest, AFloodFromAllOfThemReachesAllOthersInEachOnesOrder) {
  Machine ann(share, "ann", share.root()), ben(share, "ben", share.root()),
      cid(share, "cid", share.root());
  ann.ask("create Alpha");
  for (Machine* machine : {&ann, &ben, &cid}) join(*machine);
  std::vector<std::thread> floods;
  for (Machine* machine : {&ann, &ben, &cid}) {
    floods.emplace_back([machine] { EXPECT_EQ(machine->ask("send-many 3000"), "yes"); });
  }
  for (std::thread& flood : floods) flood.join();
  for (Machine* machine : {&ann, &ben, &cid}) {
    std::istringstream heard(machine->ask("heard 6000"));
    int count = 0, seen[3001] = {};
    for (std::string text; std::getline(heard, text, '|'); ++count) {
      const int number = std::stoi(text);  // two others count; each number is heard after the last
      ASSERT_TRUE(number >= 1 && number <= 3000) << text;
      EXPECT_TRUE(number == 1 || seen[number] < seen[number - 1]) << number;
      ++seen[number];
    }
    EXPECT_EQ(count, 6000);
  }
}

TEST_F(NatsMachinesTest, WithoutTheLobbysStreamTheCommandIsSaid) {
  Machine ann(share, "ann", share.root());
  ann.ask("create Beta");
  ASSERT_EQ(ann.ask("enter Beta"), "yes");
  ann.ask("listen");
  EXPECT_EQ(ann.ask(R"(await-state the server has no stream for the lobby \\nas\projects\Beta: )"
                    "an administrator makes it with: miscdisc notify setup --lobby Beta --run"),
            "yes");
}

}  // namespace
