// Volumes on real mounts: of exact size, coming and going, and hanging.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "host/state_file.h"
#include "host/volumes.h"
#include "miscdisc/platform/fsys.h"
#include "tests/host/exact_volume.h"
#include "tests/host/home.h"
#include "tests/host/measured.h"
#include "tests/host/threads.h"

using namespace std::chrono_literals;
using Answer = host::VolumeState::Answer;
using test::Has;
using test::measured;
using test::threads;

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint64_t kMiB = 1 << 20;
constexpr auto kDeadline = 300ms;
// No call that has a deadline takes as long, however loaded the machine; one that hangs takes
// longer than any test.
constexpr auto kSlack = 20s;

WString wide(const std::string& text) { return Qx::WStringFromUTF8(text); }

// The ids of all volumes by their folders.
std::map<std::string, wchar_t> volumes() {
  std::map<std::string, wchar_t> ids;
  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    WString folder;
    ids[Qx::UTF8FromWString(FsysGetMaterialVolumeName(id, folder, false))] = id;
  }
  return ids;
}

void configure(const std::string& volumes) {
  test::configure("[volumes]\n" + volumes);
  FsysReInitialize(false);
}

class MountedVolumesTest : public test::HomeTest {
 protected:
  static std::string disk(const std::string& name) { return test::home() + "/" + name; }

  // A file system with "Material".
  static void insert(const std::string& name) {
    ASSERT_NO_FATAL_FAILURE(test::mountExactly(kMiB, disk(name)));
    test::makeFolder(disk(name) + "/Material");
  }
};

TEST_F(MountedVolumesTest, SpaceIsExact) {
  test::withExactVolumes({{disk("e"), 3 * kMiB}}, [] {
    configure("discover = false\nE = '" + disk("e") + "'\n");
    EXPECT_THAT(measured(L'E'), testing::Pair(true, Has(3145728u, 3145728u)));
    test::writeFile(disk("e") + "/a", std::string(kMiB, 'x'));
    EXPECT_THAT(measured(L'E'), testing::Pair(true, Has(2097152u, 3145728u)));
    EXPECT_THAT(host::askVolume(L'E', kSlack).space, testing::Optional(Has(2097152u, 3145728u)));
    EXPECT_THAT(host::askFolders({disk("e") + "/a"}, kSlack).front().answer, Answer::kAbsent);
    test::unmount(disk("e"));
    EXPECT_TRUE(FsysIsVolumePresent(L'E'));
    EXPECT_GT(measured(L'E').second.totalBytes, 3145728u);
  });
}

TEST_F(MountedVolumesTest, AMountKeepsItsLetterWhileOthersComeAndGo) {
  test::inOwnMounts([] {
    insert("b");
    configure("");
    const wchar_t letter = volumes().at(disk("b"));
    EXPECT_TRUE(FsysIsVolumePresent(letter));
    EXPECT_TRUE(FsysIsVolumeAutoDiscovered(letter));
    EXPECT_EQ(host::StateFile::instance().value("Volume letters",
                                                std::string(1, static_cast<char>(letter))),
              disk("b"));
    insert("a");
    FsysReInitialize(false);
    EXPECT_EQ(volumes().at(disk("b")), letter);
    const wchar_t other = volumes().at(disk("a"));

    test::unmount(disk("b"));
    insert("c");
    FsysReInitialize(false);
    EXPECT_EQ(volumes().count(disk("b")), 0u);
    EXPECT_EQ(volumes().at(disk("a")), other);
    EXPECT_NE(volumes().at(disk("c")), letter);

    insert("b");
    FsysReInitialize(false);
    EXPECT_EQ(volumes().at(disk("b")), letter);
  });
}

TEST_F(MountedVolumesTest, ProvisionalLettersWriteNothing) {
  test::inOwnMounts([] {
    insert("a");
    host::keepVolumeLetters(false);
    configure("");
    EXPECT_EQ(volumes().count(disk("a")), 1u);
    EXPECT_FALSE(std::filesystem::exists(test::home() + "/state.toml"));
    host::keepVolumeLetters(true);
    FsysReInitialize(false);
    EXPECT_TRUE(std::filesystem::exists(test::home() + "/state.toml"));
  });
}

TEST_F(MountedVolumesTest, ConfiguredFoldersTakeTheirFileSystemAndLettersWithThem) {
  test::inOwnMounts([] {
    insert("a");
    insert("b");
    std::filesystem::create_directory_symlink(disk("a") + "/Material", disk("link"));
    configure("E = '" + disk("link") + "'\n");
    EXPECT_EQ(volumes().at(disk("link")), L'E');
    EXPECT_EQ(volumes().count(disk("a")), 0u);
    EXPECT_NE(volumes().at(disk("b")), L'E');
    configure("discover = false\nE = '" + disk("link") + "'\n");
    EXPECT_EQ(volumes().size(), 1u);
  });
}

