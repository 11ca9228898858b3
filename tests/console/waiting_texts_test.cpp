#include "console/waiting_texts.h"

#include <gtest/gtest.h>

using console::WaitingTexts;

TEST(WaitingTextsTest, AreReadInTheirOrder) {
  WaitingTexts texts;
  EXPECT_EQ(texts.next(), std::nullopt);
  texts.push("one");
  texts.push("");
  texts.push("two");
  EXPECT_EQ(texts.next(), "one");
  EXPECT_EQ(texts.next(), "");
  EXPECT_EQ(texts.next(), "two");
  EXPECT_EQ(texts.next(), std::nullopt);
  EXPECT_EQ(texts.leftOut(), 0u);
}

TEST(WaitingTextsTest, OfTooManyTheOldestAreLeftOut) {
  WaitingTexts texts;
  for (int i = 0; i < 65536 + 3; ++i) texts.push(std::to_string(i));
  EXPECT_EQ(texts.leftOut(), 3u);
  EXPECT_EQ(texts.next(), "100 ");  // what was left out may have been about anything
  EXPECT_EQ(texts.next(), "3");
  texts.push("one more");
  EXPECT_EQ(texts.leftOut(), 3u);
}

TEST(WaitingTextsTest, OfTooManyBytesTheOldestAreLeftOut) {
  constexpr size_t kMebibyte = 1024 * 1024;
  WaitingTexts texts;
  texts.push("first");
  texts.push("second");
  for (int i = 0; i < 63; ++i) texts.push(std::string(kMebibyte, 'x'));
  EXPECT_EQ(texts.leftOut(), 0u);
  texts.push(std::string(kMebibyte - 6, 'y'));  // with "second" just what may wait
  EXPECT_EQ(texts.leftOut(), 1u);
  EXPECT_EQ(texts.next(), "100 ");
  EXPECT_EQ(texts.next(), "second");
  texts.push("sixth.");
  EXPECT_EQ(texts.leftOut(), 1u);
  texts.push("!");
  EXPECT_EQ(texts.leftOut(), 2u);
}

TEST(WaitingTextsTest, OneThatIsTooLongByItselfIsLeftOutToo) {
  WaitingTexts texts;
  texts.push("before");
  texts.push(std::string(WaitingTexts::kMostBytes + 1, 'x'));
  EXPECT_EQ(texts.next(), "100 ");
  EXPECT_EQ(texts.next(), std::nullopt);
  EXPECT_EQ(texts.leftOut(), 2u);
}
