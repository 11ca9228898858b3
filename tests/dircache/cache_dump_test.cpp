#include "miscdisc/dircache/cache_dump.h"

#include <gtest/gtest.h>

#include "miscdisc/dircache/global_cache.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct CacheDumpTest : testing::Test {
  CacheDumpTest() {
    platform.addFolder(L"/var/dumps");
    platform.addVolume(L'E', L"/media/e");
    platform.addFile(L"/media/e/Material/a.mxf");
    platform.addFile(L"/media/e/Material/\u00E9.mxf");
    platform.addFile(L"/media/e/Sound/s.wav");
  }
  const String* dumped(const WString& name) {
    const FakePlatform::Node* file = platform.file(L"/var/dumps/" + name);
    return file ? &file->bytes : nullptr;
  }
  FakePlatform& platform = fakePlatform();
};

}  // namespace

TEST_F(CacheDumpTest, WritesEveryNameBetweenAngleBrackets) {
  validate_directory_cache();
  platform.log.clear();
  debugFileSystemCache(nullptr);
  ASSERT_NE(dumped(L"cache0.txt"), nullptr);
  EXPECT_EQ(*dumped(L"cache0.txt"), "<a.mxf>\n<\xC3\xA9.mxf>\n<s.wav>\n");
  EXPECT_EQ(platform.log, (std::vector<String>{"Dumping system cache to c:\\cache0.txt",
                                               "Finished cache dump\n"}));
}

TEST_F(CacheDumpTest, OpensTheFileAsAnInformationFile) {
  debugFileSystemCache(nullptr);
  EXPECT_EQ(platform.opened,
            (std::vector<FakePlatform::Open>{{L"/var/dumps/cache0.txt", 2, 3, 4, 0}}));
}

TEST_F(CacheDumpTest, ACacheThatNobodyFilledGivesAnEmptyFile) {
  debugFileSystemCache(nullptr);
  ASSERT_NE(dumped(L"cache0.txt"), nullptr);
  EXPECT_EQ(*dumped(L"cache0.txt"), "");
  EXPECT_EQ(platform.log.size(), 2u);
}

TEST_F(CacheDumpTest, TheNumberCountsTheDumpsOfTheProcess) {
  debugFileSystemCache(nullptr);
  debugFileSystemCache(nullptr);
  debugFileSystemCache(nullptr);
  EXPECT_NE(dumped(L"cache2.txt"), nullptr);
  EXPECT_EQ(dumped(L"cache3.txt"), nullptr);
}

TEST_F(CacheDumpTest, ADumpThatCannotBeWrittenUsesUpItsNumberAndSaysOnlyThatItBegan) {
  platform.failingCall = 1;
  debugFileSystemCache(nullptr);
  EXPECT_EQ(platform.log, (std::vector<String>{"Dumping system cache to c:\\cache0.txt"}));
  debugFileSystemCache(nullptr);
  EXPECT_EQ(dumped(L"cache0.txt"), nullptr);
  EXPECT_NE(dumped(L"cache1.txt"), nullptr);
}
