// The engine for the session bus, with a mailbox that pretends.
#include "host/messenger/dbus_engine.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <latch>
#include <thread>

#include "tests/machines/session_bus.h"

using namespace std::chrono_literals;
using host::Parcel;

namespace {

// For one thread there is always another text.
class EndlessMailbox final : public host::Mailbox {
 public:
  ~EndlessMailbox() { close(bell_); }

  int descriptor() const override { return bell_; }
  std::string group() override {
    eventfd_t ignored = 0;
    eventfd_read(bell_, &ignored);
    return "group";
  }
  std::optional<Parcel> take() override {
    if (std::this_thread::get_id() != sender) return {};
    return Parcel{Parcel::Kind::kText, "group", "a1", ++taken, "8 a"};
  }
  std::optional<std::chrono::steady_clock::time_point> end() override {
    if (!over) return {};
    return std::chrono::steady_clock::now();
  }
  void arrived(Parcel) override {}
  void stranger() override {}
  void lost() override {}
  void undeliverable(const Parcel&, const std::string&) override {}
  void state(bool isConnected, const std::string&) override {
    if (isConnected && !connected.try_wait()) connected.count_down();
  }

  void finish() {
    over = true;
    eventfd_write(bell_, 1);
  }

  const std::thread::id sender = std::this_thread::get_id();
  uint64_t taken = 0;
  std::atomic<bool> over = false;
  std::latch connected{1};

 private:
  const int bell_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

// One text, at the end.
class OneTextMailbox final : public host::Mailbox {
 public:
  ~OneTextMailbox() { close(bell_); }

  int descriptor() const override { return bell_; }
  std::string group() override {
    eventfd_t ignored = 0;
    eventfd_read(bell_, &ignored);
    return "group";
  }
  std::optional<Parcel> take() override {
    if (!ending_ || std::exchange(taken_, true)) return {};
    return Parcel{Parcel::Kind::kText, "group", "a1", 1, "8 a"};
  }
  std::optional<std::chrono::steady_clock::time_point> end() override {
    if (!ending_) return {};
    return end_;
  }
  void arrived(Parcel) override {}
  void stranger() override {}
  void lost() override {}
  void undeliverable(const Parcel& parcel, const std::string& why) override {
    refused = parcel.text + ": " + why;
  }
  void state(bool isConnected, const std::string&) override {
    if (isConnected && !connected.try_wait()) connected.count_down();
  }

  void finish(std::chrono::seconds within) {
    end_ = std::chrono::steady_clock::now() + within;
    ending_ = true;
    eventfd_write(bell_, 1);
  }

  std::latch connected{1};
  std::string refused;

 private:
  std::atomic<bool> ending_ = false;
  bool taken_ = false;
  std::chrono::steady_clock::time_point end_;
  const int bell_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

}  // namespace

TEST(DbusEngineTest, WhoSendsCarriesForOthersButNotWithoutEnd) {
  const test::SessionBus bus;
  host::DbusEngine engine(bus.address());
  EndlessMailbox mailbox;
  std::thread runner([&] { engine.run(mailbox); });
  mailbox.connected.wait();
  // While run() looks at the bus it is its turn.
  while (mailbox.taken == 0) EXPECT_FALSE(engine.carryNow());
  EXPECT_GT(mailbox.taken, 1u);
  EXPECT_LE(mailbox.taken, 65u);  // the last one is left to run()
  mailbox.finish();
  runner.join();
}

// A bus forgets what it has not read of those that have gone.
TEST(DbusEngineTest, ATextThatTheBusHasNotConfirmedUntilTheEndIsSaid) {
  test::SessionBus bus;
  host::DbusEngine engine(bus.address());
  OneTextMailbox mailbox;
  std::thread runner([&] { engine.run(mailbox); });
  mailbox.connected.wait();
  bus.stop();
  mailbox.finish(1s);
  runner.join();
  bus.resume();
  EXPECT_EQ(mailbox.refused, "8 a: the session bus has not confirmed it");
}
