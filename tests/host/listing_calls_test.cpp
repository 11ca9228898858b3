// What a listing asks of the system, and what it does when the system refuses.  The calls of the
// host pass through the functions of this program, which is why these tests have one of their own.
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "host/listing/read_failures.h"
#include "miscdisc/platform/directory.h"
#include "tests/host/host_ground.h"

namespace {

struct Calls {
  int opens = 0;
  int openFlags = 0;
  int reads = 0;
  int details = 0;
};
Calls calls;

int readsBeforeError = -1;  // -1: no error
int readError = EIO;
bool foldersTellTypes = true;
bool lastNameTwice = false;

long allocationsBeforeFailure = -1;  // -1: no failure
long liveAllocations = 0;

void* allocate(std::size_t size) {
  if (allocationsBeforeFailure == 0) throw std::bad_alloc();
  if (allocationsBeforeFailure > 0) --allocationsBeforeFailure;
  void* memory = std::malloc(size ? size : 1);
  if (!memory) throw std::bad_alloc();
  ++liveAllocations;
  return memory;
}

void release(void* memory) noexcept {
  if (memory) --liveAllocations;
  std::free(memory);
}

void forEachEntry(char* block, ssize_t bytes, void (*change)(dirent64*)) {
  for (ssize_t at = 0; at < bytes;) {
    auto* entry = reinterpret_cast<dirent64*>(block + at);
    at += entry->d_reclen;
    change(entry);
  }
}

}  // namespace

MISCDISC_EXPORT void* operator new(std::size_t size) { return allocate(size); }
MISCDISC_EXPORT void* operator new[](std::size_t size) { return allocate(size); }
MISCDISC_EXPORT void operator delete(void* memory) noexcept { release(memory); }
MISCDISC_EXPORT void operator delete[](void* memory) noexcept { release(memory); }
MISCDISC_EXPORT void operator delete(void* memory, std::size_t) noexcept { release(memory); }
MISCDISC_EXPORT void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

extern "C" {

MISCDISC_EXPORT int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = flags & O_CREAT ? va_arg(arguments, int) : 0;
  va_end(arguments);
  ++calls.opens;
  calls.openFlags = flags;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

MISCDISC_EXPORT ssize_t getdents64(int fd, void* block, size_t size) noexcept {
  ++calls.reads;
  if (readsBeforeError == 0) {
    errno = readError;
    return -1;
  }
  if (readsBeforeError > 0) --readsBeforeError;
  const long bytes = syscall(SYS_getdents64, fd, block, size);
  if (!foldersTellTypes) {
    forEachEntry(static_cast<char*>(block), bytes, [](dirent64* e) { e->d_type = DT_UNKNOWN; });
  }
  if (lastNameTwice && bytes > 0) {
    forEachEntry(static_cast<char*>(block), bytes, [](dirent64* e) {
      if (std::string(e->d_name) == "twin-b") e->d_name[5] = 'a';
    });
  }
  return bytes;
}

MISCDISC_EXPORT int statx(int folder, const char* path, int flags, unsigned mask,
                          struct statx* details) noexcept {
  ++calls.details;
  return static_cast<int>(syscall(SYS_statx, folder, path, flags, mask, details));
}

}  // extern "C"

namespace {

void makeFile(const std::string& name) { std::ofstream(ground::nativeFolder() + name) << "x"; }

WString path(const WString& name) { return ground::folder() + name; }

int openDescriptors() {
  int count = 0;
  for (int fd = 0; fd < 256; ++fd) count += fcntl(fd, F_GETFD) >= 0;
  return count;
}

}  // namespace

TEST(ListingCalls, AFolderIsOneOpenAndOneStatxForEachFile) {
  for (const char* name : {"a", "b", "c.mov", ".hidden"}) makeFile(name);
  std::filesystem::create_directory(ground::nativeFolder() + "sub");
  std::filesystem::create_symlink("a", ground::nativeFolder() + "to-a");
  calls = {};
  FsysDirectory listing(path(L"*.*"), 0, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 4u);
  EXPECT_EQ(calls.opens, 1);
  EXPECT_EQ(calls.openFlags & O_CLOEXEC, O_CLOEXEC);
  EXPECT_EQ(calls.openFlags & O_DIRECTORY, O_DIRECTORY);
  EXPECT_EQ(calls.reads, 2);
  EXPECT_EQ(calls.details, 4);
}

