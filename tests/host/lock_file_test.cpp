// Locks between real processes, and the files they leave.
#include "host/files/lock_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "miscdisc/platform/os.h"
#include "tests/host/configure.h"

namespace fs = std::filesystem;

namespace {

// Another machine: a process that runs the work, says so, and stays until it is let go or killed.
class Machine {
 public:
  explicit Machine(const std::function<bool()>& work) {
    int ready[2], leave[2];
    if (pipe2(ready, O_CLOEXEC) != 0 || pipe2(leave, O_CLOEXEC) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      close(leave[1]);
      const char answer = work() ? 'y' : 'n';
      (void)!write(ready[1], &answer, 1);
      char ignored;
      (void)!read(leave[0], &ignored, 1);
      _exit(0);
    }
    close(ready[1]);
    close(leave[0]);
    char answer = 0;
    worked = read(ready[0], &answer, 1) == 1 && answer == 'y';
    close(ready[0]);
    leave_ = leave[1];
  }
  ~Machine() { end(SIGKILL); }

  void crash() { end(SIGKILL); }

  void stop() {
    kill(process_, SIGSTOP);
    waitpid(process_, nullptr, WUNTRACED);
  }

  bool worked = false;

 private:
  void end(int signal) {
    if (process_ <= 0) return;
    kill(process_, signal);
    waitpid(process_, nullptr, 0);
    close(leave_);
    process_ = 0;
  }

  pid_t process_ = 0;
  int leave_ = -1;
};

// The answer of another machine that is gone again.
bool elsewhere(const std::function<bool()>& work) {
  const pid_t process = fork();
  if (process == 0) _exit(work() ? 0 : 1);
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class LockFileTest : public testing::Test {
 protected:
  using File = Qx::Ptr<iFile>;

  static bool opened(const File& file) { return file && file->valid(); }
  static File lock(const WString& path) { return OS()->fileManager().open(path, 2, 3, 0, 32); }
  static File login(const WString& path) { return OS()->fileManager().open(path, 2, 3, 4, 32); }
  static File probe(const WString& path) { return OS()->fileManager().open(path, 2, 1, 0, 32); }
  static bool remove(const WString& path) { return OS()->fileManager().remove(path); }

  static bool writeInfo(const WString& path, const String& name) {
    const File file = OS()->fileManager().open(path + L".inf", 2, 3, 4, 0);
    return opened(file) && file->write(name.data(), name.size());
  }

  // Keeps what it is given for the rest of the process.
  static bool keep(File file) {
    static std::vector<File>& kept = *new std::vector<File>;
    kept.push_back(std::move(file));
    return opened(kept.back());
  }

  // What a file server does for a client that reads a file: whoever wants to write in it waits
  // until the lease is given back, as here by a process that waits for the signal that asks for it.
  static bool lease(const WString& file) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) return false;
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      sigset_t asked;
      sigemptyset(&asked);
      sigaddset(&asked, SIGIO);
      sigprocmask(SIG_BLOCK, &asked, nullptr);
      const int leased = open(native(file).c_str(), O_RDONLY | O_CLOEXEC);
      const char answer = fcntl(leased, F_SETLEASE, F_RDLCK) == 0 ? 'y' : 'n';
      (void)!write(ready[1], &answer, 1);
      sigwaitinfo(&asked, nullptr);
      fcntl(leased, F_SETLEASE, F_UNLCK);
      _exit(0);
    }
    close(ready[1]);
    char answer = 0;
    return read(ready[0], &answer, 1) == 1 && answer == 'y';
  }

  // Each of these is tried on local and on remote storage.
  static void repeatedRemoveOfARefusedLock(const WString& file);
  static void repeatedRemoveAfterARemoval(const WString& file);
  static void repeatedRemoveOfALogin(const WString& file);
  static void removeAfterAProbe(const WString& file);
  static void nameOfACrashedHolder(const WString& file);
  static void nameOfAFormerHolder(const WString& file);
  static void timeOfALeftover(const WString& file, File (*take)(const WString&));
  static void timeOfASharedLogin(const WString& file);

  static String native(const WString& path) { return Qx::UTF8FromWString(path); }
  static bool there(const WString& path) { return fs::exists(fs::symlink_status(native(path))); }

  static mode_t modeOf(const WString& path) {
    struct stat status = {};
    EXPECT_EQ(stat(native(path).c_str(), &status), 0);
    return status.st_mode & 07777;
  }

  // Of its last modification, in nanoseconds.
  static int64_t timeOf(const WString& path) {
    struct stat status = {};
    EXPECT_EQ(stat(native(path).c_str(), &status), 0);
    return status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec;
  }

  static void setTime(const WString& path, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, native(path).c_str(), times, 0), 0);
  }

  const WString folder = ground::folder();
  const WString path = folder + L"Lock";
};

