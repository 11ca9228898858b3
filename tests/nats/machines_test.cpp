// Machines, each a process, whose texts go over a server.
#include <gtest/gtest.h>

#include <string>

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
