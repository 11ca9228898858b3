#include "miscdisc/dircache/cache_follower.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include "miscdisc/dircache/cache_text.h"
#include "miscdisc/dircache/global_cache.h"
#include "tests/fakes/fake_platform.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Kind = CacheEvent::Kind;

const String kMaterial = R"(\\fake\media\e\Material\)";

String added(const String& name) { return "8 " + kMaterial + name; }
String removed(const String& name) { return "9 " + kMaterial + name; }

// "added E:/Material/a.mxf" and so on.
std::vector<String> inWords(const std::vector<CacheEvent>& events) {
  static const char* const kWords[] = {"added", "removed", "rescan", "ignored"};
  std::vector<String> result;
  for (const CacheEvent& event : events) {
    const String path = Qx::UTF8FromWString(event.path);
    result.push_back(kWords[static_cast<int>(event.kind)] + (path.empty() ? "" : " " + path));
  }
  return result;
}

struct CacheFollowerTest : testing::Test {
  CacheFollowerTest() {
    platform.addVolume(L'E', L"/media/e");
    platform.addVolume(L'F', L"/media/f");
    platform.addFolder(L"/media/e/Sound");
    platform.addFile(L"/media/e/Material/a.mxf");
    platform.addFile(L"/media/f/Material/f.mxf");
    validate_directory_cache();
    platform.listed.clear();
  }

  bool has(const WString& name) { return getSystemCache()->find(name, 0) != nullptr; }

  // Folders that were read, as opposed to single files.
  std::vector<WString> foldersRead() {
    std::vector<WString> masks;
    for (const WString& path : platform.listed) {
      if (path.find_first_of(L"*?") != WString::npos) masks.push_back(path);
    }
    return masks;
  }

  std::vector<String> apply() { return inWords(follower.apply()); }

  // Of a volume, by its cached directories.
  bool isRead(wchar_t letter) {
    for (DLListIterator v(*getSystemCache()); *v; ++v) {
      auto* volume = static_cast<volume_cache*>(*v);
      if (volume->letter == letter) return volume->valid();
    }
    return false;
  }

  FakePlatform& platform = fakePlatform();
  std::atomic<int> woken = 0;
  CacheFollower follower{[this] { ++woken; }};
};

}  // namespace

TEST_F(CacheFollowerTest, AFileThatAnotherMachineAddsIsFoundWithoutAFolderBeingRead) {
  platform.addFile(L"/media/e/Material/new.mxf");
  platform.deliver(added("new.mxf"));
  EXPECT_EQ(woken, 1);
  EXPECT_EQ(getSystemCache()->count(), 2u);  // only apply() patches

  EXPECT_THAT(apply(), ElementsAre("added E:/Material/new.mxf"));
  EXPECT_TRUE(has(L"new.mxf"));
  EXPECT_THAT(foldersRead(), IsEmpty());
  EXPECT_EQ(platform.listed, (std::vector<WString>{L"/media/e/Material/new.mxf"}));
}

TEST_F(CacheFollowerTest, AFileThatIsRemovedWhileItIsOnTheDiskIsTakenOutByItself) {
  platform.deliver(removed("a.mxf"));
  EXPECT_THAT(apply(), ElementsAre("removed E:/Material/a.mxf"));
  EXPECT_FALSE(has(L"a.mxf"));
  EXPECT_THAT(foldersRead(), IsEmpty());
}

TEST_F(CacheFollowerTest, AFileThatIsGoneFromTheDiskCostsItsVolumeTheListings) {
  platform.nodes.erase(L"/media/e/Material/a.mxf");
  platform.deliver(removed("a.mxf"));
  EXPECT_THAT(apply(), ElementsAre("removed E:/Material/a.mxf"));
  EXPECT_FALSE(isRead(L'E'));
  EXPECT_TRUE(isRead(L'F'));
  EXPECT_FALSE(has(L"a.mxf"));
  EXPECT_TRUE(has(L"f.mxf"));
}

