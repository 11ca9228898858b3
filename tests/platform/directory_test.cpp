#include "miscdisc/platform/directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "miscdisc/platform/paths.h"
#include "tests/platform/ground.h"

namespace {

using Names = std::vector<WString>;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

Names inOrder(Directory& listing) {
  Names names;
  for (DirectoryIterator entry(&listing); *entry; entry.next())
    names.emplace_back((*entry)->name());
  return names;
}

WString path(const WString& name) { return ground::folder() + name; }

void makeFiles(const Names& names) {
  for (const WString& name : names) ground::writeFile(path(name), "x");
}

Names listed(const WString& mask, unsigned selector = 0) {
  Directory listing(path(mask), selector, 0, Directory::eLocked);
  return inOrder(listing);
}

// A listing of one file, as whoever patches another listing makes it.
struct OneFile : Directory {
  explicit OneFile(const WString& name) : Directory(path(name), 1, 0, Directory::eLocked) {}
  const file_info* entry() { return *DirectoryIterator(this); }
};

}  // namespace

TEST(Directory, ListsWhatItsMaskMatches) {
  struct {
    const wchar_t* mask;
    const wchar_t* name;
    bool match;
  } const cases[] = {
      {L"*", L"a.mov", true},
      {L"*", L"a", true},
      {L"*.*", L"a.mov", true},
      {L"*.*", L"a", true},
      {L"*.mov", L"a.mov", true},
      {L"*.mov", L"a.b.mov", true},
      {L"*.mov", L"a.mxf", false},
      {L"*.mov", L"a.MOV", false},
      {L"*.mov", L"amov", false},
      {L"a*c*e", L"abcde", true},
      {L"a*c*e", L"ace", true},
      {L"a*c*e", L"aec", false},
      {L"a?c", L"abc", true},
      {L"a?c", L"ac", false},
      {L"a?c", L"a\u00E9c", true},
      {L"a?c.mov", L"a\U0001F3ACc.mov", true},
      {L"ab??.mov", L"ab.mov", true},
      {L"ab??.mov", L"abc.mov", true},
      {L"ab??.mov", L"abcd.mov", true},
      {L"ab??.mov", L"abcde.mov", false},
      {L"ab??.mov", L"a.mov", false},
      {L"ab??", L"ab", true},
      {L"ab??", L"abcde", false},
      {L"a.m??", L"a.mov", true},
      {L"a.m??", L"a.m", false},
      {L"*?", L"\u20AC", true},
      {L"*??*", L"\u20AC", false},
      {L"a.*", L"a.mov", true},
      {L"a.*", L"a", true},
      {L"a.*", L"ab", false},
      {L"a.*", L"a.b.c", true},
      {L"a?.*", L"a", true},
      {L"????????.*", L"a", true},
      {L"????????.*", L"12345678.mov", true},
      {L"????????.*", L"A001C002_201121_R1AB.mxf", true},
      {L"????????.*", L"A001C002_201121_R1AB", true},
      {L"????????.mov", L"reel.0001.take.mov", true},
      {L"????????.mov", L"reel.0001.take.mxf", false},
      {L"???????.*", L"12345678", false},
      {L"?????????.*", L"1234567890", false},
  };
  for (const auto& c : cases) {
    ground::writeFile(path(c.name), "x");
    EXPECT_EQ(listed(c.mask), c.match ? Names{c.name} : Names{})
        << Qx::UTF8FromWString(c.mask) << " on " << Qx::UTF8FromWString(c.name);
    ground::removeFile(path(c.name));
  }
}

TEST(Directory, APathWithoutWildcardsListsThatFile) {
  makeFiles({L"a.mov", L"a.mov2"});
  EXPECT_THAT(listed(L"a.mov"), ElementsAre(L"a.mov"));
  EXPECT_THAT(listed(L"b.mov"), IsEmpty());
  EXPECT_THAT(listed(L"A.MOV"), IsEmpty());
  EXPECT_THAT(listed(L""), IsEmpty());
}

TEST(Directory, FoldersAreListedWhenAskedFor) {
  ground::makeFolder(path(L"sub"));
  makeFiles({L"file"});
  EXPECT_THAT(listed(L"*"), ElementsAre(L"file"));
  EXPECT_THAT(listed(L"*", 0x10), UnorderedElementsAre(L"file", L"sub"));
  EXPECT_THAT(listed(L"sub"), IsEmpty());
  EXPECT_THAT(listed(L"sub", 0x10), ElementsAre(L"sub"));
  EXPECT_THAT(listed(L"*", 25), UnorderedElementsAre(L"file", L"sub"));
}