// Which folders the volumes are is remembered only as long as nothing is mounted.
TEST_F(MountedVolumesTest, AFolderThatIsAVolumeSinceABindMountIsRefused) {
  test::inOwnMounts([] {
    for (const char* name : {"a", "b", "c"}) test::makeFolder(disk(name));
    configure("discover = false\nE = '" + disk("a") + "'\n");
    wchar_t id = 0;
    EXPECT_EQ(FsysAddMaterialVolume(wide(disk("c")), &id), 1);
    ASSERT_EQ(::mount(disk("b").c_str(), disk("a").c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(FsysAddMaterialVolume(wide(disk("b")), &id), 0);
    test::unmount(disk("a"));
    EXPECT_EQ(FsysAddMaterialVolume(wide(disk("b")), &id), 1);
  });
}

TEST_F(MountedVolumesTest, BeyondTheAlphabetTheLogSaysSoOnce) {
  test::inOwnMounts([] {
    for (int i = 0; i < 28; ++i) insert("m" + std::to_string(i));
    configure("");
    EXPECT_EQ(volumes().size(), 26u);
    FsysReInitialize(false);
    EXPECT_EQ(volumes().size(), 26u);
    const std::string log = test::readFile(test::home() + "/miscdisc.log").value_or("");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
    EXPECT_THAT(log, testing::HasSubstr("more mounted file systems could be volumes, but there is "
                                        "no letter left"));
  });
}

// The program hanging_mount, on a folder.
class HangingMount {
 public:
  explicit HangingMount(std::string folder) : folder_(std::move(folder)) {
    test::makeFolder(folder_);
    int words[2];
    if (pipe2(words, O_CLOEXEC) != 0) return;
    server_ = fork();
    if (server_ == 0) {
      dup2(words[1], STDOUT_FILENO);
      execl(HANGING_MOUNT, HANGING_MOUNT, folder_.c_str(), nullptr);
      _exit(127);
    }
    close(words[1]);
    char word = 0;
    ready_ = read(words[0], &word, 1) == 1;
    close(words[0]);
  }
  ~HangingMount() {
    send(SIGKILL);
    waitpid(server_, nullptr, 0);
    umount2(folder_.c_str(), MNT_DETACH);
  }
  HangingMount(const HangingMount&) = delete;
  HangingMount& operator=(const HangingMount&) = delete;

  bool ready() const { return ready_; }
  void send(int signal) const { kill(server_, signal); }
  // Once it has stopped: a signal takes its time.
  void stop() const {
    send(SIGSTOP);
    waitpid(server_, nullptr, WUNTRACED);
  }

 private:
  std::string folder_;
  pid_t server_ = -1;
  bool ready_ = false;
};

class HangingVolumeTest : public MountedVolumesTest {
 protected:
  static void use(const std::function<void(const HangingMount&)>& body) {
    test::inOwnMounts([&] {
      const HangingMount mount(disk("f"));
      if (!mount.ready()) GTEST_SKIP() << "FUSE cannot be used here";
      test::makeFolder(disk("e"));
      test::makeFolder(disk("x"));
      host::setVolumeDeadline(kDeadline);
      configure("discover = false\nE = '" + disk("e") + "'\nF = '" + disk("f") + "'\n");
      body(mount);
    });
  }
};

TEST_F(HangingVolumeTest, EveryQuestionComesBackAndOtherVolumesAnswer) {
  use([](const HangingMount& mount) {
    ASSERT_THAT(measured(L'F'), testing::Pair(true, Has(1073741824u, 3221225472u)));
    ASSERT_TRUE(FsysIsVolumePreparedForMedia(L'F'));
    mount.stop();

    wchar_t id = L'-';
    const auto begin = Clock::now();
    EXPECT_FALSE(FsysIsVolumePresent(L'F'));
    EXPECT_THAT(measured(L'F'), testing::Pair(false, Has(1073741824u, 3221225472u)));
    EXPECT_FALSE(FsysIsVolumePreparedForMedia(L'F'));
    EXPECT_FALSE(FsysPrepareVolumeForMedia(L'F'));
    EXPECT_EQ(FsysAddMaterialVolume(wide(disk("f") + "/Material"), &id), 0);
    EXPECT_EQ(id, L'-');
    EXPECT_EQ(FsysAddMaterialVolume(wide(disk("x")), &id), 1);
    EXPECT_EQ(id, 0xE031);
    FsysSetFileOwner(L"F:/Material/a");
    FsysReInitialize(false);
    EXPECT_EQ(FsysFilenameToWin32Filename(L"F:/a"), wide(disk("f") + "/a"));
    EXPECT_FALSE(FsysConvertLocalToUNC(L"F:/a").empty());
    EXPECT_TRUE(FsysIsVolumePresent(L'E'));
    EXPECT_TRUE(measured(L'E').first);
    EXPECT_LT(Clock::now() - begin, kSlack);

    mount.send(SIGCONT);
    while (!FsysIsVolumePresent(L'F')) std::this_thread::yield();
    EXPECT_THAT(measured(L'F'), testing::Pair(true, Has(1073741824u, 3221225472u)));
  });
}

TEST_F(HangingVolumeTest, FiftyMoreQuestionsNeedNoMoreThreads) {
  use([](const HangingMount& mount) {
    mount.stop();
    EXPECT_FALSE(FsysIsVolumePresent(L'F'));
    const size_t before = threads();
    for (int i = 0; i < 50; ++i) EXPECT_FALSE(FsysIsVolumePresent(L'F'));
    EXPECT_LE(threads(), before);
  });
}

TEST_F(HangingVolumeTest, TheAnswersAgeUntilItIsBack) {
  use([](const HangingMount& mount) {
    EXPECT_EQ(host::askVolume(L'F', kSlack).answer, Answer::kPresent);
    mount.send(SIGUSR1);
    host::VolumeState state;
    do {
      state = host::askVolumes(kDeadline).at(L'F');
    } while (state.answer != Answer::kNotAnswering || state.age < 700ms);
    EXPECT_THAT(state.space, testing::Optional(Has(1073741824u, 3221225472u)));
    EXPECT_EQ(host::askVolumes(kDeadline).at(L'E').answer, Answer::kPresent);

    mount.send(SIGUSR2);
    do {
      state = host::askVolume(L'F', kSlack);
    } while (state.answer != Answer::kPresent || state.age >= 700ms);
  });
}

TEST_F(HangingVolumeTest, OneThatNeverAnsweredHasNoFigures) {
  use([](const HangingMount& mount) {
    mount.stop();
    EXPECT_THAT(measured(L'F'), testing::Pair(false, Has(7u, 9u)));
    host::VolumeState state;
    do {
      state = host::askVolume(L'F', kDeadline);
    } while (state.age < 700ms);
    EXPECT_EQ(state.answer, Answer::kNotAnswering);
    EXPECT_FALSE(state.space);
    state = host::askFolders({disk("f") + "/Sound"}, kDeadline).front();
    EXPECT_EQ(state.answer, Answer::kNotAnswering);
    EXPECT_LT(state.age, kSlack);
    EXPECT_FALSE(host::askMount(disk("f") + "/none", kDeadline, [] {}));
    EXPECT_TRUE(host::askMount(disk("e") + "/none", kSlack, [] {}));
  });
}

TEST_F(HangingVolumeTest, OneThatHadALetterKeepsItUnasked) {
  use([](const HangingMount& mount) {
    mount.stop();
    configure("");
    EXPECT_EQ(volumes().count(disk("f")), 0u);
    ASSERT_TRUE(host::StateFile::instance().setValue("Volume letters", "K", disk("f")));
    FsysReInitialize(false);
    EXPECT_EQ(volumes().at(disk("f")), L'K');
    EXPECT_FALSE(FsysIsVolumePresent(L'K'));
  });
}

TEST_F(HangingVolumeTest, AProcessThatWaitsForItCanEnd) {
  use([](const HangingMount& mount) {
    mount.stop();
    const pid_t child = fork();
    if (child == 0) {
      FsysIsVolumePresent(L'F');
      std::quick_exit(7);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
  });
}

TEST_F(HangingVolumeTest, ALinkToItIsNoTrapForOthers) {
  use([](const HangingMount& mount) {
    std::filesystem::create_directory_symlink(disk("f") + "/Material", disk("link"));
    mount.stop();
    configure("discover = false\nE = '" + disk("e") + "'\nG = '" + disk("link") + "'\n");
    EXPECT_FALSE(FsysIsVolumePresent(L'G'));
    EXPECT_TRUE(FsysIsVolumePresent(L'E'));
  });
}

TEST_F(HangingVolumeTest, AServerThatEndedIsAbsentAndAnswersSo) {
  use([](const HangingMount& mount) {
    EXPECT_TRUE(FsysIsVolumePresent(L'F'));
    mount.send(SIGKILL);
    host::VolumeState state;
    do {
      state = host::askVolume(L'F', kSlack);
    } while (state.answer == Answer::kPresent);
    EXPECT_EQ(state.answer, Answer::kAbsent);
    EXPECT_THAT(measured(L'F'), testing::Pair(false, Has(7u, 9u)));
  });
}

}  // namespace
