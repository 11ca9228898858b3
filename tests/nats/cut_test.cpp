// A network that is cut for a while: two networks that only this test has, and a cable.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "tests/nats/box.h"
#include "tests/nats/server.h"

using namespace std::chrono_literals;
using test::Member;
using test::runProgram;
using test::Server;

namespace {

constexpr char kAlpha[] = R"(\\nas\projects\Alpha)";

// As long as it takes to be noticed; a minute with MISCDISC_LONG_TESTS=1.
std::chrono::seconds cutTime() { return getenv("MISCDISC_LONG_TESTS") ? 60s : 8s; }

// Into a network of our own, with the rights of a user namespace where the test is not root.
bool leaveTheNetwork() {
  if (unshare(CLONE_NEWNET) == 0) return true;
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/gid_map") << group;
  return static_cast<bool>(std::ofstream("/proc/self/uid_map") << user << std::flush);
}

bool ip(const std::vector<std::string>& arguments, std::vector<std::string> command = {}) {
  command.push_back("ip");
  command.insert(command.end(), arguments.begin(), arguments.end());
  return runProgram(command) == 0;
}

std::vector<std::string> inNetworkOf(pid_t process) {
  return {"nsenter", "--target", std::to_string(process), "--net", "--"};
}

class CutTest : public testing::Test {
 protected:
  // The body runs in a process whose network has a cable to another one, in which programs run that
  // are started with `there`.
  template <typename Body>
  static void withCable(Body body) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      const int possible = prepare();
      if (possible == kPossible) body(inNetworkOf(other_));
      fflush(nullptr);
      _exit(possible != kPossible ? possible : testing::Test::HasFailure() ? kFailed : kPassed);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) == kNotPossible) GTEST_SKIP() << "needs the right to make networks";
    EXPECT_EQ(WEXITSTATUS(status), kPassed) << "the failures are above";
  }

  static bool pull() { return ip({"link", "set", "here", "down"}); }
  static bool putBack() { return ip({"link", "set", "here", "up"}); }

 private:
  enum Ending { kPossible = 0, kPassed = 0, kFailed = 1, kNotPossible = 2 };

  static int prepare() {
    if (!leaveTheNetwork()) return kNotPossible;
    int ready[2];
    if (pipe(ready) != 0) return kFailed;
    other_ = fork();
    if (other_ == 0) {
      // Holds the other network until this process is gone.
      const bool apart = unshare(CLONE_NEWNET) == 0;
      if (write(ready[1], apart ? "y" : "n", 1) != 1) _exit(1);
      close(ready[1]);
      const pid_t parent = getppid();
      while (getppid() == parent) usleep(100000);
      _exit(0);
    }
    char apart = 'n';
    if (read(ready[0], &apart, 1) != 1 || apart != 'y') return kNotPossible;
    const std::string other = std::to_string(other_);
    const bool made =
        ip({"link", "set", "lo", "up"}) &&
        ip({"link", "add", "here", "type", "veth", "peer", "name", "there", "netns", other}) &&
        ip({"addr", "add", "10.77.0.1/24", "dev", "here"}) && ip({"link", "set", "here", "up"}) &&
        ip({"addr", "add", "10.77.0.2/24", "dev", "there"}, inNetworkOf(other_)) &&
        ip({"link", "set", "lo", "up"}, inNetworkOf(other_)) &&
        ip({"link", "set", "there", "up"}, inNetworkOf(other_));
    return made ? kPossible : kNotPossible;
  }

  static inline pid_t other_ = 0;
};

TEST_F(CutTest, TextsOfBothSidesArriveAfterwardsInOrderAndOnce) {
  withCable([](const std::vector<std::string>& there) {
    Server server("", "10.77.0.2", there);
    const host::EngineSettings settings{server.url(), "", ""};
    ASSERT_EQ(test::makeStream(settings, kAlpha), "");
    Member ann(settings, kAlpha, "a1"), bob(settings, kAlpha, "b1");
    ASSERT_TRUE(ann.awaitConnected() && bob.awaitConnected());
    ann.send("0");
    ASSERT_TRUE(bob.awaitTexts(1));

    ASSERT_TRUE(pull());
    const auto cut = std::chrono::steady_clock::now();
    int number = 0;
    while (std::chrono::steady_clock::now() < cut + cutTime()) {
      ann.send(std::to_string(++number));
      bob.send(std::to_string(number));
      std::this_thread::sleep_for(10ms);
    }
    EXPECT_TRUE(ann.awaitWords("") && bob.awaitWords(""));  // both have noticed
    ASSERT_TRUE(putBack());

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