TEST(Directory, NamesWithALeadingDotAreListedWhenAskedFor) {
  makeFiles({L".hidden", L"file"});
  EXPECT_THAT(listed(L"*"), ElementsAre(L"file"));
  EXPECT_THAT(listed(L"*", 1), ElementsAre(L"file"));
  EXPECT_THAT(listed(L"*", 0x02), UnorderedElementsAre(L".hidden", L"file"));
  EXPECT_THAT(listed(L".hidden", 1), IsEmpty());
  EXPECT_THAT(listed(L".hidden", 0x02), ElementsAre(L".hidden"));
}

TEST(Directory, DotAndDotDotNeverAppear) {
  EXPECT_THAT(listed(L"*", 0x12), IsEmpty());
  EXPECT_THAT(listed(L".", 0x12), IsEmpty());
  EXPECT_THAT(listed(L"..", 0x12), IsEmpty());
}

TEST(Directory, AMissingFolderIsAnEmptyListing) {
  Directory listing(path(L"none/*.*"), 0, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 0u);
  EXPECT_EQ(listing.find(L"a"), nullptr);
  EXPECT_EQ(*DirectoryIterator(&listing), nullptr);
  EXPECT_THAT(listed(L"none/a"), IsEmpty());
}

TEST(Directory, RecordsSizeAndAttributes) {
  ground::writeFile(path(L".five"), "12345");
  ground::makeFolder(path(L"sub"));
  Directory listing(path(L"*"), 0x12, 0, Directory::eLocked);
  ASSERT_NE(listing.find(L".five"), nullptr);
  EXPECT_EQ(listing.find(L".five")->size, 5u);
  EXPECT_EQ(listing.find(L".five")->attributes, 0x02u);
  EXPECT_EQ(listing.find(L".five")->nameLength, 5u);
  EXPECT_GT(listing.find(L".five")->modified, 1'000'000'000);
  ASSERT_NE(listing.find(L"sub"), nullptr);
  EXPECT_EQ(listing.find(L"sub")->attributes, 0x10u);
}

TEST(Directory, FindComparesTheLastComponentExactly) {
  makeFiles({L"a.mov", L"b.mov"});
  Directory listing(path(L"*.*"), Directory::eLocked);
  ASSERT_NE(listing.find(L"a.mov"), nullptr);
  EXPECT_STREQ(listing.find(L"a.mov")->name(), L"a.mov");
  EXPECT_EQ(listing.find(path(L"a.mov")), listing.find(L"a.mov"));
  EXPECT_EQ(listing.find(L"A.mov"), nullptr);
  EXPECT_EQ(listing.find(L"a.mo"), nullptr);
  EXPECT_EQ(listing.find(L"a.mov "), nullptr);
  EXPECT_EQ(listing.find(L""), nullptr);
  EXPECT_EQ(listing.find(path(L"")), nullptr);
}

TEST(Directory, DoesNotFollowTheDisk) {
  makeFiles({L"a"});
  Directory listing(path(L"*"), Directory::eLocked);
  makeFiles({L"b"});
  ground::removeFile(path(L"a"));
  EXPECT_NE(listing.find(L"a"), nullptr);
  EXPECT_EQ(listing.find(L"b"), nullptr);
  EXPECT_EQ(listing.getcount(), 1u);
}

TEST(Directory, AddFileCopiesTheEntryToTheEnd) {
  makeFiles({L"a"});
  Directory listing(path(L"*"), Directory::eLocked);
  ground::writeFile(path(L"new.mov"), "123");
  {
    OneFile one(L"new.mov");
    EXPECT_TRUE(listing.addFile(one.entry()));
  }
  EXPECT_EQ(listing.getcount(), 2u);
  EXPECT_THAT(inOrder(listing), ElementsAre(L"a", L"new.mov"));
  ASSERT_NE(listing.find(L"new.mov"), nullptr);
  EXPECT_EQ(listing.find(L"new.mov")->size, 3u);
}

TEST(Directory, AddFileOfAListedNameReplacesItsRecord) {
  ground::writeFile(path(L"a"), "1");
  Directory listing(path(L"*"), Directory::eLocked);
  makeFiles({L"b"});
  listing.addFile(OneFile(L"b").entry());
  const file_info* old = listing.find(L"a");

  ground::writeFile(path(L"a"), "12345");
  EXPECT_TRUE(listing.addFile(OneFile(L"a").entry()));

  EXPECT_EQ(listing.getcount(), 2u);
  EXPECT_EQ(listing.find(L"a")->size, 5u);
  EXPECT_THAT(inOrder(listing), ElementsAre(L"b", L"a"));
  EXPECT_STREQ(old->name(), L"a");
  EXPECT_EQ(old->size, 1u);
}

TEST(Directory, AddFileOfAnUnchangedFileIsTrueAndChangesNothing) {
  makeFiles({L"a"});
  Directory listing(path(L"*"), Directory::eLocked);
  const file_info* before = listing.find(L"a");
  EXPECT_TRUE(listing.addFile(OneFile(L"a").entry()));
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_EQ(listing.find(L"a"), before);
}

TEST(Directory, RemoveFileGoesByName) {
  makeFiles({L"a", L"b"});
  Directory listing(path(L"*"), Directory::eLocked);
  const file_info* old = listing.find(L"a");
  ground::writeFile(path(L"a"), "other contents");
  OneFile one(L"a");

  EXPECT_TRUE(listing.removeFile(one.entry()));
  EXPECT_EQ(listing.find(L"a"), nullptr);
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_THAT(inOrder(listing), ElementsAre(L"b"));
  EXPECT_STREQ(old->name(), L"a");
  EXPECT_FALSE(listing.removeFile(one.entry()));

  EXPECT_TRUE(listing.addFile(one.entry()));
  EXPECT_THAT(inOrder(listing), ElementsAre(L"b", L"a"));
}

TEST(Directory, AnEmptyListingCanGrow) {
  Directory listing(path(L"*"), Directory::eLocked);
  makeFiles({L"a"});
  EXPECT_TRUE(listing.addFile(OneFile(L"a").entry()));
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_NE(listing.find(L"a"), nullptr);
}

TEST(Directory, RecordsStayInPlaceWhileTheListingGrows) {
  makeFiles({L"a"});
  Directory listing(path(L"*"), Directory::eLocked);
  const file_info* first = listing.find(L"a");
  for (int i = 0; i < 2000; ++i) {
    const WString name = L"added-" + std::to_wstring(i);
    ground::writeFile(path(name), "x");
    listing.addFile(OneFile(name).entry());
    ground::removeFile(path(name));
  }
  EXPECT_EQ(listing.getcount(), 2001u);
  EXPECT_EQ(listing.find(L"a"), first);
  EXPECT_NE(listing.find(L"added-0"), nullptr);
  EXPECT_NE(listing.find(L"added-1999"), nullptr);
  const Names names = inOrder(listing);
  ASSERT_EQ(names.size(), 2001u);
  EXPECT_EQ(names.front(), L"a");
  EXPECT_EQ(names.back(), L"added-1999");
}

TEST(DirectoryIterator, WithoutAListingThereIsNothing) {
  DirectoryIterator nothing;
  EXPECT_EQ(nothing.first(), nullptr);
  EXPECT_EQ(nothing.next(), nullptr);
  nothing.set(nullptr);
  EXPECT_EQ(nothing.first(), nullptr);
  EXPECT_EQ(*nothing, nullptr);
}

TEST(DirectoryIterator, SetStartsAnewAtFirst) {
  makeFiles({L"a"});
  Directory listing(path(L"*"), Directory::eLocked);
  DirectoryIterator entry;
  entry.set(&listing);
  EXPECT_EQ(*entry, nullptr);
  EXPECT_EQ(entry.first(), listing.find(L"a"));
  EXPECT_EQ(*entry, listing.find(L"a"));
  EXPECT_EQ(entry.next(), nullptr);
  EXPECT_EQ(entry.next(), nullptr);
  EXPECT_EQ(entry.first(), listing.find(L"a"));
  entry.set(nullptr);
  EXPECT_EQ(*entry, nullptr);
  EXPECT_EQ(entry.next(), nullptr);
}

TEST(DirectoryIterator, SeesWhatIsAddedDuringTheWalk) {
  makeFiles({L"a"});
  Directory listing(path(L"*"), Directory::eLocked);
  DirectoryIterator entry(&listing);
  makeFiles({L"b"});
  listing.addFile(OneFile(L"b").entry());
  EXPECT_EQ(entry.next(), listing.find(L"b"));
  EXPECT_EQ(entry.next(), nullptr);
}

TEST(DirectoryIterator, GoesOnFromARemovedEntryAndPassesRemovedOnes) {
  Directory listing(path(L"*"), Directory::eLocked);
  makeFiles({L"a", L"b", L"c"});
  for (const wchar_t* name : {L"a", L"b", L"c"}) listing.addFile(OneFile(name).entry());
  DirectoryIterator entry(&listing);
  listing.removeFile(OneFile(L"a").entry());
  listing.removeFile(OneFile(L"b").entry());
  EXPECT_STREQ((*entry)->name(), L"a");
  EXPECT_EQ(entry.next(), listing.find(L"c"));
}

TEST(FsysDirectory, TakesLayerAndNativeFileNames) {
  const wchar_t separator = ground::folder().back();
  ground::makeFolder(path(L"media"));
  ground::addVolume(L'E', path(L"media"));
  ground::writeFile(path(L"media") + separator + L"clip.mov", "x");

  FsysDirectory layer(WString(L"E:") + separator + L"????????.*", 0, 0, Directory::eLocked);
  EXPECT_THAT(inOrder(layer), ElementsAre(L"clip.mov"));
  FsysDirectory native(path(L"media") + separator + L"*.*", 0, 1, Directory::eLocked);
  EXPECT_THAT(inOrder(native), ElementsAre(L"clip.mov"));
}

TEST(GetDirectoryContents, AddsBareNamesOfWhatTheFlagsAskFor) {
  ground::makeFolder(path(L"sub"));
  makeFiles({L"file.txt", L".hidden"});
  Vector<WString> names;
  names.add(L"before");
  getDirectoryContents(ground::folder(), L"*.*", names, 25);
  ASSERT_EQ(names.size(), 3u);
  EXPECT_EQ(names[0], L"before");
  EXPECT_THAT((Names{names[1], names[2]}), UnorderedElementsAre(L"file.txt", L"sub"));

  names.clear();
  WString folder = ground::folder();
  folder.pop_back();
  getDirectoryContents(folder, L"*.txt", names, 0);
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], L"file.txt");

  names.clear();
  getDirectoryContents(path(L"none"), L"*.*", names, 25);
  EXPECT_TRUE(names.empty());
}

