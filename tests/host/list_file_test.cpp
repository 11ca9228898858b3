// List files on a real file system: rights, links, leftovers, files that cannot be read.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/text_file.h"
#include "tests/host/configure.h"

namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;

// Without root's rights to read and write everything.
bool unprivileged(const std::function<bool()>& work) {
  const pid_t process = fork();
  if (process == 0) {
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(2);
    _exit(work() ? 0 : 1);
  }
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 2);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class ListFileTest : public testing::Test {
 protected:
  // Other users get at the files, too.
  ListFileTest() {
    EXPECT_EQ(chmod(fs::path(native(folder)).parent_path().parent_path().c_str(), 0711), 0);
    EXPECT_EQ(chmod(native(folder).c_str(), 0777), 0);
  }

  static String native(const WString& path) { return Qx::UTF8FromWString(path); }

  static bool append(const WString& path, const String& line) {
    TextFile file(path, true);
    file.appendLine(line);
    return file.save(L"", TextFile::eLF);
  }

  static Qx::Ptr<iFile> newList() {
    return OS()->fileManager().open(ground::folder() + L"list.txt", 1, 2, 1, 0);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(native(folder))) {
      found.push_back(entry.path().filename());
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  static mode_t modeOf(const WString& path) {
    struct stat status = {};
    EXPECT_EQ(stat(native(path).c_str(), &status), 0);
    return status.st_mode & 07777;
  }

  const WString folder = ground::folder();
  const WString path = folder + L"list.txt";
};

TEST_F(ListFileTest, SaveLeavesNothingBesideTheList) {
  EXPECT_TRUE(append(path, "a"));
  EXPECT_EQ(names(), (std::vector<std::string>{"list.txt"}));
}

TEST_F(ListFileTest, FileThatCannotBeReadIsNeverOverwritten) {
  ground::writeFile(path, "kept\n");
  ASSERT_EQ(chmod(native(path).c_str(), 0000), 0);
  EXPECT_FALSE(unprivileged([&] { return append(path, "a"); }));
  EXPECT_FALSE(unprivileged([&] {
    TextFile file(path, false);
    file.appendLine("a");
    return file.save(L"", TextFile::eLF);
  }));
  ASSERT_EQ(chmod(native(path).c_str(), 0644), 0);
  EXPECT_EQ(ground::readFile(path), "kept\n");
}

TEST_F(ListFileTest, FileThatBecomesReadableLaterIsStillNotOverwritten) {
  ground::writeFile(path, "kept\n");
  ASSERT_EQ(chmod(native(path).c_str(), 0000), 0);
  EXPECT_FALSE(unprivileged([&] {
    TextFile file(path, true);
    file.appendLine("a");
    fs::rename(native(path), native(folder + L"away"));
    return file.save(L"", TextFile::eLF);
  }));
  EXPECT_EQ(ground::readFile(path), std::nullopt);
}

TEST_F(ListFileTest, FileBeyond64MebibytesIsNeverOverwritten) {
  ground::writeFile(path, "");
  ASSERT_EQ(truncate(native(path).c_str(), (64 << 20) + 1), 0);
  EXPECT_FALSE(append(path, "a"));
  EXPECT_EQ(fs::file_size(native(path)), (64u << 20) + 1);
}

TEST_F(ListFileTest, FolderWithoutWriteRightsIsLeftAlone) {
  const WString inner = folder + L"inner/";
  ground::makeFolder(inner);
  ground::writeFile(inner + L"list.txt", "kept\n");
  ASSERT_EQ(chmod(native(inner + L"list.txt").c_str(), 0666), 0);
  ASSERT_EQ(chmod(native(inner).c_str(), 0555), 0);
  EXPECT_FALSE(unprivileged([&] { return append(inner + L"list.txt", "a"); }));
  EXPECT_EQ(ground::readFile(inner + L"list.txt"), "kept\n");
}

TEST_F(ListFileTest, ModeIsKept) {
  ground::writeFile(path, "a\n");
  ASSERT_EQ(chmod(native(path).c_str(), 0640), 0);
  EXPECT_TRUE(append(path, "b"));
  EXPECT_EQ(modeOf(path), 0640u);
}

TEST_F(ListFileTest, NewListServesWhoeverMayWriteInTheFolder) {
  const mode_t before = umask(077);
  EXPECT_TRUE(append(path, "a"));
  umask(before);
  EXPECT_EQ(modeOf(path), 0666u);
}

TEST_F(ListFileTest, LinkIsFollowedAndStaysALink) {
  ground::makeFolder(folder + L"real");
  ground::writeFile(folder + L"real/list.txt", "a\n");
  fs::create_symlink("real/list.txt", native(folder + L"middle"));
  fs::create_symlink(native(folder + L"middle"), native(path));
  EXPECT_TRUE(append(path, "b"));
  EXPECT_TRUE(fs::is_symlink(native(path)));
  EXPECT_EQ(ground::readFile(folder + L"real/list.txt"), "a\nb\n");
}

TEST_F(ListFileTest, LinkToAMissingFileMakesThatFile) {
  fs::create_symlink("real.txt", native(path));
  EXPECT_TRUE(append(path, "a"));
  EXPECT_TRUE(fs::is_symlink(native(path)));
  EXPECT_EQ(ground::readFile(folder + L"real.txt"), "a\n");
}

TEST_F(ListFileTest, RingOfLinksIsRefused) {
  fs::create_symlink("list.txt", native(folder + L"other"));
  fs::create_symlink("other", native(path));
  EXPECT_FALSE(append(path, "a"));
}

TEST_F(ListFileTest, FifoIsRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo(native(path).c_str(), 0666), 0);
  EXPECT_FALSE(append(path, "a"));
}