TEST_F(LockFileTest, OtherMachineIsRefusedUntilTheLockIsClosed) {
  File held = lock(path);
  ASSERT_TRUE(opened(held));
  EXPECT_FALSE(elsewhere([&] { return opened(lock(path)); }));
  held = nullptr;
  EXPECT_TRUE(elsewhere([&] { return opened(lock(path)); }));
}

TEST_F(LockFileTest, HolderThatIsKilledBlocksNobody) {
  Machine other([&] { return keep(lock(path)) && writeInfo(path, "bert"); });
  ASSERT_TRUE(other.worked);
  EXPECT_FALSE(opened(lock(path)));

  other.crash();
  EXPECT_TRUE(opened(lock(path)));
}

TEST_F(LockFileTest, HolderThatIsStoppedKeepsItsLock) {
  Machine other([&] { return keep(lock(path)); });
  ASSERT_TRUE(other.worked);
  other.stop();
  EXPECT_FALSE(opened(lock(path)));
  EXPECT_TRUE(opened(probe(path)));
  EXPECT_FALSE(opened(lock(path)));
}

TEST_F(LockFileTest, ProbeElsewhereNeverMakesALockFail) {
  const Machine other([&] { return keep(probe(path)); });
  ASSERT_TRUE(other.worked);
  EXPECT_FALSE(there(path));
  EXPECT_TRUE(opened(lock(path)));
}

TEST_F(LockFileTest, FileThatAServerHasLentToItsClientIsWaitedFor) {
  ground::writeFile(path, "");
  ground::writeFile(path + L".inf", "bert");
  const Machine lockReader([&] { return lease(path); }),
      nameReader([&] { return lease(path + L".inf"); });
  ASSERT_TRUE(lockReader.worked);
  ASSERT_TRUE(nameReader.worked);
  const File held = lock(path);
  EXPECT_TRUE(opened(held));
  EXPECT_TRUE(writeInfo(path, "anna"));
  EXPECT_EQ(ground::readFile(path + L".inf"), "anna");
}

TEST_F(LockFileTest, RemoveLeavesTheLockAndNameOfTheNextHolder) {
  File held = lock(path);
  ASSERT_TRUE(writeInfo(path, "anna"));
  held = nullptr;
  const Machine next([&] { return keep(lock(path)) && writeInfo(path, "bert"); });
  ASSERT_TRUE(next.worked);

  EXPECT_FALSE(remove(path));
  EXPECT_FALSE(remove(path + L".inf"));
  EXPECT_TRUE(there(path));
  EXPECT_EQ(ground::readFile(path + L".inf"), "bert");
  EXPECT_FALSE(opened(lock(path)));
}

TEST_F(LockFileTest, RemoveBetweenTheTwoRemovesLeavesTheNameOfTheNextHolder) {
  File held = lock(path);
  ASSERT_TRUE(writeInfo(path, "anna"));
  held = nullptr;
  EXPECT_TRUE(remove(path));
  EXPECT_FALSE(there(path + L".inf"));
  const Machine next([&] { return keep(lock(path)) && writeInfo(path, "bert"); });
  ASSERT_TRUE(next.worked);

  EXPECT_FALSE(remove(path + L".inf"));
  EXPECT_EQ(ground::readFile(path + L".inf"), "bert");
}

TEST_F(LockFileTest, RemoveWithoutEverHoldingLeavesTheHoldersFile) {
  const Machine holder([&] { return keep(lock(path)); });
  ASSERT_TRUE(holder.worked);
  EXPECT_FALSE(opened(lock(path)));
  EXPECT_FALSE(remove(path));
  EXPECT_TRUE(there(path));
}

