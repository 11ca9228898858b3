// The platform object: its allocator, names and folders, and the paths it refuses.
#include "host/os.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <new>

#include "host/files/file_manager.h"
#include "host/messenger/messenger.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "tests/host/configure.h"

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

// Asked while statics are built, in whatever order that is.
const bool answeredBeforeMain = [] {
  void* memory = OS()->allocator().allocate(16);
  OS()->allocator().release(memory);
  return memory != nullptr;
}();

// Destroyed after everything that the platform builds while the tests run.
struct LateFailure {
  ~LateFailure() {
    if (!wanted) return;
    OS()->fileManager().open(L"/no/such/late/Lock", 2, 3, 0, 32);
    OS()->reportFailure();
  }
  bool wanted = false;
} lateFailure;

TEST(OsTest, StaticDestructorsStillOpenFilesAndReport) {
  const WString log = Qx::WStringFromUTF8(ground::home() + "miscdisc.log");
  std::fflush(nullptr);
  const pid_t process = fork();
  if (process == 0) {
    OS()->fileManager().open(L"/no/such/early/Lock", 2, 3, 0, 32);
    OS()->reportFailure();
    lateFailure.wanted = true;
    std::exit(0);
  }
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_THAT(ground::readFile(log).value_or(""),
              testing::HasSubstr("could not open /no/such/late/Lock: No such file or directory\n"));
}

TEST(OsTest, AnswersBeforeMain) {
  EXPECT_TRUE(answeredBeforeMain);
  EXPECT_NE(OS(), nullptr);
  EXPECT_NE(OSPrivate(), nullptr);
}

TEST(OsTest, AllocatorGivesWritableMemoryThatFreeTakesBack) {
  iAllocator& allocator = OS()->allocator();
  void* nothing = allocator.allocate(0);
  EXPECT_NE(nothing, nullptr);
  std::free(nothing);
  void* some = allocator.allocate(100);
  std::memset(some, 1, 100);
  std::free(some);
  allocator.release(nullptr);
}

TEST(OsTest, AlignedMemoryIsAlignedWhateverTheSize) {
  for (const size_t alignment : {1, 2, 8, 16, 64, 4096}) {
    for (const size_t size : {0, 1, 24, 100}) {
      void* memory = OS()->allocator().allocateAligned(size, alignment);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % alignment, 0u);
      std::memset(memory, 1, size);
      std::free(memory);
    }
  }
}

int handlerCalls = 0;

TEST(OsTest, NewHandlerIsAskedUntilItGivesUp) {
  std::set_new_handler([] {
    if (++handlerCalls == 3) std::set_new_handler(nullptr);
  });
  const size_t tooMuch = std::numeric_limits<size_t>::max() / 2;
  EXPECT_THROW(OS()->allocator().allocate(tooMuch), std::bad_alloc);
  EXPECT_EQ(handlerCalls, 3);
  EXPECT_THROW(OS()->allocator().allocateAligned(tooMuch, 64), std::bad_alloc);
}

TEST(OsTest, UserIsTheLoginName) {
  const passwd* user = getpwuid(getuid());
  ASSERT_NE(user, nullptr);
  EXPECT_EQ(OS()->getUserName(), Qx::WStringFromUTF8(user->pw_name));
}

TEST(OsTest, UserIsTheConfiguredOneForTheWholeRun) {
  test::configure("[machine]\nuser = 'edit-1'\n");
  EXPECT_EQ(OS()->getUserName(), L"edit-1");
  test::configure("[machine]\nuser = 'edit-2'\n");
  EXPECT_EQ(OS()->getUserName(), L"edit-1");
}

TEST(OsTest, UserNameThatIsNoFileNameIsNotTaken) {
  EXPECT_TRUE(host::validUserName("edit-1"));
  EXPECT_TRUE(host::validUserName("a.b c"));
  for (const std::string& name : {""s, "."s, ".anna"s, "a/b"s, "a\0b"s}) {
    EXPECT_FALSE(host::validUserName(name)) << name;
  }
  test::configure("[machine]\nuser = '../anna'\n");
  EXPECT_NE(OS()->getUserName(), L"../anna");
}

