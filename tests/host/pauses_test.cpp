#include "host/messenger/pauses.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

TEST(PausesTest, EachIsTwiceAsLongUpToFiveSecondsLessUpToHalf) {
  host::Pauses pauses;
  for (const auto longest : {50ms, 100ms, 200ms, 400ms, 800ms, 1600ms, 3200ms, 5000ms, 5000ms}) {
    const auto pause = pauses.next();
    EXPECT_GE(pause, longest / 2);
    EXPECT_LE(pause, longest);
  }
  pauses.startAnew();
  EXPECT_LE(pauses.next(), 50ms);
}

TEST(PausesTest, TwoProgramsDoNotKeepStep) {
  host::Pauses ours, theirs;
  for (int i = 0; i < 7; ++i) ours.next(), theirs.next();
  int same = 0;
  for (int i = 0; i < 20; ++i) same += ours.next() == theirs.next();
  EXPECT_LT(same, 20);
}