void LockFileTest::repeatedRemoveOfARefusedLock(const WString& file) {
  const Machine holder([&] { return keep(lock(file)) && writeInfo(file, "bert"); });
  ASSERT_TRUE(holder.worked);
  EXPECT_FALSE(opened(lock(file)));
  for (int time = 0; time < 3; ++time) {
    EXPECT_FALSE(remove(file));
    EXPECT_FALSE(remove(file + L".inf"));
    EXPECT_FALSE(opened(lock(file)));
  }
  EXPECT_TRUE(there(file));
  EXPECT_EQ(ground::readFile(file + L".inf"), "bert");
}

void LockFileTest::repeatedRemoveAfterARemoval(const WString& file) {
  File held = lock(file);
  ASSERT_TRUE(writeInfo(file, "anna"));
  held = nullptr;
  EXPECT_TRUE(remove(file));
  EXPECT_TRUE(remove(file + L".inf"));
  Machine next([&] { return keep(lock(file)) && writeInfo(file, "bert"); });
  ASSERT_TRUE(next.worked);
  for (int time = 0; time < 3; ++time) {
    EXPECT_FALSE(remove(file));
    EXPECT_FALSE(remove(file + L".inf"));
    EXPECT_FALSE(opened(lock(file)));
  }
  EXPECT_TRUE(there(file));
  EXPECT_EQ(ground::readFile(file + L".inf"), "bert");

  next.crash();
  EXPECT_TRUE(opened(lock(file)));
  EXPECT_TRUE(remove(file));
  EXPECT_FALSE(there(file));
}

void LockFileTest::repeatedRemoveOfALogin(const WString& file) {
  Machine other([&] { return keep(login(file)); });
  ASSERT_TRUE(other.worked);
  login(file) = nullptr;
  for (int time = 0; time < 3; ++time) EXPECT_FALSE(remove(file));
  EXPECT_TRUE(there(file));
  other.crash();
  EXPECT_TRUE(remove(file));
  EXPECT_FALSE(there(file));

  const Machine next([&] { return keep(login(file)); });
  ASSERT_TRUE(next.worked);
  for (int time = 0; time < 3; ++time) EXPECT_FALSE(remove(file));
  EXPECT_TRUE(there(file));
}

void LockFileTest::removeAfterAProbe(const WString& file) {
  const Machine holder([&] { return keep(lock(file)) && writeInfo(file, "bert"); });
  ASSERT_TRUE(holder.worked);
  probe(file) = nullptr;
  EXPECT_FALSE(remove(file));
  EXPECT_FALSE(remove(file + L".inf"));
  EXPECT_TRUE(there(file));
  EXPECT_EQ(ground::readFile(file + L".inf"), "bert");
  EXPECT_FALSE(opened(lock(file)));
}

void LockFileTest::nameOfACrashedHolder(const WString& file) {
  Machine other([&] { return keep(lock(file)) && writeInfo(file, "bert"); });
  ASSERT_TRUE(other.worked);
  EXPECT_FALSE(opened(lock(file)));
  EXPECT_EQ(ground::readFile(file + L".inf"), "bert");
  other.crash();
  const File held = lock(file);
  EXPECT_TRUE(opened(held));
  EXPECT_FALSE(there(file + L".inf"));
}

// Another machine took the lock without naming itself before the former holder had removed it.
void LockFileTest::nameOfAFormerHolder(const WString& file) {
  File held = lock(file);
  ground::writeFile(file + L".inf", "bert");
  held = nullptr;
  EXPECT_TRUE(remove(file));
  EXPECT_FALSE(there(file));
  EXPECT_FALSE(there(file + L".inf"));
}