TEST(OsTest, NetworkFoldersLieInTheDataFolder) {
  const WString home = Qx::WStringFromUTF8(ground::home());
  EXPECT_EQ(OS()->getDefaultNetworkProjectsFolder(true), home + L"network/projects/");
  EXPECT_EQ(OS()->fileManager().getDefaultNetworkMaterialFolder(), home + L"network/material/");
}

TEST(OsTest, DefaultFolderIsMadeAtTheFirstWriteOnly) {
  const WString home = Qx::WStringFromUTF8(ground::home());
  const WString projects = OS()->getDefaultNetworkProjectsFolder(true);
  EXPECT_FALSE(fileExists(projects + L"Lobby"));
  EXPECT_FALSE(fileExists(home + L"network"));
  EXPECT_TRUE(OS()->fileManager().createDirectory(projects + L"Lobby"));
  EXPECT_TRUE(fileExists(projects + L"Lobby"));
  EXPECT_FALSE(OS()->fileManager().createDirectory(home + L"elsewhere/Lobby"));
}

TEST(OsTest, ProbeInAMissingDefaultFolderIsValidAndMakesNothing) {
  const WString home = Qx::WStringFromUTF8(ground::home());
  for (const wchar_t* name : {L"projects/", L"network/projects/", L"network/material/"}) {
    SCOPED_TRACE(Qx::UTF8FromWString(name));
    const WString lock = home + name + L"Lock";
    const Qx::Ptr<iFile> probed = OS()->fileManager().open(lock, 2, 1, 0, 32);
    EXPECT_TRUE(probed && probed->valid());
  }
  EXPECT_FALSE(fileExists(home + L"projects"));
  EXPECT_FALSE(fileExists(home + L"network"));
  EXPECT_FALSE(OS()->fileManager().open(home + L"elsewhere/Lock", 2, 1, 0, 32));
}

TEST(OsTest, WithoutASessionBusThereIsNoMessenger) {
  EXPECT_FALSE(OSPrivate()->networkService().getMessager(nullptr));
  EXPECT_EQ(host::messengerFacts().engine, "dbus");
  EXPECT_FALSE(host::messengerFacts().connected);
  const std::string why =
      "there is no session bus: start this from a desktop or with dbus-run-session, or set "
      "[messenger] engine";
  EXPECT_EQ(host::messengerFacts().state, why);
  EXPECT_FALSE(messengerState().connected);
  EXPECT_TRUE(messengerState().tried);  // there is nothing to wait for
  EXPECT_EQ(messengerState().words, why);
}

TEST(OsTest, WhoWantsNoMessengerGetsNone) {
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
  test::configure("[messenger]\nengine = 'none'\n");
  EXPECT_FALSE(OSPrivate()->networkService().getMessager(nullptr));
  EXPECT_EQ(host::messengerFacts().engine, "none");
  EXPECT_EQ(host::messengerFacts().state,
            "the settings want no messenger: engine is \"none\" in [messenger]");
}

TEST(OsTest, FailureReportNamesTheFileAndTheCause) {
  OS()->fileManager().open(L"/no/such/Lock", 2, 3, 0, 32);
  EXPECT_EQ(host::lastOpenError(), ENOENT);
  OS()->reportFailure();
  const WString log = Qx::WStringFromUTF8(ground::home() + "miscdisc.log");
  EXPECT_THAT(ground::readFile(log).value_or(""),
              testing::HasSubstr("could not open /no/such/Lock: No such file or directory\n"));
}

TEST(OsTest, FailureReportOfALongPathIsCutOff) {
  const WString longPath = L"/" + WString(2 * PATH_MAX, L'x');
  OS()->fileManager().open(longPath, 0, 0, 1, 0);
  OS()->reportFailure();
  const WString log = Qx::WStringFromUTF8(ground::home() + "miscdisc.log");
  EXPECT_THAT(ground::readFile(log).value_or(""),
              testing::HasSubstr("could not open /" + String(PATH_MAX - 1, 'x') + ": "));
}