TEST(ListingCalls, NamesThatTheMaskRefusesAreNotAskedAbout) {
  for (const char* name : {"a", "b", "c.mov"}) makeFile(name);
  calls = {};
  FsysDirectory listing(path(L"*.mov"), 0, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_EQ(calls.details, 1);
}

TEST(ListingCalls, APathWithoutWildcardsIsOneStatxAndNoOpen) {
  makeFile("a.mov");
  calls = {};
  Directory listing(path(L"a.mov"), 1, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_EQ(calls.opens, 0);
  EXPECT_EQ(calls.reads, 0);
  EXPECT_EQ(calls.details, 1);
}

TEST(ListingCalls, AMaskThatMightBeANameIsOneStatxMore) {
  makeFile("a.mov");
  calls = {};
  Directory listing(path(L"?.mov"), Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_EQ(calls.details, 2);
}

TEST(ListingCalls, FindAndCountAskNothing) {
  makeFile("a.mov");
  FsysDirectory listing(path(L"*"), 0, 0, Directory::eLocked);
  calls = {};
  EXPECT_NE(listing.find(L"a.mov"), nullptr);
  EXPECT_EQ(listing.find(L"b.mov"), nullptr);
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_EQ(calls.opens + calls.reads + calls.details, 0);
}

TEST(ListingCalls, AFileSystemWithoutTypesInItsFoldersIsReadTheSame) {
  makeFile("a");
  std::filesystem::create_directory(ground::nativeFolder() + "sub");
  std::filesystem::create_symlink("none", ground::nativeFolder() + "dangling");
  ASSERT_EQ(mkfifo((ground::nativeFolder() + "fifo").c_str(), 0666), 0);
  foldersTellTypes = false;
  FsysDirectory files(path(L"*"), 0, 0, Directory::eLocked);
  FsysDirectory both(path(L"*"), 0x10, 0, Directory::eLocked);
  EXPECT_EQ(files.getcount(), 1u);
  EXPECT_NE(files.find(L"a"), nullptr);
  EXPECT_EQ(both.getcount(), 2u);
  EXPECT_NE(both.find(L"sub"), nullptr);
  EXPECT_EQ(host::listingReadFailures(), 0u);
}

TEST(ListingCalls, AReadErrorKeepsWhatWasRead) {
  // More names than one block of 64 KiB holds.
  for (int i = 0; i < 3000; ++i) makeFile("file-" + std::to_string(i));
  readsBeforeError = 1;
  FsysDirectory listing(path(L"*"), 0, 0, Directory::eLocked);
  EXPECT_GT(listing.getcount(), 100u);
  EXPECT_LT(listing.getcount(), 3000u);
  EXPECT_EQ(host::listingReadFailures(), 1u);
}

TEST(ListingCalls, AFolderThatGoesAwayKeepsWhatWasReadAndIsNoFailure) {
  makeFile("a");
  readsBeforeError = 1;
  readError = ENOENT;
  FsysDirectory listing(path(L"*"), 0, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 1u);
  EXPECT_EQ(host::listingReadFailures(), 0u);
}

TEST(ListingCalls, ANameThatIsReadTwiceIsListedOnce) {
  makeFile("twin-a");
  makeFile("twin-b");
  makeFile("other");
  lastNameTwice = true;
  FsysDirectory listing(path(L"*"), 0, 0, Directory::eLocked);
  EXPECT_EQ(listing.getcount(), 2u);
  int walked = 0;
  for (DirectoryIterator entry(&listing); *entry; entry.next()) ++walked;
  EXPECT_EQ(walked, 2);
  EXPECT_NE(listing.find(L"twin-a"), nullptr);
}

TEST(ListingCalls, EveryAllocationThatFailsPassesOnAndLeavesNothingBehind) {
  for (int i = 0; i < 1500; ++i) makeFile("file-" + std::to_string(i));
  const WString mask = path(L"ab*.*"), all = path(L"*"), one = path(L"file-7");
  for (const WString& asked : {mask, all, one}) {
    { Directory warmUp(asked, Directory::eLocked); }
    const long before = liveAllocations;
    const int descriptors = openDescriptors();
    long failures = 0;
    for (bool through = false; !through; ++failures) {
      allocationsBeforeFailure = failures;
      try {
        Directory listing(asked, Directory::eLocked);
        through = true;
        allocationsBeforeFailure = -1;
      } catch (const std::bad_alloc&) {
        allocationsBeforeFailure = -1;
      }
      ASSERT_EQ(liveAllocations, before) << "allocation " << failures;
      ASSERT_EQ(openDescriptors(), descriptors) << "allocation " << failures;
    }
    EXPECT_GE(failures, asked == one ? 2 : 5) << Qx::UTF8FromWString(asked);
  }
}

TEST(ListingCalls, AnAddThatFindsNoMemoryChangesNothing) {
  makeFile("a");
  makeFile("b");
  long failures = 0;
  for (bool through = false; !through; ++failures) {
    FsysDirectory listing(path(L"a*"), 0, 0, Directory::eLocked);
    Directory one(path(L"b"), 1, 0, Directory::eLocked);
    allocationsBeforeFailure = failures;
    try {
      through = listing.addFile(*DirectoryIterator(&one));
      allocationsBeforeFailure = -1;
      EXPECT_EQ(listing.getcount(), 2u);
    } catch (const std::bad_alloc&) {
      allocationsBeforeFailure = -1;
      EXPECT_EQ(listing.getcount(), 1u);
      EXPECT_EQ(listing.find(L"b"), nullptr);
      EXPECT_NE(listing.find(L"a"), nullptr);
    }
  }
  EXPECT_GE(failures, 2);
}
