// What every platform's configuration must do.
#include "miscdisc/platform/config.h"

#include <gtest/gtest.h>

namespace {

TEST(ConfigTest, SectionsAreKeptApart) {
  EXPECT_TRUE(UserConfig().setValue("k", "1", "Configuration"));
  EXPECT_TRUE(UserConfig().setValue("k", "2", "Other.part"));
  prefs().setPreference("k", L"3");
  EXPECT_EQ(UserConfig().getValue("k", "", "Configuration"), "1");
  EXPECT_EQ(UserConfig().getValue("k", "", "Other.part"), "2");
  EXPECT_EQ(prefs().getPreference("k", L""), L"3");
}

TEST(ConfigTest, WhatIsNotThereIsTheDefault) {
  UserConfig().setValue("here", "1", "Configuration");
  EXPECT_EQ(UserConfig().getValue("none", "default", "Configuration"), "default");
  EXPECT_EQ(UserConfig().getValue("here", "default", "Nowhere"), "default");
  EXPECT_EQ(UserConfig().getValue("HERE", "default", "Configuration"), "default");
  EXPECT_EQ(prefs().getPreference("none", L"default"), L"default");
  EXPECT_EQ(config_int("none", 5), 5);
}

TEST(ConfigTest, AnyTextComesBackAsItWas) {
  const String values[] = {"",
                           " x ",
                           "two\nlines\r\nand\ttabs",
                           "\"quoted\" 'twice' \\",
                           String("zero\0inside", 11),
                           "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC",
                           "\xFF not UTF-8 \xC3"};
  for (const String& value : values) {
    EXPECT_TRUE(UserConfig().setValue("key", value, "Configuration")) << value;
    EXPECT_EQ(UserConfig().getValue("key", "(none)", "Configuration"), value);
  }
}

TEST(ConfigTest, PreferencesKeepWideTextAndAreRemoved) {
  prefs().setPreference("drive", L"Rushes \u20AC");
  EXPECT_EQ(prefs().getPreference("drive", L""), L"Rushes \u20AC");
  prefs().removePreference("drive");
  EXPECT_EQ(prefs().getPreference("drive", L"gone"), L"gone");
  prefs().removePreference("drive");
}

TEST(ConfigTest, WholeNumbersOnlyAreNumbers) {
  struct {
    const char* text;
    int number;
  } const cases[] = {{"12", 12}, {"-3", -3}, {"0", 0},           {"", 7},   {"x", 7},
                     {"1x", 7},  {" 1", 7},  {"99999999999", 7}, {"1.5", 7}};
  for (const auto& c : cases) {
    UserConfig().setValue("n", c.text, "Configuration");
    EXPECT_EQ(config_int("n", 7), c.number) << c.text;
  }
}

}  // namespace