TEST(FileManagerOnHostTest, LinkIsNeitherMarkedNorListed) {
  const WString folder = ground::folder();
  ground::writeFile(folder + L"anna.cli", "");
  fs::create_symlink("anna.cli", Qx::UTF8FromWString(folder + L"bert.cli"));
  EXPECT_FALSE(OS()->fileManager().mark(folder + L"bert.cli", 2));
  Vector<iFileManager::DirectoryItem> items;
  OS()->fileManager().list(folder + L"*.cli", items, 1, 0);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].name, L"anna.cli");
  EXPECT_EQ(items[0].attributes, 0u);
}

TEST(FileManagerOnHostTest, ModeBitMarksWhereThereIsNoAttribute) {
  const WString file = ground::folder() + L"anna.cli";
  ground::writeFile(file, "");
  ASSERT_EQ(chmod(Qx::UTF8FromWString(file).c_str(), 0645), 0);
  Vector<iFileManager::DirectoryItem> items;
  OS()->fileManager().list(file, items, 1, 0);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_EQ(items[0].attributes, 2u);

  EXPECT_TRUE(OS()->fileManager().mark(file, 1));
  OS()->fileManager().list(file, items, 1, 0);
  EXPECT_EQ(items[0].attributes, 0u);
}

TEST(FileManagerOnHostTest, PathWithAZeroInItNamesNothing) {
  const WString file = ground::folder() + L"list"s;
  ground::writeFile(file, "kept");
  const WString other = file + L"\0.txt"s;
  EXPECT_FALSE(OS()->fileManager().open(other, 2, 3, 4, 0));
  EXPECT_FALSE(OS()->fileManager().remove(other));
  EXPECT_FALSE(OS()->fileManager().mark(other, 2));
  EXPECT_EQ(ground::readFile(file), "kept");
}

TEST(FileManagerOnHostTest, NameThatIsNotUtf8IsListedAndOpened) {
  const WString file = ground::folder() + Qx::WStringFromUTF8("\xFF.cli");
  { const Qx::Ptr<iFile> made = OS()->fileManager().open(file, 1, 2, 1, 0); }
  EXPECT_TRUE(fs::exists(Qx::UTF8FromWString(ground::folder()) + "\xFF.cli"));
  Vector<iFileManager::DirectoryItem> items;
  OS()->fileManager().list(ground::folder() + L"*.cli", items, 1, 0);
  ASSERT_EQ(items.size(), 1u);
  EXPECT_TRUE(OS()->fileManager().remove(ground::folder() + items[0].name));
}

TEST(PathsOnHostTest, DeletedLinkLeavesItsTarget) {
  const WString folder = ground::folder();
  ground::makeFolder(folder + L"kept/inner");
  ground::makeFolder(folder + L"Lobby");
  const String native = Qx::UTF8FromWString(folder);
  fs::create_directory_symlink("../kept", native + "Lobby/link");
  fs::create_directory_symlink("kept", native + "link");
  EXPECT_TRUE(deleteDirectory(folder + L"Lobby"));
  EXPECT_TRUE(deleteDirectory(folder + L"link/"));
  EXPECT_FALSE(fs::exists(fs::symlink_status(native + "link")));
  EXPECT_TRUE(fs::exists(native + "kept/inner"));
}

TEST(PathsOnHostTest, LinkToNothingDoesNotExist) {
  fs::create_symlink("nothing", Qx::UTF8FromWString(ground::folder()) + "link");
  EXPECT_FALSE(fileExists(ground::folder() + L"link"));
}

TEST(PathsOnHostTest, FileOnRemoteStorageExists) {
  test::declareRemote(Qx::UTF8FromWString(ground::folder()));
  ground::writeFile(ground::folder() + L"list.txt", "");
  EXPECT_TRUE(fileExists(ground::folder() + L"list.txt"));
  EXPECT_FALSE(fileExists(ground::folder() + L"missing"));
}

}  // namespace

// A sanitizer ends the program where malloc would say no, unless told otherwise.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}
