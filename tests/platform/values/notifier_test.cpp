#include "miscdisc/platform/values/notifier.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

namespace {

struct Listener : Notifiable {
  ~Listener() override { stopListening(); }
  void notify(const NotifyMsg& msg) override {
    heard.push_back(msg.name());
    lastType = msg.type();
    if (onNotify) onNotify();
  }
  void destroy(const NotifyMsg& msg) override { goneNotifier = msg.sender(); }

  std::vector<String> heard;
  int lastType = 0;
  const Notifier* goneNotifier = nullptr;
  std::function<void()> onNotify;
};

const NotifyMsg kHello("hello", nullptr);

}  // namespace

TEST(Notifier, CallsListenersInOrderOfRegistrationWithTheType) {
  std::vector<int> order;
  Notifier notifier;
  Listener first, second;
  first.onNotify = [&] { order.push_back(1); };
  second.onNotify = [&] { order.push_back(2); };
  notifier.add(first);
  notifier.add(second);
  notifier.add(first);  // stays registered once

  notifier.call(kHello, 7);

  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_EQ(first.heard, (std::vector<String>{"hello"}));
  EXPECT_EQ(first.lastType, 7);
}

TEST(Notifier, KnowsWhetherSomebodyListens) {
  Notifier notifier;
  Listener listener;
  EXPECT_FALSE(notifier.hasListeners());
  notifier.add(listener);
  EXPECT_TRUE(notifier.hasListeners());
  notifier.remove(listener);
  EXPECT_FALSE(notifier.hasListeners());
  notifier.call(kHello, 1);
  EXPECT_TRUE(listener.heard.empty());
}

TEST(Notifier, WhoIsAddedDuringACallHearsTheNextOne) {
  Notifier notifier;
  Listener first, late;
  first.onNotify = [&] { notifier.add(late); };
  notifier.add(first);
  notifier.call(kHello, 1);
  EXPECT_TRUE(late.heard.empty());
  notifier.call(kHello, 1);
  EXPECT_EQ(late.heard.size(), 1u);
}

TEST(Notifier, WhoIsRemovedOrDestroyedDuringACallHearsNoMore) {
  Notifier notifier;
  Listener first, removed;
  auto destroyed = std::make_unique<Listener>();
  first.onNotify = [&] {
    notifier.remove(removed);
    destroyed.reset();
  };
  notifier.add(first);
  notifier.add(removed);
  notifier.add(*destroyed);
  notifier.call(kHello, 1);
  EXPECT_TRUE(removed.heard.empty());
  notifier.remove(first);
  EXPECT_FALSE(notifier.hasListeners());
}

TEST(Notifier, ItsEndReachesTheListeners) {
  Listener listener;
  const Notifier* gone = nullptr;
  {
    Notifier notifier;
    notifier.add(listener);
    gone = &notifier;
  }
  EXPECT_EQ(listener.goneNotifier, gone);
}

TEST(Notifier, RemovalFromAnotherThreadWaitsForTheCall) {
  Notifier notifier;
  Listener listener;
  std::latch inCall(1), goOn(1);
  std::atomic<bool> removed{false}, removedDuringCall{false};
  listener.onNotify = [&] {
    inCall.count_down();
    goOn.wait();
    removedDuringCall = removed.load();
  };
  notifier.add(listener);

  std::thread caller([&] { notifier.call(kHello, 1); });
  inCall.wait();
  std::thread remover([&] {
    goOn.count_down();
    notifier.remove(listener);
    removed = true;
  });
  caller.join();
  remover.join();

  EXPECT_FALSE(removedDuringCall);
  EXPECT_FALSE(notifier.hasListeners());
}

TEST(Notifiable, AMessageKeptBackIsDeliveredTheSameWay) {
  Listener listener;
  listener.bufNotify(kHello);
  EXPECT_EQ(listener.heard, (std::vector<String>{"hello"}));
}