void LockFileTest::timeOfALeftover(const WString& file, File (*take)(const WString&)) {
  ground::writeFile(file, "");
  setTime(file, 1);
  ground::writeFile(file + L".before", "");
  const File held = take(file);
  ASSERT_TRUE(opened(held));
  EXPECT_GE(timeOf(file), timeOf(file + L".before"));

  setTime(file, 1);
  EXPECT_FALSE(elsewhere([&] { return opened(lock(file)); }));
  EXPECT_EQ(timeOf(file), 1'000'000'000);
}

void LockFileTest::timeOfASharedLogin(const WString& file) {
  Machine other([&] { return keep(login(file)); });
  ASSERT_TRUE(other.worked);
  setTime(file, 1);
  login(file) = nullptr;
  EXPECT_EQ(timeOf(file), 1'000'000'000);
  other.crash();
  EXPECT_TRUE(opened(login(file)));  // this process has held it all the time
  EXPECT_EQ(timeOf(file), 1'000'000'000);
}

TEST_F(LockFileTest, LockOfALeftoverIsHeldSinceItWasTaken) { timeOfALeftover(path, lock); }

TEST_F(LockFileTest, LoginOfALeftoverIsHeldSinceItWasTaken) {
  timeOfALeftover(folder + L"anna.cli", login);
}

TEST_F(LockFileTest, LoginIsHeldSinceTheFirstOfItsUser) {
  timeOfASharedLogin(folder + L"anna.cli");
}

TEST_F(LockFileTest, RefusedLockIsLeftByEveryRemove) { repeatedRemoveOfARefusedLock(path); }

TEST_F(LockFileTest, NextHolderIsLeftByEveryRemove) { repeatedRemoveAfterARemoval(path); }

TEST_F(LockFileTest, OtherLoginIsLeftByEveryRemove) {
  repeatedRemoveOfALogin(folder + L"anna.cli");
}

TEST_F(LockFileTest, NameOfACrashedHolderGoesWhenTheLockIsTaken) { nameOfACrashedHolder(path); }

TEST_F(LockFileTest, NameOfAFormerHolderGoesWithTheLock) { nameOfAFormerHolder(path); }

TEST_F(LockFileTest, ProbedLockIsLeftByRemove) { removeAfterAProbe(path); }

TEST_F(LockFileTest, LockInAFolderThatWasMadeAnewIsLeftByRemove) {
  const WString room = folder + L"Room/", file = room + L"Lock";
  probe(file) = nullptr;  // before there is a folder
  for (int time = 0; time < 2; ++time) {
    ground::makeFolder(room);
    const Machine holder([&] { return keep(lock(file)) && writeInfo(file, "bert"); });
    ASSERT_TRUE(holder.worked);
    EXPECT_FALSE(remove(file));
    EXPECT_FALSE(remove(file + L".inf"));
    EXPECT_TRUE(there(file));
    EXPECT_EQ(ground::readFile(file + L".inf"), "bert");
    EXPECT_FALSE(opened(lock(file)));
    fs::rename(native(room), native(folder + L"away" + std::to_wstring(time)));
  }
}

TEST_F(LockFileTest, RemoveByAnotherWayToTheFolderLeavesTheHoldersLock) {
  fs::create_directory_symlink(native(folder), native(folder + L"way"));
  const Machine holder([&] { return keep(lock(path)); });
  ASSERT_TRUE(holder.worked);
  EXPECT_FALSE(opened(lock(folder + L"way/Lock")));
  EXPECT_FALSE(remove(path));
  EXPECT_TRUE(there(path));
}

TEST_F(LockFileTest, ChildOfAForkLeavesTheLockOfItsParent) {
  const File held = lock(path);
  ASSERT_TRUE(writeInfo(path, "anna"));
  EXPECT_FALSE(elsewhere([&] { return remove(path) || remove(path + L".inf"); }));
  EXPECT_TRUE(there(path));
  EXPECT_EQ(ground::readFile(path + L".inf"), "anna");
}

TEST_F(LockFileTest, InformationAloneIsRemovedUnderTheLock) {
  File held = lock(path);
  ASSERT_TRUE(writeInfo(path, "anna"));
  held = nullptr;
  EXPECT_TRUE(remove(path + L".inf"));
  EXPECT_FALSE(there(path + L".inf"));
  EXPECT_TRUE(there(path));
}

TEST_F(LockFileTest, RemoveOfInformationLeavesNoLockFileBehind) {
  File held = lock(path);
  ASSERT_TRUE(writeInfo(path, "anna"));
  held = nullptr;
  fs::remove(native(path));
  EXPECT_TRUE(remove(path + L".inf"));
  EXPECT_FALSE(there(path + L".inf"));
  EXPECT_FALSE(there(path));
}

TEST_F(LockFileTest, LockOfADeletedFileIsTakenOnTheNewOne) {
  const Machine other([&] { return keep(lock(path)); });
  ASSERT_TRUE(other.worked);
  fs::remove(native(path));
  const File held = lock(path);
  EXPECT_TRUE(opened(held));
  EXPECT_FALSE(elsewhere([&] { return opened(lock(path)); }));
}

TEST_F(LockFileTest, SameUserLogsInOnTwoMachines) {
  const WString file = folder + L"anna.cli";
  const Machine other([&] { return keep(login(file)); });
  ASSERT_TRUE(other.worked);
  EXPECT_TRUE(opened(login(file)));
}

TEST_F(LockFileTest, LoginIsRemovedByTheLastToLogOut) {
  const WString file = folder + L"anna.cli";
  Machine other([&] { return keep(login(file)); });
  ASSERT_TRUE(other.worked);
  login(file) = nullptr;
  EXPECT_FALSE(remove(file));
  EXPECT_TRUE(there(file));

  EXPECT_EQ(host::lockState(native(file)), host::LockState::kHeld);
  other.crash();
  EXPECT_TRUE(elsewhere([&] { return opened(login(file)) && remove(file); }));
  EXPECT_FALSE(there(file));
}

TEST_F(LockFileTest, ClosedLoginIsAliveUntilItIsRemoved) {
  const WString file = folder + L"anna.cli";
  login(file) = nullptr;
  EXPECT_TRUE(elsewhere([&] { return host::lockState(native(file)) == host::LockState::kHeld; }));
  EXPECT_EQ(host::lockState(native(file)), host::LockState::kHeld);
  EXPECT_TRUE(remove(file));
  EXPECT_EQ(host::lockState(native(file)), host::LockState::kMissing);
}

TEST_F(LockFileTest, LoginOfADeletedFileIsMadeAnew) {
  const WString file = folder + L"anna.cli";
  login(file) = nullptr;
  fs::remove(native(file));
  EXPECT_TRUE(opened(login(file)));
  EXPECT_TRUE(there(file));
  EXPECT_TRUE(elsewhere([&] { return host::lockState(native(file)) == host::LockState::kHeld; }));
}

TEST_F(LockFileTest, CrashedLoginIsFreeAndStillThere) {
  const WString file = folder + L"anna.cli";
  Machine other([&] { return keep(login(file)); });
  ASSERT_TRUE(other.worked);
  EXPECT_EQ(host::lockState(native(file)), host::LockState::kHeld);
  other.crash();
  EXPECT_EQ(host::lockState(native(file)), host::LockState::kFree);
  EXPECT_TRUE(there(file));
}

TEST_F(LockFileTest, AskingTakesNothing) {
  ground::writeFile(path, "");
  EXPECT_EQ(host::lockState(native(path)), host::LockState::kFree);
  EXPECT_TRUE(elsewhere([&] { return opened(lock(path)); }));
  EXPECT_EQ(host::lockState(native(folder + L"missing")), host::LockState::kMissing);
}

TEST_F(LockFileTest, OwnLockWhoseFileWasDeletedIsMissingAsForOthers) {
  const File held = lock(path);
  EXPECT_EQ(host::lockState(native(path)), host::LockState::kHeld);
  fs::remove(native(path));
  EXPECT_EQ(host::lockState(native(path)), host::LockState::kMissing);
  const Machine other([&] { return keep(lock(path)); });
  ASSERT_TRUE(other.worked);
  EXPECT_EQ(host::lockState(native(path)), host::LockState::kHeld);
}

TEST_F(LockFileTest, NeitherLinkNorFifoNorFolderIsALockFile) {
  ground::writeFile(folder + L"target", "");
  fs::create_symlink(native(folder + L"target"), native(folder + L"link"));
  fs::create_symlink(native(folder + L"nowhere"), native(folder + L"dangling"));
  ASSERT_EQ(mkfifo(native(folder + L"fifo").c_str(), 0666), 0);
  ground::makeFolder(folder + L"folder");
  for (const wchar_t* name : {L"link", L"dangling", L"fifo", L"folder"}) {
    SCOPED_TRACE(native(name));
    EXPECT_FALSE(opened(lock(folder + name)));
    EXPECT_FALSE(opened(login(folder + name)));
    EXPECT_FALSE(opened(probe(folder + name)));
    EXPECT_FALSE(opened(OS()->fileManager().open(folder + name, 0, 0, 1, 0)));
    EXPECT_FALSE(opened(OS()->fileManager().open(folder + name, 1, 2, 1, 0)));
    EXPECT_FALSE(opened(OS()->fileManager().open(folder + name, 2, 3, 4, 0)));
  }
  EXPECT_FALSE(there(folder + L"nowhere"));
}

TEST_F(LockFileTest, OneFileByTwoNamesIsOpenedOnce) {
  const File held = lock(path);
  fs::create_hard_link(native(path), native(folder + L"again"));
  fs::create_directory_symlink(native(folder), native(folder + L"way"));
  EXPECT_FALSE(opened(lock(folder + L"again")));
  EXPECT_FALSE(opened(lock(folder + L"way/Lock")));
  EXPECT_FALSE(opened(lock(folder + L"./Lock")));
  EXPECT_FALSE(elsewhere([&] { return opened(lock(path)); }));
}

TEST_F(LockFileTest, NewFilesServeWhoeverMayWriteInTheFolder) {
  struct Row {
    mode_t folder, umask, file;
  };
  for (const Row row :
       {Row{0777, 022, 0666}, Row{0777, 077, 0666}, Row{0775, 022, 0664}, Row{0775, 077, 0660},
        Row{0755, 022, 0644}, Row{0700, 077, 0600}, Row{01777, 022, 0666}}) {
    SCOPED_TRACE(testing::Message() << std::oct << row.folder << " " << row.umask);
    const WString inner = folder + L"inner/";
    ground::makeFolder(inner);
    ASSERT_EQ(chmod(native(inner).c_str(), row.folder), 0);
    const mode_t before = umask(row.umask);
    { const File held = lock(inner + L"Lock"); }
    { const File held = login(inner + L"anna.cli"); }
    { const File list = OS()->fileManager().open(inner + L"list", 1, 2, 1, 0); }
    umask(before);
    EXPECT_EQ(modeOf(inner + L"Lock"), row.file);
    EXPECT_EQ(modeOf(inner + L"anna.cli"), row.file);
    EXPECT_EQ(modeOf(inner + L"list"), row.file);
    fs::remove_all(native(inner));
  }
}

TEST_F(LockFileTest, NewFolderServesWhoeverMayWriteInTheOneAround) {
  const WString outer = folder + L"outer/";
  ground::makeFolder(outer);
  ASSERT_EQ(chmod(native(outer).c_str(), 0775), 0);
  const mode_t before = umask(077);
  EXPECT_TRUE(OS()->fileManager().createDirectory(outer + L"Lobby"));
  umask(before);
  EXPECT_EQ(modeOf(outer + L"Lobby"), 0770u);
}

TEST_F(LockFileTest, DescriptorsDoNotSurviveExec) {
  const File held = lock(path);
  const File info = OS()->fileManager().open(path + L".inf", 2, 3, 4, 0);
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = fs::read_symlink(entry.path(), gone);
    if (gone || !target.starts_with(native(folder))) continue;
    const int number = std::stoi(entry.path().filename());
    EXPECT_TRUE(fcntl(number, F_GETFD) & FD_CLOEXEC) << target;
  }
}

TEST_F(LockFileTest, ChildOfAForkHoldsNothing) {
  const File held = lock(path);
  const Machine child([&] { return !opened(held) && !opened(lock(path)); });
  EXPECT_TRUE(child.worked);
  EXPECT_TRUE(opened(held));
}

TEST_F(LockFileTest, ChildThatLivesOnKeepsNoLockOfItsParent) {
  int stay[2];  // the child lives until the test closes its end
  ASSERT_EQ(pipe(stay), 0);
  Machine parent([&] {
    int forked[2];
    if (!keep(lock(path)) || pipe(forked) != 0) return false;
    close(stay[1]);
    char byte = 'y';
    if (fork() == 0) {
      (void)!write(forked[1], &byte, 1);
      (void)!read(stay[0], &byte, 1);
      _exit(0);
    }
    return read(forked[0], &byte, 1) == 1;
  });
  ASSERT_TRUE(parent.worked);
  parent.crash();
  EXPECT_TRUE(opened(lock(path)));
  close(stay[1]);
}

TEST_F(LockFileTest, ThreadsOfOneProcessExcludeEachOther) {
  std::atomic<int> inside{0}, most{0}, taken{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      while (taken < 200) {
        File held = lock(path);
        if (!opened(held)) continue;
        const int now = ++inside;
        if (now > most) most = now;
        ++taken;
        writeInfo(path, "anna");
        --inside;
        held = nullptr;
        remove(path);
        remove(path + L".inf");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(most, 1);
}

class RemoteLockTest : public LockFileTest {
 protected:
  RemoteLockTest() {
    ground::makeFolder(remote);
    test::declareRemote(native(folder) + "nas");
  }
  ~RemoteLockTest() override { test::declareRemote(""); }

  const WString remote = folder + L"nas/";
  const WString anchor = remote + L".lockspace";
};

TEST_F(RemoteLockTest, LockspaceIsMadeThereAndNowhereElse) {
  const File there1 = lock(remote + L"Lock");
  const File here = lock(path);
  EXPECT_TRUE(opened(there1));
  EXPECT_TRUE(opened(here));
  EXPECT_TRUE(there(anchor));
  EXPECT_FALSE(there(folder + L".lockspace"));
}

TEST_F(RemoteLockTest, LockExcludesAndIsGivenBack) {
  const WString file = remote + L"Lock";
  File held = lock(file);
  EXPECT_FALSE(opened(lock(file)));
  EXPECT_FALSE(elsewhere([&] { return opened(lock(file)); }));
  EXPECT_TRUE(elsewhere([&] { return opened(lock(remote + L"Other")); }));
  held = nullptr;
  EXPECT_TRUE(elsewhere([&] { return opened(lock(file)); }));
}

TEST_F(RemoteLockTest, ByteExcludesWhereTheFileWasReplaced) {
  const Machine other([&] { return keep(lock(remote + L"Lock")); });
  ASSERT_TRUE(other.worked);
  fs::remove(native(remote + L"Lock"));
  EXPECT_FALSE(opened(lock(remote + L"Lock")));
}

TEST_F(RemoteLockTest, HolderWithoutTheByteIsRespected) {
  test::declareRemote("");  // a machine that takes the folder for a local one
  const Machine other([&] { return keep(lock(remote + L"Lock")); });
  ASSERT_TRUE(other.worked);
  test::declareRemote(native(folder) + "nas");
  EXPECT_FALSE(opened(lock(remote + L"Lock")));
  EXPECT_FALSE(remove(remote + L"Lock"));
  EXPECT_TRUE(there(remote + L"Lock"));
}

TEST_F(RemoteLockTest, LockspaceIsUsedWhereverItIs) {
  { const File made = lock(remote + L"Lock"); }
  const Machine other([&] { return keep(lock(remote + L"Lock")); });
  ASSERT_TRUE(other.worked);
  test::declareRemote("");
  fs::remove(native(remote + L"Lock"));
  EXPECT_FALSE(opened(lock(remote + L"Lock")));
}

TEST_F(RemoteLockTest, RemoveTakesBothFilesAndLeavesTheLockspace) {
  File held = lock(remote + L"Lock");
  ASSERT_TRUE(writeInfo(remote + L"Lock", "anna"));
  held = nullptr;
  EXPECT_TRUE(remove(remote + L"Lock"));
  remove(remote + L"Lock.inf");
  EXPECT_FALSE(there(remote + L"Lock"));
  EXPECT_FALSE(there(remote + L"Lock.inf"));
  EXPECT_TRUE(there(anchor));
}

TEST_F(RemoteLockTest, RemoveLeavesTheLockAndNameOfTheNextHolder) {
  File held = lock(remote + L"Lock");
  ASSERT_TRUE(writeInfo(remote + L"Lock", "anna"));
  held = nullptr;
  const Machine next(
      [&] { return keep(lock(remote + L"Lock")) && writeInfo(remote + L"Lock", "bert"); });
  ASSERT_TRUE(next.worked);
  EXPECT_FALSE(remove(remote + L"Lock"));
  EXPECT_FALSE(remove(remote + L"Lock.inf"));
  EXPECT_EQ(ground::readFile(remote + L"Lock.inf"), "bert");
}

TEST_F(RemoteLockTest, RefusedLockIsLeftByEveryRemove) {
  repeatedRemoveOfARefusedLock(remote + L"Lock");
}

TEST_F(RemoteLockTest, NextHolderIsLeftByEveryRemove) {
  repeatedRemoveAfterARemoval(remote + L"Lock");
}

TEST_F(RemoteLockTest, OtherLoginIsLeftByEveryRemove) {
  repeatedRemoveOfALogin(remote + L"anna.cli");
}

TEST_F(RemoteLockTest, LockOfALeftoverIsHeldSinceItWasTaken) {
  timeOfALeftover(remote + L"Lock", lock);
}

TEST_F(RemoteLockTest, LoginOfALeftoverIsHeldSinceItWasTaken) {
  timeOfALeftover(remote + L"anna.cli", login);
}

TEST_F(RemoteLockTest, LoginIsHeldSinceTheFirstOfItsUser) {
  timeOfASharedLogin(remote + L"anna.cli");
}

TEST_F(RemoteLockTest, NameOfACrashedHolderGoesWhenTheLockIsTaken) {
  nameOfACrashedHolder(remote + L"Lock");
}

TEST_F(RemoteLockTest, NameOfAFormerHolderGoesWithTheLock) {
  nameOfAFormerHolder(remote + L"Lock");
}

TEST_F(RemoteLockTest, ProbedLockIsLeftByRemove) { removeAfterAProbe(remote + L"Lock"); }

TEST_F(RemoteLockTest, LoginsShareAndTheLastOneIsRemoved) {
  const WString file = remote + L"anna.cli";
  Machine other([&] { return keep(login(file)); });
  ASSERT_TRUE(other.worked);
  EXPECT_TRUE(opened(login(file)));
  EXPECT_FALSE(remove(file));
  other.crash();
  EXPECT_TRUE(opened(login(file)));
  EXPECT_TRUE(remove(file));
  EXPECT_FALSE(there(file));
}

TEST_F(RemoteLockTest, OneDescriptorServesAllLocksOfAFolder) {
  const File one = lock(remote + L"Lock"), other = lock(remote + L"Other");
  int open = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry.path(), gone) == native(anchor)) ++open;
  }
  EXPECT_EQ(open, 1);
}

TEST_F(RemoteLockTest, LockspaceIsClosedWithItsLastLock) {
  { const File held = lock(remote + L"Lock"); }
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    EXPECT_NE(fs::read_symlink(entry.path(), gone), native(anchor));
  }
}