TEST_F(CacheFollowerTest, AFileThatNoListingHasIsNoReasonToForgetListings) {
  platform.deliver(removed("never.mxf"));
  platform.deliver(added("gone again.mxf"));
  EXPECT_THAT(apply(),
              ElementsAre("removed E:/Material/never.mxf", "added E:/Material/gone again.mxf"));
  EXPECT_TRUE(isRead(L'E'));
  EXPECT_THAT(foldersRead(), IsEmpty());
}

TEST_F(CacheFollowerTest, ARescanForgetsEveryListing) {
  platform.deliver("100 ");
  EXPECT_THAT(apply(), ElementsAre("rescan"));
  EXPECT_FALSE(isRead(L'E'));
  EXPECT_FALSE(isRead(L'F'));
}

TEST_F(CacheFollowerTest, WhatWaitsBeforeARescanIsForgottenWithTheListings) {
  for (int i = 0; i < 1000; ++i) platform.deliver(added("a.mxf"));
  platform.deliver("100 ");
  platform.deliver(removed("a.mxf"));
  EXPECT_THAT(apply(), ElementsAre("rescan", "removed E:/Material/a.mxf"));
  EXPECT_EQ(woken, 1);
}

TEST_F(CacheFollowerTest, MoreTextsThanMayWaitAreOneRescan) {
  for (size_t i = 0; i < CacheFollower::kMostWaiting; ++i) platform.deliver(added("a.mxf"));
  platform.deliver(added("one too many.mxf"));
  platform.deliver(added("a.mxf"));
  EXPECT_THAT(apply(), ElementsAre("rescan", "added E:/Material/a.mxf"));
}

TEST_F(CacheFollowerTest, MoreBytesThanMayWaitAreOneRescan) {
  const String longName(kLongestCacheText - 100, 'x');
  const size_t fit = CacheFollower::kMostBytes / (longName.size() + kMaterial.size());
  for (size_t i = 0; i <= fit; ++i) platform.deliver(added(longName));
  EXPECT_THAT(apply(), ElementsAre("rescan"));
  EXPECT_THAT(apply(), IsEmpty());
}

TEST_F(CacheFollowerTest, OneCallDoesABoundedPartAndWakesForTheRest) {
  for (size_t i = 0; i < 2 * CacheFollower::kMostEvents + 1; ++i) platform.deliver(added("a.mxf"));
  EXPECT_EQ(woken, 1);
  EXPECT_EQ(apply().size(), CacheFollower::kMostEvents);
  EXPECT_EQ(woken, 2);
  EXPECT_EQ(apply().size(), CacheFollower::kMostEvents);
  EXPECT_EQ(woken, 3);
  EXPECT_EQ(apply().size(), 1u);
  EXPECT_EQ(woken, 3);
  EXPECT_THAT(apply(), IsEmpty());
}

TEST_F(CacheFollowerTest, WhatIsNoNewsOfAFileIsIgnoredAndLoggedOnce) {
  const std::vector<String> texts = {
      "",
      "no message",
      "8",
      "-8 " + kMaterial + "a.mxf",
      "99999999999 x",
      "\xFF\xFE\x80",
      String("\0\0", 2),
      "7 " + kMaterial + "a.mxf",
      "8 " + String(1024 * 1024, 'x'),
  };
  platform.log.clear();
  for (const String& text : texts) platform.deliver(text);
  EXPECT_EQ(woken, 0);
  EXPECT_EQ(follower.ignored(), texts.size());
  EXPECT_THAT(apply(), IsEmpty());
  EXPECT_EQ(platform.log.size(), 1u);
  EXPECT_THAT(platform.log, ElementsAre("A text of another machine is ignored, and others may be "
                                        "from now on: it has no number: \n"));
}

TEST_F(CacheFollowerTest, TheLogShowsTheStartOfATextWithItsZeroBytes) {
  platform.log.clear();
  platform.deliver(String("a\0b", 3) + String(300, 'c'));
  EXPECT_THAT(platform.log, ElementsAre("A text of another machine is ignored, and others may be "
                                        "from now on: it has no number: a\\0b" +
                                        String(197, 'c') + "\n"));
}

