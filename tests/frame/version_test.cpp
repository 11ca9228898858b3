#include "miscdisc/frame/version.h"

#include <gtest/gtest.h>

TEST(Version, IsOneStaticText) {
  EXPECT_STREQ(miscdiscDllVersionStr(), "12.0.2.0");
  EXPECT_EQ(miscdiscDllVersionStr(), miscdiscDllVersionStr());
}