TEST_F(RemoteLockTest, AskingTakesNothingAndMakesNoLockspace) {
  ground::writeFile(remote + L"Lock", "");
  EXPECT_EQ(host::lockState(native(remote + L"Lock")), host::LockState::kFree);
  EXPECT_FALSE(there(anchor));
}

TEST_F(RemoteLockTest, LockIsHeldWhileOnlyItsByteIs) {
  const Machine other([&] { return keep(lock(remote + L"Lock")); });
  ASSERT_TRUE(other.worked);
  fs::remove(native(remote + L"Lock"));
  EXPECT_EQ(host::lockState(native(remote + L"Lock")), host::LockState::kMissing);
  ground::writeFile(remote + L"Lock", "");
  EXPECT_EQ(host::lockState(native(remote + L"Lock")), host::LockState::kHeld);
  ground::writeFile(remote + L"Other", "");
  EXPECT_EQ(host::lockState(native(remote + L"Other")), host::LockState::kFree);

  // The same through the descriptor of a lock of our own, whose byte is no answer.
  const File own = lock(remote + L"Other");
  EXPECT_EQ(host::lockState(native(remote + L"Lock")), host::LockState::kHeld);
  EXPECT_EQ(host::lockState(native(remote + L"Other")), host::LockState::kHeld);
  ground::writeFile(remote + L"Third", "");
  EXPECT_EQ(host::lockState(native(remote + L"Third")), host::LockState::kFree);
}

TEST_F(RemoteLockTest, WhatTheLockspaceDoesNotTellIsUnknown) {
  ground::writeFile(remote + L"Lock", "");
  fs::create_symlink("/etc/passwd", native(anchor));
  EXPECT_EQ(host::lockState(native(remote + L"Lock")), host::LockState::kUnknown);
}

TEST_F(RemoteLockTest, LinkAsLockspaceIsRefused) {
  fs::create_symlink("/etc/passwd", native(anchor));
  EXPECT_FALSE(opened(lock(remote + L"Lock")));
}

}  // namespace
