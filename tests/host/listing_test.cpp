// Listings of what only a real file system holds.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "host/listing/read_failures.h"
#include "miscdisc/platform/directory.h"
#include "tests/host/host_ground.h"

namespace {

using Names = std::vector<WString>;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

std::string native(const std::string& name) { return ground::nativeFolder() + name; }

void makeFile(const std::string& name, const std::string& contents = "x") {
  std::ofstream(native(name)) << contents;
}

Names listed(const std::string& mask, unsigned selector = 0) {
  Directory listing(Qx::WStringFromUTF8(native(mask)), selector, 0, Directory::eLocked);
  Names names;
  for (DirectoryIterator entry(&listing); *entry; entry.next()) {
    names.emplace_back((*entry)->nameView());
  }
  EXPECT_EQ(names.size(), listing.getcount());
  return names;
}

// Runs in a child without the rights of root, for which permissions are no hindrance; the
// result is what the child gave.
int withoutPrivileges(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t kNobody = 65534;
    if (getuid() == 0 && setuid(kNobody) != 0) _exit(99);
    _exit(body());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool logSays(const std::string& text) {
  for (const auto& entry : fs::recursive_directory_iterator(ground::home())) {
    if (entry.path().extension() != ".log") continue;
    std::ifstream file(entry.path());
    const std::string contents(std::istreambuf_iterator<char>(file), {});
    if (contents.find(text) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

TEST(HostListing, KeepsNamesThatAreNotUtf8) {
  makeFile("caf\xE9.mov");
  makeFile("\xFF");
  EXPECT_THAT(listed("*"),
              UnorderedElementsAre(WString{L'c', L'a', L'f', 0xDCE9, L'.', L'm', L'o', L'v'},
                                   WString{0xDCFF}));
  EXPECT_THAT(listed("caf\xE9.mov"),
              ElementsAre(WString{L'c', L'a', L'f', 0xDCE9, L'.', L'm', L'o', L'v'}));
  EXPECT_THAT(listed("caf\xE9.*"),
              ElementsAre(WString{L'c', L'a', L'f', 0xDCE9, L'.', L'm', L'o', L'v'}));
  EXPECT_THAT(listed("ca??.mov").size(), 1u);
  Directory listing(ground::folder() + L"*", Directory::eLocked);
  EXPECT_NE(listing.find(Qx::WStringFromUTF8("caf\xE9.mov")), nullptr);
}

TEST(HostListing, AByteThatIsNotUtf8IsOneCharacterOfAMask) {
  makeFile("\xE2\x82");  // a sequence cut short: two characters
  EXPECT_EQ(listed("*??*").size(), 1u);
  EXPECT_EQ(listed("*???*").size(), 0u);
}

// Lengths around the steps in which names are widened, with every kind of tail.
TEST(HostListing, WidensNamesOfEveryLengthAsTheTextRulesSay) {
  const char* tails[] = {"", "\xC3\xA9", "\xF0\x9F\x8E\xACx", "\xFF", "\xE2\x82", "\xED\xB2\x80z"};
  std::vector<WString> expected;
  for (size_t length = 1; length <= 50; ++length) {
    for (const char* tail : tails) {
      const std::string name = std::string(length, 'n') + tail;
      makeFile(name);
      expected.push_back(Qx::WStringFromUTF8(name));
    }
  }
  makeFile(std::string(255, 'n'));
  expected.emplace_back(255, L'n');
  Directory listing(ground::folder() + L"*", Directory::eLocked);
  EXPECT_EQ(listing.getcount(), expected.size());
  for (const WString& name : expected) {
    ASSERT_NE(listing.find(name), nullptr) << Qx::UTF8FromWString(name);
    EXPECT_STREQ(listing.find(name)->name(), name.c_str());
  }
}

TEST(HostListing, LineEndsAndWildcardsInNamesAreOrdinary) {
  makeFile("two\nlines");
  makeFile("what?.mov");
  makeFile("star*");
  EXPECT_THAT(listed("*"), UnorderedElementsAre(L"two\nlines", L"what?.mov", L"star*"));
  EXPECT_THAT(listed("two\nlines"), ElementsAre(L"two\nlines"));
  EXPECT_THAT(listed("two?lines"), ElementsAre(L"two\nlines"));
  EXPECT_THAT(listed("what?.mov"), ElementsAre(L"what?.mov"));
}

TEST(HostListing, WildcardsInTheFolderStandForThemselves) {
  fs::create_directory(native("a*b"));
  fs::create_directory(native("aXb"));
  makeFile("a*b/in");
  makeFile("aXb/out");
  EXPECT_THAT(listed("a*b/*"), ElementsAre(L"in"));
}

TEST(HostListing, AZeroInAPathNamesNothing) {
  makeFile("a");
  Directory listing(ground::folder() + WString(L"a\0*", 3), Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 0u);
}

TEST(HostListing, APathWithoutAFolderLiesInTheCurrentOne) {
  makeFile("a.mov");
  ASSERT_EQ(chdir(ground::nativeFolder().c_str()), 0);
  Directory all(L"*.*", Directory::eLocked), one(L"a.mov", Directory::eLocked);
  EXPECT_EQ(all.getcount(), 1u);
  EXPECT_EQ(one.getcount(), 1u);
  ASSERT_EQ(chdir("/"), 0);
}

TEST(HostListing, FoldersMayHaveAnyNameAndPathsAnyLength) {
  for (const std::string folder :
       {"sch\xC3\xB6n", "caf\xE9", "a-folder-of-more-than-16-characters"}) {
    fs::create_directory(native(folder));
    makeFile(folder + "/a");
    EXPECT_THAT(listed(folder + "/*"), ElementsAre(L"a"));
    EXPECT_THAT(listed(folder + "/a"), ElementsAre(L"a"));
  }
  const std::string far = std::string(5000, '/') + "a";
  EXPECT_THAT(listed(far), IsEmpty());
  EXPECT_THAT(listed(std::string(1000, '/') + std::string(1200, '\xE9') + "/*"), IsEmpty());
  EXPECT_EQ(host::listingReadFailures(), 0u);
}

TEST(HostListing, ALinkIsWhatItLeadsTo) {
  makeFile("file", "12345");
  fs::create_directory(native("sub"));
  fs::create_symlink("file", native("to-file"));
  fs::create_symlink("sub", native("to-sub"));
  fs::create_symlink("none", native("dangling"));
  fs::create_symlink("round", native("round"));
  EXPECT_THAT(listed("*"), UnorderedElementsAre(L"file", L"to-file"));
  EXPECT_THAT(listed("*", 0x10), UnorderedElementsAre(L"file", L"to-file", L"sub", L"to-sub"));
  EXPECT_THAT(listed("to-file"), ElementsAre(L"to-file"));
  EXPECT_THAT(listed("to-sub"), IsEmpty());
  EXPECT_THAT(listed("to-sub", 0x10), ElementsAre(L"to-sub"));
  EXPECT_THAT(listed("dangling", 0x12), IsEmpty());
  EXPECT_THAT(listed("round", 0x12), IsEmpty());
  Directory listing(ground::folder() + L"*", 0x10, 0, Directory::eLocked);
  EXPECT_EQ(listing.find(L"to-file")->size, 5u);
  EXPECT_EQ(listing.find(L"to-sub")->attributes, file_info::kFolder);
  EXPECT_EQ(host::listingReadFailures(), 0u);
}

TEST(HostListing, SpecialFilesAreNeverListedAndNeverHang) {
  ASSERT_EQ(mkfifo(native("fifo").c_str(), 0666), 0);
  fs::create_symlink("fifo", native("to-fifo"));
  fs::create_symlink("/dev/null", native("to-device"));
  EXPECT_THAT(listed("*", 0x12), IsEmpty());
  EXPECT_THAT(listed("fifo", 0x12), IsEmpty());
  EXPECT_THAT(listed("to-fifo", 0x12), IsEmpty());
  EXPECT_THAT(listed("fifo/*", 0x12), IsEmpty());
}

TEST(HostListing, ReadOnlyMeansNoWriteRightAtAll) {
  for (const auto& [name, mode] : {std::pair{"none", 0444}, {"owner", 0644}, {"others", 0446}}) {
    makeFile(name);
    ASSERT_EQ(chmod(native(name).c_str(), mode), 0);
  }
  Directory listing(ground::folder() + L"*", Directory::eLocked);
  EXPECT_EQ(listing.find(L"none")->attributes, file_info::kReadOnly);
  EXPECT_EQ(listing.find(L"owner")->attributes, 0u);
  EXPECT_EQ(listing.find(L"others")->attributes, 0u);
}

TEST(HostListing, TimesAreNanosecondsSince1970) {
  makeFile("a");
  const timespec times[2] = {{0, 0}, {1'600'000'000, 123'456'789}};
  ASSERT_EQ(utimensat(AT_FDCWD, native("a").c_str(), times, 0), 0);
  Directory listing(ground::folder() + L"a", Directory::eLocked);
  EXPECT_EQ(listing.find(L"a")->modified, 1'600'000'000'123'456'789);
  EXPECT_GT(listing.find(L"a")->changed, 1'600'000'000'123'456'789);
}

TEST(HostListing, TheMaskOfEightMatchesLongNamesUnlessOnlyShortOnesAreWanted) {
  ground::writeSettings("[listing]\nshort_names_only = true\n");
  for (const char* name : {"12345678", "123456789", "12345678.mov", "123456789.mov", "a.b"}) {
    makeFile(name);
  }
  EXPECT_THAT(listed("????????.*"), UnorderedElementsAre(L"12345678", L"12345678.mov", L"a.b"));
  EXPECT_THAT(listed("????????.mov"), ElementsAre(L"12345678.mov"));
}

TEST(HostListing, AFolderWithoutReadPermissionIsEmptyAndAFailure) {
  fs::create_directory(native("closed"));
  makeFile("closed/a");
  fs::permissions(native("closed"), fs::perms::none);
  fs::permissions(ground::home(), fs::perms::all);
  fs::permissions(fs::path(ground::home()).parent_path().parent_path(), fs::perms::all);
  EXPECT_EQ(withoutPrivileges([] {
              if (!listed("closed/*").empty()) return 1;
              return host::listingReadFailures() == 1 ? 0 : 2;
            }),
            0);
  EXPECT_TRUE(logSays("closed/* is not complete: Permission denied"));
  fs::permissions(native("closed"), fs::perms::all);
}

TEST(HostListing, AFolderWhoseFilesCannotBeAskedAboutIsOneFailure) {
  fs::create_directory(native("names-only"));
  makeFile("names-only/a");
  makeFile("names-only/b");
  fs::permissions(native("names-only"), fs::perms::others_read);
  fs::permissions(fs::path(ground::home()).parent_path().parent_path(), fs::perms::all);
  EXPECT_EQ(withoutPrivileges([] {
              if (!listed("names-only/*").empty()) return 1;
              return host::listingReadFailures() == 1 ? 0 : 2;
            }),
            0);
  fs::permissions(native("names-only"), fs::perms::all);
}

TEST(HostListing, ALinkIntoAClosedFolderIsLeftOutSilently) {
  fs::create_directory(native("closed"));
  makeFile("closed/a");
  fs::create_symlink("closed/a", native("to-a"));
  fs::permissions(native("closed"), fs::perms::none);
  fs::permissions(fs::path(ground::home()).parent_path().parent_path(), fs::perms::all);
  EXPECT_EQ(withoutPrivileges([] {
              if (!listed("*").empty()) return 1;
              return host::listingReadFailures() == 0 ? 0 : 2;
            }),
            0);
  fs::permissions(native("closed"), fs::perms::all);
}

TEST(HostListing, AMissingFolderIsNoFailure) {
  makeFile("file");
  EXPECT_THAT(listed("none/*"), IsEmpty());
  EXPECT_THAT(listed("file/*"), IsEmpty());
  EXPECT_THAT(listed("none/a"), IsEmpty());
  EXPECT_THAT(listed(std::string(300, 'n')), IsEmpty());
  EXPECT_EQ(host::listingReadFailures(), 0u);
}

TEST(HostListing, FoldersThatVanishMeanwhileAreNoFailure) {
  std::atomic<bool> done{false};
  std::thread vandal([&] {
    while (!done) {
      fs::create_directory(native("sub"));
      for (int i = 0; i < 20; ++i) makeFile("sub/" + std::to_string(i));
      fs::remove_all(native("sub"));
    }
  });
  for (int i = 0; i < 300; ++i) EXPECT_LE(listed("sub/*").size(), 20u);
  done = true;
  vandal.join();
  EXPECT_EQ(host::listingReadFailures(), 0u);
}

TEST(HostListing, HoldsManyFilesOverManyBlocks) {
  constexpr int kFiles = 100'000;
  for (int i = 0; i < kFiles; ++i) {
    const int fd = open(native("clip-" + std::to_string(i)).c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    close(fd);
  }
  Directory listing(ground::folder() + L"????????.*", Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 100'000u);
  EXPECT_NE(listing.find(L"clip-0"), nullptr);
  EXPECT_NE(listing.find(L"clip-99999"), nullptr);
  EXPECT_EQ(listing.find(L"clip-100000"), nullptr);
  unsigned walked = 0;
  for (DirectoryIterator entry(&listing); *entry; entry.next()) ++walked;
  EXPECT_EQ(walked, 100'000u);
}
