// A network that is cut for a while: a cable between two networks that only this test has.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "tests/nats/box.h"
#include "tests/nats/networks.h"
#include "tests/nats/server.h"

using namespace std::chrono_literals;
using test::Member;
using test::Networks;
using test::Server;

namespace {

constexpr char kAlpha[] = R"(\\nas\projects\Alpha)";

// As long as it takes to be noticed; a minute with MISCDISC_LONG_TESTS=1.
std::chrono::seconds cutTime() { return getenv("MISCDISC_LONG_TESTS") ? 60s : 8s; }

class CutTest : public testing::Test {
 protected:
  // The body runs in a process on a machine that has a network of its own, and a server in reach.
  template <typename Body>
  static void withCable(Body body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      const std::unique_ptr<Networks> networks = Networks::make(1);
      if (!networks) _exit(kNotPossible);
      {
        Server server("", Networks::kCentre);
        networks->enter(0);
        body(*networks, server);
      }
      fflush(nullptr);
      _exit(testing::Test::HasFailure() ? kFailed : kPassed);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) == kNotPossible) GTEST_SKIP() << "needs the right to make networks";
    EXPECT_EQ(WEXITSTATUS(status), kPassed) << "the failures are above";
  }

 private:
  enum Ending { kPassed = 0, kFailed = 1, kNotPossible = 2 };
};

TEST_F(CutTest, TextsOfBothSidesArriveAfterwardsInOrderAndOnce) {
  withCable([](const Networks& networks, const Server& server) {
    const host::EngineSettings settings{server.url(), "", ""};
    ASSERT_EQ(test::makeStream(settings, kAlpha), "");
    Member ann(settings, kAlpha, "a1"), bob(settings, kAlpha, "b1");
    ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
    ann.send("0");
    ASSERT_TRUE(bob.awaitTexts(1));

    networks.pull(0);
    const auto cut = std::chrono::steady_clock::now();
    int number = 0;
    while (std::chrono::steady_clock::now() < cut + cutTime()) {
      ann.send(std::to_string(++number));
      bob.send(std::to_string(number));
      std::this_thread::sleep_for(10ms);
    }
    EXPECT_TRUE(ann.awaitWords("") && bob.awaitWords(""));  // both have noticed
    networks.putBack(0);

    ASSERT_TRUE(bob.awaitTexts(static_cast<size_t>(number) + 1));
    ASSERT_TRUE(ann.awaitTexts(static_cast<size_t>(number)));
    std::vector<std::string> sent;
    for (int text = 1; text <= number; ++text) sent.push_back(std::to_string(text));
    EXPECT_EQ(ann.seen().texts, sent);
    sent.insert(sent.begin(), "0");
    EXPECT_EQ(bob.seen().texts, sent);
    EXPECT_EQ(ann.seen().losses + bob.seen().losses, 0);
  });
}

}  // namespace
