// The engine for the session bus, with a mailbox that pretends.
#include "host/messenger/dbus_engine.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>

#include "tests/machines/session_bus.h"

using namespace std::chrono_literals;
using host::Parcel;

namespace {

// Gives what it is given.
class ListMailbox : public host::Mailbox {
 public:
  virtual ~ListMailbox() { close(bell_); }

  int descriptor() const override { return bell_; }
  std::string group() override {
    eventfd_t ignored = 0;
    eventfd_read(bell_, &ignored);
    return "group";
  }
  std::optional<Parcel> take() override {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) return {};
    Parcel parcel = std::move(waiting_.front());
    waiting_.pop_front();
    ++given;
    return parcel;
  }
  std::optional<std::chrono::steady_clock::time_point> end() override {
    const std::lock_guard lock(mutex_);
    return end_;
  }
  void arrived(Parcel) override { ++came; }
  void stranger() override {}
  void lost() override {}
  void undeliverable(const Parcel& parcel, const std::string& why) override {
    refused = parcel.text + ": " + why;
  }
  void state(bool isConnected, const std::string&) override {
    connected = isConnected;
    connected.notify_all();
  }

  void give(Parcel::Kind kind, const std::string& text = {}) {
    {
      const std::lock_guard lock(mutex_);
      waiting_.push_back({kind, "group", "a1", 1, text});
    }
    eventfd_write(bell_, 1);
  }
  void finish(std::chrono::seconds within) {
    {
      const std::lock_guard lock(mutex_);
      end_ = std::chrono::steady_clock::now() + within;
    }
    eventfd_write(bell_, 1);
  }

  std::atomic<bool> connected = false;
  std::atomic<int> given = 0, came = 0;
  std::string refused;

 private:
  std::mutex mutex_;
  std::deque<Parcel> waiting_;
  std::optional<std::chrono::steady_clock::time_point> end_;
  const int bell_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

// For one thread there is always another text.
class EndlessMailbox final : public ListMailbox {
 public:
  std::optional<Parcel> take() override {
    if (std::this_thread::get_id() != sender_) return {};
    return Parcel{Parcel::Kind::kText, "group", "a1", ++taken, "8 a"};
  }

  uint64_t taken = 0;

 private:
  const std::thread::id sender_ = std::this_thread::get_id();
};

class DbusEngineEndTest : public testing::Test {
 protected:
  DbusEngineEndTest() { mailbox.connected.wait(false); }

  static void await(const std::atomic<int>& number, int count) {
    while (number < count) std::this_thread::sleep_for(1ms);
  }

  test::SessionBus bus;
  host::DbusEngine engine{bus.address()};
  ListMailbox mailbox;
  std::thread runner{[this] { engine.run(mailbox); }};
};

}  // namespace

TEST(DbusEngineTest, WhoSendsCarriesForOthersButNotWithoutEnd) {
  const test::SessionBus bus;
  host::DbusEngine engine(bus.address());
  EndlessMailbox mailbox;
  std::thread runner([&] { engine.run(mailbox); });
  mailbox.connected.wait(false);
  // While run() looks at the bus it is its turn.
  while (mailbox.taken == 0) EXPECT_FALSE(engine.carryNow());
  EXPECT_GT(mailbox.taken, 1u);
  EXPECT_LE(mailbox.taken, 65u);  // the last one is left to run()
  mailbox.finish(0s);
  runner.join();
}

// A bus forgets what it has not read of those that have gone.
TEST_F(DbusEngineEndTest, ATextThatTheBusHasNotConfirmedIsSaid) {
  bus.stop();
  mailbox.give(Parcel::Kind::kText, "8 a");
  await(mailbox.given, 1);
  mailbox.finish(1s);
  runner.join();
  bus.resume();
  EXPECT_EQ(mailbox.refused, "8 a: the session bus has not confirmed it");
}

TEST_F(DbusEngineEndTest, WhatAMarkHasFollowedIsConfirmed) {
  mailbox.give(Parcel::Kind::kText, "8 a");
  mailbox.give(Parcel::Kind::kMark);
  mailbox.give(Parcel::Kind::kMark);
  await(mailbox.came, 3);
  bus.stop();
  mailbox.finish(3600s);
  runner.join();
  bus.resume();
  EXPECT_EQ(mailbox.refused, "");
}

// Whoever comes back to the bus sends a mark, by which the others notice.
TEST_F(DbusEngineEndTest, OfABusThatWasLostBeforeNothingIsSaid) {
  mailbox.give(Parcel::Kind::kText, "8 a");
  await(mailbox.came, 1);
  bus.kill();
  mailbox.connected.wait(true);
  mailbox.finish(0s);
  runner.join();
  EXPECT_EQ(mailbox.refused, "");
}
