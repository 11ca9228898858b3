// The threads that ask mounts, on pretended mounts: their jobs wait for the test.
#include "host/volumes/errands.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "tests/host/home.h"
#include "tests/host/threads.h"

using namespace std::chrono_literals;

// A child of fork starts threads here, which the thread sanitizer allows on request only.
extern "C" MISCDISC_EXPORT const char* __tsan_default_options() { return "die_after_fork=0"; }

namespace {

using host::Deadline;
using host::Errand;
using host::Workers;
using test::threads;

constexpr const char kTwoMounts[] =
    "20 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
    "901 20 0:901 / /first rw - nfs4 nas:/first rw\n"
    "902 20 0:902 / /second rw - nfs4 nas:/second rw\n";

constexpr auto kLong = 60s;  // no test waits as long unless something is broken

Deadline in(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

// Opens once, for any number of waiting jobs.
class Gate {
 public:
  std::function<void(const std::string&)> job() const {
    return [open = open_, begun = begun_](const std::string&) {
      begun->fetch_add(1);
      begun->notify_all();
      open.wait();
    };
  }
  void waitForJobs(int count) const {
    for (int now = begun_->load(); now < count; now = begun_->load()) begun_->wait(now);
  }
  int begun() const { return begun_->load(); }
  void open() { opener_.set_value(); }

 private:
  std::promise<void> opener_;
  std::shared_future<void> open_{opener_.get_future()};
  std::shared_ptr<std::atomic<int>> begun_ = std::make_shared<std::atomic<int>>(0);
};

class WorkersTest : public test::HomeTest {
 protected:
  WorkersTest() {
    std::thread([] {}).join();  // a sanitizer's own thread comes with the first: count it too
    test::writeFile(test::home() + "/mountinfo", kTwoMounts);
    mounts_ = std::make_shared<const host::MountTable>(test::home() + "/mountinfo");
  }

  std::shared_ptr<Errand> start(const std::string& path, Errand::Job job) const {
    const auto errand = std::make_shared<Errand>(mounts_, path, std::move(job));
    Workers::ofProcess().start(errand);
    return errand;
  }

  bool answers(const std::string& path, std::chrono::milliseconds patience = kLong) const {
    return Workers::ofProcess().finish(start(path, [](const std::string&) {}), in(patience));
  }

  // Makes the mount of the path hang until the gate is opened.
  void hang(const std::string& path, const Gate& gate) const {
    const auto errand = start(path, gate.job());
    gate.waitForJobs(1);
    EXPECT_FALSE(Workers::ofProcess().finish(errand, in(0ms)));
  }

  void waitUntilItAnswers(const std::string& path) const {
    while (!answers(path)) std::this_thread::yield();
  }

  std::shared_ptr<const host::MountTable> mounts_;
};

std::string walked(const std::shared_ptr<const host::MountTable>& mounts, const std::string& path) {
  const auto real = std::make_shared<std::string>();
  const auto errand =
      std::make_shared<Errand>(mounts, path, [real](const std::string& p) { *real = p; });
  Workers::ofProcess().start(errand);
  return Workers::ofProcess().finish(errand, in(kLong)) ? *real : "(no answer)";
}

TEST_F(WorkersTest, AJobGetsThePathWithoutLinks) {
  const std::string home = test::home();
  test::makeFolder(home + "/a/b");
  std::filesystem::create_symlink("a/b", home + "/relative");
  std::filesystem::create_symlink(home + "/relative/..", home + "/absolute");
  std::filesystem::create_symlink("circle", home + "/circle");
  std::filesystem::create_symlink("/first/x", home + "/away");
  EXPECT_EQ(walked(mounts_, "/"), "/");
  EXPECT_EQ(walked(mounts_, "/.."), "/");
  EXPECT_EQ(walked(mounts_, home + "/a//b/./"), home + "/a/b");
  EXPECT_EQ(walked(mounts_, home + "/relative"), home + "/a/b");
  EXPECT_EQ(walked(mounts_, home + "/absolute/none/x"), home + "/a/none/x");
  EXPECT_EQ(walked(mounts_, home + "/circle/x"), home + "/circle/x");
  EXPECT_EQ(walked(mounts_, home + "/away/y"), "/first/x/y");
  EXPECT_EQ(walked(mounts_, "/first/../second/x"), "/second/x");
}

TEST_F(WorkersTest, AMountThatHangsIsAskedNothingMore) {
  Gate gate;
  hang("/first", gate);
  const size_t before = threads();
  for (int i = 0; i < 50; ++i) {
    EXPECT_FALSE(Workers::ofProcess().finish(start("/first/x", gate.job()), in(kLong)));
  }
  EXPECT_LE(threads(), before + 1);  // the root's may have ended before, and be back
  EXPECT_EQ(gate.begun(), 1);
  gate.open();
  waitUntilItAnswers("/first");
}

TEST_F(WorkersTest, AJobThatThrowsIsNotDoneAndItsMountGoesOnAnswering) {
  const auto thrown = start("/first/x", [](const std::string&) { throw std::bad_alloc(); });
  EXPECT_FALSE(Workers::ofProcess().finish(thrown, in(kLong)));
  EXPECT_TRUE(answers("/first/x"));
}

TEST_F(WorkersTest, OtherMountsGoOnAnswering) {
  Gate gate;
  hang("/first", gate);
  EXPECT_TRUE(answers("/second/x"));
  EXPECT_TRUE(answers("/"));
  gate.open();
  waitUntilItAnswers("/first");
}

TEST_F(WorkersTest, ALinkIntoAMountThatHangsKeepsNobodyElseFromAnswering) {
  std::filesystem::create_symlink("/first/x", test::home() + "/link");
  Gate gate;
  hang("/first", gate);
  EXPECT_FALSE(answers(test::home() + "/link/y"));
  EXPECT_TRUE(answers(test::home()));
  gate.open();
  waitUntilItAnswers(test::home() + "/link/y");
}

// On the root, for a question to it goes through no other thread: this one is behind for certain.
TEST_F(WorkersTest, WhoWaitsBehindAJobThatHangsNeedNotWaitLonger) {
  Gate gate;
  const auto first = start("/", gate.job());
  gate.waitForJobs(1);
  const auto behind = start("/", gate.job());
  EXPECT_FALSE(Workers::ofProcess().finish(first, in(0ms)));
  EXPECT_FALSE(Workers::ofProcess().finish(behind, in(kLong)));
  gate.open();
  waitUntilItAnswers("/");
  EXPECT_EQ(gate.begun(), 1);
}

TEST_F(WorkersTest, ALateJobIsDoneStill) {
  Gate gate;
  std::promise<void> finished;
  const auto errand = start("/first", [gate = gate.job(), &finished](const std::string& path) {
    gate(path);
    finished.set_value();
  });
  gate.waitForJobs(1);
  EXPECT_FALSE(Workers::ofProcess().finish(errand, in(0ms)));
  gate.open();
  finished.get_future().wait();
  waitUntilItAnswers("/first");
}

TEST_F(WorkersTest, MountsAreAskedAtTheSameTime) {
  Gate gate;
  const auto first = start("/first", gate.job());
  const auto second = start("/second", gate.job());
  gate.waitForJobs(2);
  gate.open();
  EXPECT_TRUE(Workers::ofProcess().finish(first, in(kLong)));
  EXPECT_TRUE(Workers::ofProcess().finish(second, in(kLong)));
}

TEST_F(WorkersTest, ManyQuestionsToAMountShareAThread) {
  const size_t before = threads();
  Gate gate;
  std::vector<std::shared_ptr<Errand>> errands;
  for (int i = 0; i < 200; ++i) errands.push_back(start("/first/x", gate.job()));
  gate.waitForJobs(1);
  EXPECT_LE(threads(), before + 2);  // the root's, on the way, and this one's
  gate.open();
  for (const auto& errand : errands) EXPECT_TRUE(Workers::ofProcess().finish(errand, in(kLong)));
  EXPECT_EQ(gate.begun(), 200);
}

TEST_F(WorkersTest, WithoutQuestionsThereAreNoThreads) {
  const size_t before = threads();
  ASSERT_TRUE(answers("/first"));
  while (threads() > before) std::this_thread::yield();
  EXPECT_TRUE(answers("/first"));
}

TEST_F(WorkersTest, AChildOfForkAsksOnThreadsOfItsOwn) {
  Gate gate;
  hang("/first", gate);
  const pid_t child = fork();
  if (child == 0) _exit(answers("/first") && answers("/second") ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  gate.open();
  waitUntilItAnswers("/first");
}

TEST_F(WorkersTest, AThreadThatHangsDoesNotKeepTheProcessFromEnding) {
  const pid_t child = fork();
  if (child == 0) {
    static Gate& gate = *new Gate;  // the thread outlives this function
    hang("/first", gate);
    std::exit(7);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(WorkersTest, SignalsAreForTheThreadsOfTheApplication) {
  sigset_t blocked, own;
  const auto errand =
      start("/first", [&](const std::string&) { pthread_sigmask(SIG_BLOCK, nullptr, &blocked); });
  ASSERT_TRUE(Workers::ofProcess().finish(errand, in(kLong)));
  pthread_sigmask(SIG_BLOCK, nullptr, &own);
  for (const int signal : {SIGTERM, SIGINT, SIGUSR1, SIGALRM, SIGCHLD}) {
    EXPECT_EQ(sigismember(&blocked, signal), 1);
    EXPECT_EQ(sigismember(&own, signal), 0);
  }
}

TEST_F(WorkersTest, ThreadsMayAskAtTheSameTime) {
  std::vector<std::thread> asking;
  for (int t = 0; t < 4; ++t) {
    asking.emplace_back([this] {
      for (int i = 0; i < 200; ++i) EXPECT_TRUE(answers(i % 2 ? "/first/x" : "/second/x"));
    });
  }
  for (auto& thread : asking) thread.join();
}

}  // namespace
