#include "host/messenger/arrivals.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

using namespace std::chrono_literals;
using host::Arrivals;

namespace {

constexpr Arrivals::Verdict kIgnored{false, false};
constexpr Arrivals::Verdict kNews{false, true};
constexpr Arrivals::Verdict kNewsAfterALoss{true, true};
constexpr Arrivals::Verdict kLoss{true, false};

const Arrivals::Time kStart(1h);

class ArrivalsTest : public testing::Test {
 protected:
  ArrivalsTest() { arrivals.settle(kStart); }
  Arrivals arrivals{2000ms};
};

}  // namespace

TEST_F(ArrivalsTest, TextsInOrderAreNews) {
  EXPECT_EQ(arrivals.text("a", 1, kStart), kNews);
  EXPECT_EQ(arrivals.text("a", 2, kStart), kNews);
  EXPECT_EQ(arrivals.text("a", 3, kStart + 1h), kNews);
}

TEST_F(ArrivalsTest, AGapIsALossOnce) {
  arrivals.text("a", 1, kStart);
  EXPECT_EQ(arrivals.text("a", 3, kStart), kNewsAfterALoss);
  EXPECT_EQ(arrivals.text("a", 4, kStart), kNews);
}

TEST_F(ArrivalsTest, WhatIsCoveredIsIgnored) {
  arrivals.text("a", 1, kStart);
  arrivals.text("a", 3, kStart);
  EXPECT_EQ(arrivals.text("a", 2, kStart), kIgnored);
  EXPECT_EQ(arrivals.text("a", 3, kStart), kIgnored);
}

TEST_F(ArrivalsTest, SendersAreCountedEachByItself) {
  arrivals.text("a", 1, kStart);
  EXPECT_EQ(arrivals.text("b", 1, kStart), kNews);
  EXPECT_EQ(arrivals.text("b", 2, kStart), kNews);
  EXPECT_EQ(arrivals.text("a", 2, kStart), kNews);
}

TEST_F(ArrivalsTest, AStrangersNumberMayBeAnyUntilThingsHaveSettled) {
  EXPECT_EQ(arrivals.text("a", 7, kStart + 1999ms), kNews);
  EXPECT_EQ(arrivals.text("a", 8, kStart + 1h), kNews);
  EXPECT_EQ(arrivals.text("b", 7, kStart + 2000ms), kNewsAfterALoss);
}

TEST_F(ArrivalsTest, AStrangersFirstTextIsNewsAtAnyTime) {
  EXPECT_EQ(arrivals.text("a", 1, kStart + 1h), kNews);
}

TEST_F(ArrivalsTest, SettlingBeginsAnew) {
  arrivals.settle(kStart + 1h);
  EXPECT_EQ(arrivals.text("a", 7, kStart + 1h), kNews);
}

TEST_F(ArrivalsTest, WhereTheCarrierTellsOfLossesAStrangersNumberMayAlwaysBeAny) {
  Arrivals told{std::nullopt};
  told.settle(kStart);
  EXPECT_EQ(told.text("a", 7, kStart + 1h), kNews);
  EXPECT_EQ(told.text("a", 9, kStart + 1h), kNewsAfterALoss);
}

TEST_F(ArrivalsTest, WhatTheCarrierHasToldOfIsNoSecondLoss) {
  Arrivals told{std::nullopt};
  for (const char* sender : {"a", "b"}) told.text(sender, 1, kStart);
  told.lossTold();
  EXPECT_EQ(told.text("a", 4, kStart), kNews);
  EXPECT_EQ(told.text("a", 6, kStart), kNewsAfterALoss);
  EXPECT_EQ(told.text("b", 3, kStart), kNews);
  EXPECT_EQ(told.text("b", 3, kStart), kIgnored);
}

TEST_F(ArrivalsTest, WhereTheCarrierMayLoseUnnoticedWhatItTellsOfIsNotAll) {
  arrivals.text("a", 1, kStart);
  arrivals.lossTold();
  EXPECT_EQ(arrivals.text("a", 4, kStart), kNewsAfterALoss);
}

TEST_F(ArrivalsTest, AMarkAboveWhatIsKnownIsALossOnce) {
  arrivals.text("a", 1, kStart);
  EXPECT_EQ(arrivals.mark("a", 1, kStart), kIgnored);
  EXPECT_EQ(arrivals.mark("a", 2, kStart), kLoss);
  EXPECT_EQ(arrivals.mark("a", 2, kStart), kIgnored);
  EXPECT_EQ(arrivals.text("a", 3, kStart), kNews);
}

TEST_F(ArrivalsTest, AStrangersMarkIsWhatItsTextsAreCountedFrom) {
  EXPECT_EQ(arrivals.mark("a", 4, kStart), kIgnored);
  EXPECT_EQ(arrivals.text("a", 5, kStart + 1h), kNews);
  EXPECT_EQ(arrivals.text("a", 7, kStart + 1h), kNewsAfterALoss);
}

TEST_F(ArrivalsTest, AStrangersMarkMayBeALossOnceThingsHaveSettled) {
  EXPECT_EQ(arrivals.mark("a", 1, kStart + 2000ms), kLoss);
  EXPECT_EQ(arrivals.mark("b", 0, kStart + 2000ms), kIgnored);
  EXPECT_EQ(arrivals.text("b", 1, kStart + 2000ms), kNews);
}

TEST_F(ArrivalsTest, ForgottenSendersAreStrangers) {
  arrivals.text("a", 5, kStart);
  arrivals.forgetAll();
  EXPECT_EQ(arrivals.text("a", 5, kStart), kNews);
}

// However many there were, only so many are remembered: those heard of last.
TEST_F(ArrivalsTest, OfManySendersTheOneHeardOfLongestAgoIsForgotten) {
  for (int i = 0; i < 4096; ++i) arrivals.text("s" + std::to_string(i), 1, kStart + 1ms * i);
  arrivals.text("s0", 2, kStart + 1h);
  arrivals.text("one more", 1, kStart + 1h);
  EXPECT_EQ(arrivals.text("s0", 3, kStart + 1h), kNews);
  EXPECT_EQ(arrivals.text("s2", 2, kStart + 1h), kNews);
  EXPECT_EQ(arrivals.text("s1", 2, kStart + 1h), kNewsAfterALoss);
}
