#include "miscdisc/platform/values/cookie.h"

#include <gtest/gtest.h>

TEST(Cookie, TextIsTheTypeLetterAndSevenDigits) {
  EXPECT_EQ(cookie(1000, 0, 0, 'P').asWString(), L"P0001000");
  EXPECT_EQ(cookie(9'999'999, 0, 0, 'G').asWString(), L"G9999999");
  EXPECT_EQ(cookie::fromWString(L"P0001000"), cookie(1000, 0, 0, 'P'));
}

TEST(Cookie, HasNoTextWhereEightCharactersCannotHoldIt) {
  EXPECT_EQ(cookie(10'000'000, 0, 0, 'P').asWString(), L"");
  EXPECT_EQ(cookie(1, 1, 0, 'P').asWString(), L"");
  EXPECT_EQ(cookie(1, 0, 1, 'P').asWString(), L"");
  EXPECT_EQ(cookie(1, 0, 0, 'p').asWString(), L"");
}

TEST(Cookie, EveryOtherTextIsRefused) {
  for (const wchar_t* text : {L"", L"P000100", L"P00010000", L"p0001000", L"00001000", L"P000100x",
                              L"P 001000", L"P-001000"}) {
    EXPECT_FALSE(cookie::fromWString(text)) << Qx::UTF8FromWString(text);
  }
}

TEST(Cookie, IsNullByTypeLetterOrByAllZeroFields) {
  EXPECT_TRUE(cookie().isNull());
  EXPECT_TRUE(cookie(5, 6, 7, 'I').isNull());
  EXPECT_FALSE(cookie(0, 0, 0, 'P').isNull());
  EXPECT_FALSE(cookie(1, 0, 0, 0).isNull());
  EXPECT_FALSE(cookie(0, 1, 0, 0).isNull());
  EXPECT_FALSE(cookie(0, 0, 1, 0).isNull());
}