TEST(Directory, AFileWhoseNameHoldsWildcardsIsListedAlone) {
  for (int i = 0; i < 20; ++i) {
    const WString number = std::to_wstring(i);
    ground::writeFile(ground::folder() + L"c" + number + L"x.mxf", "rival");
    ground::writeFile(ground::folder() + L"c" + number + L"?.mxf", "named");
    Directory one(ground::folder() + L"c" + number + L"?.mxf", 1, 0, Directory::eLocked);
    ASSERT_EQ(one.getcount(), 1u);
    EXPECT_EQ((*DirectoryIterator(&one))->nameView(), L"c" + number + L"?.mxf");
  }
}

TEST(FsysDirectory, ItsLastComponentIsAlwaysAMask) {
  ground::writeFile(ground::folder() + L"c?.mxf", "named");
  ground::writeFile(ground::folder() + L"cx.mxf", "other");
  FsysDirectory listing(ground::folder() + L"c?.mxf", 0, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 2u);
}

TEST(Directory, ManyNamesComeAndGoAndAreFound) {
  Directory listing(ground::folder() + L"*", 0, 0, Directory::eLocked);
  const auto name = [](int i) { return L"clip" + std::to_wstring(i); };
  for (int i = 0; i < 300; ++i) {
    ground::writeFile(ground::folder() + name(i), "x");
    Directory one(ground::folder() + name(i), Directory::eLocked);
    ASSERT_TRUE(listing.addFile(*DirectoryIterator(&one)));
    if (i % 3 != 0) continue;
    ASSERT_TRUE(listing.removeFile(*DirectoryIterator(&one)));
  }
  EXPECT_EQ(listing.getcount(), 200u);
  for (int i = 0; i < 300; ++i) EXPECT_EQ(listing.find(name(i)) != nullptr, i % 3 != 0) << i;
}