TEST_F(CacheFollowerTest, PathsOnNoVolumeAreIgnored) {
  const std::vector<String> paths = {
      "",
      R"(\\fake\elsewhere\x.mxf)",
      R"(\\other\media\e\Material\a.mxf)",
      R"(\\fake\media\e)",
      R"(\\fake\media\e\)",
      R"(\\fake\media\e\Material\)",
      "E:/Material/a.mxf",  // a letter is another folder on another machine
      "/media/e/Material/a.mxf",
      String(R"(\\fake\media\e\Material\a)") + String("\0b", 2),
      String(60000, '\\'),
      // Parts that lead somewhere else, or nowhere.
      R"(\\fake\media\e\Material\..\Material\a.mxf)",
      R"(\\fake\media\f\..\e\Material\a.mxf)",
      R"(\\fake\media\e\Material\..)",
      R"(\\fake\media\e\.\Material\a.mxf)",
      R"(\\fake\media\e\Material\\a.mxf)",
      R"(\\fake\media\e\Material/../Material/a.mxf)",
      R"(\\fake\media\e\Material\a.mxf/)",
  };
  platform.log.clear();
  for (const String& path : paths) {
    platform.deliver("8 " + path);
    platform.deliver("9 " + path);
  }
  const auto events = follower.apply();
  ASSERT_EQ(events.size(), 2 * paths.size());
  for (size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].kind, Kind::kIgnored) << paths[i / 2];
    EXPECT_EQ(Qx::UTF8FromWString(events[i].path), paths[i / 2]);
  }
  EXPECT_EQ(follower.ignored(), 2 * paths.size());
  EXPECT_EQ(platform.log.size(), 1u);
  EXPECT_TRUE(platform.listed.empty());
}

TEST_F(CacheFollowerTest, ANameThatIsNotUTF8IsAFileLikeAnyOther) {
  platform.addFile(Qx::WStringFromUTF8("/media/e/Material/\xFF.mxf"));
  platform.deliver(added("\xFF.mxf"));
  EXPECT_THAT(apply(), ElementsAre("added E:/Material/\xFF.mxf"));
  EXPECT_TRUE(has(Qx::WStringFromUTF8("\xFF.mxf")));
}

TEST_F(CacheFollowerTest, ANameMayBeginAndEndWithDots) {
  platform.addFile(L"/media/e/Material/..a.mxf");
  platform.addFile(L"/media/e/Material/...");
  platform.deliver(added("..a.mxf"));
  platform.deliver(added("..."));
  EXPECT_THAT(apply(), ElementsAre("added E:/Material/..a.mxf", "added E:/Material/..."));
}

TEST_F(CacheFollowerTest, WhatIsToldTwiceIsDoneOnce) {
  platform.addFile(L"/media/e/Material/new.mxf");
  for (int i = 0; i < 3; ++i) platform.deliver(added("new.mxf"));
  EXPECT_EQ(follower.apply().size(), 3u);
  EXPECT_EQ(getSystemCache()->count(), 3u);
  for (int i = 0; i < 3; ++i) platform.deliver(removed("new.mxf"));
  EXPECT_EQ(follower.apply().size(), 3u);
  EXPECT_EQ(getSystemCache()->count(), 2u);
  EXPECT_TRUE(isRead(L'E'));
}

TEST_F(CacheFollowerTest, WhatAListingDoesNotShowIsNotShownForAText) {
  platform.addFile(L"/media/e/Material/deeper/d.mxf");
  platform.addFile(L"/media/e/loose.mxf");
  for (const char* const path :
       {R"(Material\deeper\d.mxf)", "loose.mxf", R"(Material\deeper)", "Material"}) {
    platform.deliver(R"(8 \\fake\media\e\)" + String(path));
  }
  EXPECT_EQ(follower.apply().size(), 4u);
  EXPECT_EQ(getSystemCache()->count(), 2u);
  EXPECT_FALSE(has(L"deeper"));
  EXPECT_FALSE(has(L"d.mxf"));
  EXPECT_FALSE(has(L"loose.mxf"));
}

TEST_F(CacheFollowerTest, AMaskReadsNoFolder) {
  platform.addFile(L"/media/e/Material/new.mxf");
  for (const char* mask : {"*.*", "????????.*", "new.m?f"}) {
    platform.deliver(added(mask));
    platform.deliver(removed(mask));
  }
  EXPECT_EQ(follower.apply().size(), 6u);
  EXPECT_TRUE(has(L"a.mxf"));
  EXPECT_FALSE(has(L"new.mxf"));
  EXPECT_THAT(foldersRead(), IsEmpty());
}

