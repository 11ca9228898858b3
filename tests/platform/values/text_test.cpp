#include "miscdisc/platform/values/text.h"

#include <gtest/gtest.h>

TEST(Text, ConvertsEveryLengthOfUtf8BothWays) {
  const String bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC";
  const WString text = L"a\u00E9\u20AC\U0001F3AC";
  EXPECT_EQ(Qx::WStringFromUTF8(bytes), text);
  EXPECT_EQ(Qx::UTF8FromWString(text), bytes);
}

TEST(Text, KeepsBytesThatAreNotUtf8) {
  struct {
    const char* why;
    String bytes;
    WString text;
  } const cases[] = {
      {"a lone lead byte", "a\xFFz", {L'a', 0xDCFF, L'z'}},
      {"a lone continuation", "\x80", {0xDC80}},
      {"a sequence cut short", "\xE2\x82", {0xDCE2, 0xDC82}},
      {"an overlong slash", "\xC0\xAF", {0xDCC0, 0xDCAF}},
      {"a surrogate", "\xED\xB2\x80", {0xDCED, 0xDCB2, 0xDC80}},
      {"above the last code point", "\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},
      {"a broken sequence, then text",
       "\xC3"
       "b",
       {0xDCC3, L'b'}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Qx::WStringFromUTF8(c.bytes), c.text) << c.why;
    EXPECT_EQ(Qx::UTF8FromWString(c.text), c.bytes) << c.why;
  }
}

TEST(Text, KeepsZeroBytes) {
  EXPECT_EQ(Qx::WStringFromUTF8(String("a\0b", 3)), WString(L"a\0b", 3));
  EXPECT_EQ(Qx::UTF8FromWString(WString(L"a\0b", 3)), String("a\0b", 3));
}

TEST(Text, WhatIsNoCodePointBecomesTheReplacementCharacter) {
  EXPECT_EQ(Qx::UTF8FromWString(WString{0xD800}), "\xEF\xBF\xBD");
  EXPECT_EQ(Qx::UTF8FromWString(WString{0xDC7F}), "\xEF\xBF\xBD");
  EXPECT_EQ(Qx::UTF8FromWString(WString{0x110000}), "\xEF\xBF\xBD");
}

TEST(Text, AsciiTakesEachByteAsOneCharacter) {
  EXPECT_EQ(Qx::WStringFromAscii("Room 1"), L"Room 1");
  EXPECT_EQ(Qx::WStringFromAscii("\xC3\xA9"), (WString{0xDCC3, 0xDCA9}));
}

TEST(Text, SubstitutesEveryOccurrenceOnce) {
  EXPECT_EQ(Qx::substitute(L"in use by $NAME$", L"$NAME$", L"Ann"), L"in use by Ann");
  EXPECT_EQ(Qx::substitute(L"aaa", L"a", L"aa"), L"aaaaaa");
  EXPECT_EQ(Qx::substitute(L"abc", L"", L"x"), L"abc");
  EXPECT_EQ(Qx::substitute(L"abc", L"b", L""), L"ac");
}
