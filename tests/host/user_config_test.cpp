#include "host/user_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/state_file.h"
#include "tests/host/home.h"

namespace {

constexpr char kSection[] = "Configuration";

class UserConfigTest : public test::HomeTest {};

std::string configured(const String& key) { return UserConfig().getValue(key, "(none)", kSection); }

}  // namespace

TEST_F(UserConfigTest, AnOverlaidValueIsReadAndNothingIsStored) {
  UserConfig().setValue("overlaid lobby", "Beta", kSection);
  const auto stored = test::readFile(test::home() + "/state.toml");
  host::overlayUserConfig(kSection, "overlaid lobby", "Alpha");
  EXPECT_EQ(configured("overlaid lobby"), "Alpha");
  EXPECT_EQ(UserConfig().getValue("overlaid lobby", "(none)", "Other"), "(none)");
  EXPECT_EQ(test::readFile(test::home() + "/state.toml"), stored);
}

TEST_F(UserConfigTest, ASetOfAnOverlaidKeyStaysInThisProcess) {
  host::overlayUserConfig(kSection, "overlaid", "1");
  EXPECT_TRUE(UserConfig().setValue("overlaid", "2", kSection));
  EXPECT_TRUE(UserConfig().setValue("stored", "3", kSection));
  EXPECT_EQ(configured("overlaid"), "2");
  EXPECT_EQ(test::readFile(test::home() + "/state.toml"),
            "# Written by miscdisc; what people write is in config.toml.\n"
            "\n[\"Configuration\"]\n"
            "\"stored\" = \"3\"\n");
}

TEST_F(UserConfigTest, AnEmptyOverlayIsAValue) {
  UserConfig().setValue("emptied", "Beta", kSection);
  host::overlayUserConfig(kSection, "emptied", "");
  EXPECT_EQ(configured("emptied"), "");
}

TEST_F(UserConfigTest, AValueThatCannotBeStoredHoldsForThisProcess) {
  UserConfig().setValue("unstored", "Beta", kSection);
  const std::string stored = test::readFile(test::home() + "/state.toml").value();
  test::writeFile(test::home() + "/state.toml", "broken");
  EXPECT_FALSE(UserConfig().setValue("unstored", "Alpha", kSection));
  EXPECT_EQ(configured("unstored"), "Alpha");
  EXPECT_EQ(UserConfig().getValue("unstored", "(none)", "Other"), "(none)");
  EXPECT_EQ(test::readFile(test::home() + "/state.toml"), "broken");
  EXPECT_THAT(test::readFile(test::home() + "/miscdisc.log").value_or(""),
              testing::HasSubstr("\"unstored\" could not be stored in " + test::home() +
                                 "/state.toml, so only this process has it"));

  test::writeFile(test::home() + "/state.toml", stored);
  EXPECT_EQ(configured("unstored"), "Alpha");
  EXPECT_TRUE(UserConfig().setValue("unstored", "Gamma", kSection));
  EXPECT_EQ(configured("unstored"), "Gamma");
  host::StateFile::instance().setValue(kSection, "unstored", "Delta");
  EXPECT_EQ(configured("unstored"), "Delta");
}