TEST_F(CacheFollowerTest, AFileMayBeCalledLikeAMask) {
  platform.addFile(L"/media/e/Material/what?.mxf");
  platform.deliver(added("what?.mxf"));
  apply();
  EXPECT_TRUE(has(L"what?.mxf"));
}

TEST_F(CacheFollowerTest, AListingThatWasNotReadIsNotReadForAText) {
  invalidate_directory_cache(L'E');
  platform.deliver(added("a.mxf"));
  platform.deliver(removed("a.mxf"));
  EXPECT_THAT(apply(), ElementsAre("added E:/Material/a.mxf", "removed E:/Material/a.mxf"));
  EXPECT_TRUE(platform.listed.empty());
  EXPECT_FALSE(isRead(L'E'));
}

TEST_F(CacheFollowerTest, AVolumeThatCannotBeReachedIsAskedOnceAndItsListingsForgotten) {
  platform.volume(L'E')->answers = false;
  const unsigned before = platform.presenceAsked[L'E'];
  for (int i = 0; i < 10; ++i) platform.deliver(added("new.mxf"));
  EXPECT_EQ(follower.apply().size(), 10u);
  EXPECT_EQ(platform.presenceAsked[L'E'], before + 1);
  EXPECT_TRUE(platform.listed.empty());
  EXPECT_FALSE(isRead(L'E'));
  EXPECT_TRUE(isRead(L'F'));
}

TEST_F(CacheFollowerTest, WhatThePlatformThrowsPassesAndTheRestGoesOn) {
  platform.addFile(L"/media/f/Material/later.mxf");
  platform.deliver(added("a.mxf"));
  platform.deliver(R"(8 \\fake\media\f\Material\later.mxf)");
  platform.listingsThrow = true;
  EXPECT_THROW(follower.apply(), std::runtime_error);
  EXPECT_EQ(woken, 2);
  platform.listingsThrow = false;
  EXPECT_FALSE(isRead(L'E'));
  EXPECT_THAT(apply(), ElementsAre("added F:/Material/later.mxf"));
}

TEST(CacheFollowerOfAnEmptyCache, DoesNotFillIt) {
  FakePlatform& platform = fakePlatform();
  platform.addVolume(L'E', L"/media/e");
  platform.addFile(L"/media/e/Material/a.mxf");
  CacheFollower follower([] {});
  platform.deliver(added("a.mxf"));
  EXPECT_EQ(inWords(follower.apply()), (std::vector<String>{"added E:/Material/a.mxf"}));
  EXPECT_TRUE(platform.listed.empty());
  EXPECT_FALSE(*DLListIterator(*getSystemCache()));
}

TEST(CacheFollowerWithoutAMessenger, HearsNothing) {
  fakePlatform().hasMessenger = false;
  CacheFollower follower([] {});
  EXPECT_TRUE(follower.apply().empty());
}

TEST(CacheFollowerThreads, OneMayGoWhileTextsComeIn) {
  FakePlatform& platform = fakePlatform();
  platform.addVolume(L'E', L"/media/e");
  platform.addFile(L"/media/e/Material/a.mxf");
  validate_directory_cache();
  auto stays = std::make_unique<CacheFollower>([] {});
  std::atomic<bool> end = false;
  std::atomic<int> delivered = 0;
  std::thread messenger([&] {
    for (; !end; ++delivered) platform.deliver(added("a.mxf"));
  });
  for (int i = 0; i < 200; ++i) {
    auto alive = std::make_shared<std::atomic<bool>>(true);
    std::atomic<int> woken = 0;
    {
      CacheFollower follower([&woken, alive] {
        EXPECT_TRUE(*alive);
        ++woken;
      });
      const int before = delivered;
      while (delivered < before + 2) std::this_thread::yield();
      follower.apply();
    }
    *alive = false;
    stays->apply();
  }
  end = true;
  messenger.join();
  while (!stays->apply().empty()) {
  }
  EXPECT_EQ(stays->ignored(), 0u);
}