TEST_F(ListFileTest, OldTemporariesOfTheListAreRemoved) {
  const WString old = folder + L".list.txt.1-2.tmp", young = folder + L".list.txt.3-4.tmp",
                foreign = folder + L".other.txt.1-2.tmp";
  const timespec times[2] = {{1, 0}, {1, 0}};
  for (const WString& file : {old, young, foreign}) ground::writeFile(file, "half");
  ASSERT_EQ(utimensat(AT_FDCWD, native(old).c_str(), times, 0), 0);
  ASSERT_EQ(utimensat(AT_FDCWD, native(foreign).c_str(), times, 0), 0);
  EXPECT_TRUE(append(path, "a"));
  EXPECT_EQ(ground::readFile(old), std::nullopt);
  EXPECT_EQ(ground::readFile(young), "half");
  EXPECT_EQ(ground::readFile(foreign), "half");
}

TEST_F(ListFileTest, GuardThatACrashLeftBlocksNobody) {
  ground::writeFile(folder + L".list.txt.lk", "");
  EXPECT_TRUE(append(path, "a"));
  EXPECT_EQ(names(), (std::vector<std::string>{"list.txt"}));
}

TEST_F(ListFileTest, ListOnRemoteStorageIsMadeAndMerged) {
  test::declareRemote(native(folder));
  EXPECT_TRUE(append(path, "a"));
  EXPECT_TRUE(append(path, "b"));
  EXPECT_EQ(ground::readFile(path), "a\nb\n");
  EXPECT_EQ(names(), (std::vector<std::string>{".lockspace", "list.txt"}));
}

// A writer in the middle of its save.  It goes on when somebody else has closed the guard, which is
// when that attempt on the lock was refused, and publishes its lines before it lets go.
class OtherWriter {
 public:
  OtherWriter(const WString& path, const String& lines) {
    const WString guardPath = getPath(path) + L"." + stripPath(path) + L".lk";
    int held[2];
    if (pipe(held) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      const Qx::Ptr<iFile> guard = OS()->fileManager().open(guardPath, 2, 3, 0, 32);
      const int closed = inotify_init1(IN_CLOEXEC);
      const std::string watched = Qx::UTF8FromWString(guardPath);
      const bool ready = guard && guard->valid() &&
                         inotify_add_watch(closed, watched.c_str(), IN_CLOSE_WRITE) >= 0;
      (void)!write(held[1], ready ? "y" : "n", 1);
      pollfd refused{closed, POLLIN, 0};
      if (poll(&refused, 1, 60'000) != 1) _exit(1);
      ground::writeFile(path, lines);
      _exit(0);
    }
    char answer = 0;
    EXPECT_TRUE(read(held[0], &answer, 1) == 1 && answer == 'y');
    close(held[0]);
    close(held[1]);
  }

  bool wasAwaited() {
    int status = 0;
    waitpid(process_, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

 private:
  pid_t process_;
};

TEST_F(ListFileTest, SaveWaitsForAnotherWriter) {
  ground::writeFile(path, "a\n");
  OtherWriter writer(path, "a\nb\n");
  EXPECT_TRUE(append(path, "c"));
  EXPECT_TRUE(writer.wasAwaited());
  EXPECT_EQ(ground::readFile(path), "a\nb\nc\n");
}

TEST_F(ListFileTest, NewListWaitsForAnotherWriter) {
  OtherWriter writer(path, "a\n");
  Qx::Ptr<iFile> list = newList();
  ASSERT_TRUE(list && list->write("b", 1));
  list = nullptr;
  EXPECT_TRUE(writer.wasAwaited());
  EXPECT_EQ(ground::readFile(path), "a\nb\n");
}

TEST_F(ListFileTest, NewListLeavesNothingBesideIt) {
  Qx::Ptr<iFile> list = newList();
  ASSERT_TRUE(list && list->write("a", 1));
  list = nullptr;
  EXPECT_EQ(names(), (std::vector<std::string>{"list.txt"}));
}

TEST_F(ListFileTest, NewListIsRefusedAtOnceWithoutWriteRights) {
  ASSERT_EQ(chmod(native(folder).c_str(), 0555), 0);
  EXPECT_FALSE(unprivileged([] { return bool(newList()); }));
}

TEST_F(ListFileTest, NewListThatIsOnlyHalfWrittenDoesNotAppear) {
  EXPECT_TRUE(unprivileged([] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit most{4, 4};
    if (setrlimit(RLIMIT_FSIZE, &most) != 0) return false;
    const Qx::Ptr<iFile> list = newList();
    return list && list->write("a\n", 2) && !list->write("/media/b", 8) && !list->write("c", 1);
  }));
  EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(ListFileTest, CopyFollowsALinkToAList) {
  iFileManager& files = OS()->fileManager();
  ground::writeFile(folder + L"real.txt", "/media/a/\n");
  fs::create_symlink("real.txt", native(folder + L"link.txt"));
  fs::create_symlink("loop.txt", native(folder + L"loop.txt"));
  ground::makeFolder(folder + L"inner");
  fs::create_symlink("inner", native(folder + L"folder.txt"));
  EXPECT_TRUE(files.copy(folder + L"link.txt", folder + L"copy.txt", 0, 0, 0));
  EXPECT_EQ(ground::readFile(folder + L"copy.txt"), "/media/a/\n");
  EXPECT_FALSE(fs::is_symlink(native(folder + L"copy.txt")));
  EXPECT_FALSE(files.copy(folder + L"loop.txt", folder + L"none.txt", 0, 0, 0));
  EXPECT_FALSE(files.copy(folder + L"folder.txt", folder + L"none.txt", 0, 0, 0));
  EXPECT_FALSE(fs::exists(native(folder + L"none.txt")));
}

}  // namespace
