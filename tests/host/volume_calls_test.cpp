// What volumes ask of the system, and a system call that does not come back.  The calls of the host
// pass through the functions of this program, which is why these tests have one of their own.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <linux/quota.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <thread>

#include "host/volumes.h"
#include "host/volumes/space.h"
#include "miscdisc/platform/fsys.h"
#include "tests/host/home.h"
#include "tests/host/measured.h"
#include "tests/host/threads.h"

using namespace std::chrono_literals;
using Answer = host::VolumeState::Answer;
using test::Has;
using test::measured;
using test::threads;
using testing::Optional;
using testing::Pair;

namespace {

// statvfs in the other mount waits until the test lets it go, and tells figures of the test's.
constexpr std::string_view kOtherMount = "/proc";
std::atomic<bool> stuck = false;
std::atomic<int> measures = 0;

std::atomic<int> quotaQuestions = 0;
int quotaCommand = 0;
uid_t quotaUser = 0;
std::atomic<int> quotaError = 0;
if_dqblk quotaAnswer;

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

long answerQuota(int command, uid_t user, void* answer) {
  ++quotaQuestions;
  quotaCommand = command;
  quotaUser = user;
  if (quotaError != 0) {
    errno = quotaError;
    return -1;
  }
  std::memcpy(answer, &quotaAnswer, sizeof quotaAnswer);
  return 0;
}

}  // namespace

extern "C" {

MISCDISC_EXPORT int statvfs(const char* path, struct statvfs* space) noexcept {
  if (std::string_view(path).starts_with(kOtherMount)) {
    ++measures;
    stuck.wait(true);
    *space = {};
    space->f_bsize = 4096;  // not the unit of what follows
    space->f_frsize = 512;
    space->f_blocks = 100;
    space->f_bfree = 60;  // with what is kept for root
    space->f_bavail = 40;
    return 0;
  }
  static auto* const real = next<int(const char*, struct statvfs*)>("statvfs");
  return real(path, space);
}

// Most calls have fewer arguments than are read here, as the C library's own syscall does it.
__attribute__((no_sanitize("address"))) MISCDISC_EXPORT long syscall(long number, ...) noexcept {
  va_list arguments;
  va_start(arguments, number);
  long a[6];
  for (long& argument : a) argument = va_arg(arguments, long);
  va_end(arguments);
  if (number == SYS_quotactl_fd) {
    return answerQuota(static_cast<int>(a[1]), static_cast<uid_t>(a[2]),
                       reinterpret_cast<void*>(a[3]));
  }
  static auto* const real = next<long(long, ...)>("syscall");
  return real(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

}  // extern "C"

namespace {

constexpr auto kDeadline = 200ms;
constexpr auto kSlack = 20s;  // more than any call takes that has a deadline

class VolumeCallsTest : public test::HomeTest {
 protected:
  VolumeCallsTest() {
    host::setVolumeDeadline(kDeadline);
    test::makeFolder(test::home() + "/e");
    configure("");
  }
  ~VolumeCallsTest() override { release(); }

  static void configure(const std::string& more) {
    test::configure("[volumes]\ndiscover = false\nE = '" + test::home() + "/e'\nF = '/proc'\n" +
                    more);
    FsysReInitialize(false);
  }

  static void hang() { stuck = true; }
  static void release() {
    stuck = false;
    stuck.notify_all();
  }
};

TEST_F(VolumeCallsTest, PresenceIsMeasuredEachTime) {
  const int before = measures;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(FsysIsVolumePresent(L'F'));
  EXPECT_EQ(measures, before + 3);
}

TEST_F(VolumeCallsTest, FreeIsWhatAUserWhoIsNotRootMayWrite) {
  EXPECT_THAT(measured(L'F'), Pair(true, Has(20480u, 51200u)));
}

TEST_F(VolumeCallsTest, AVolumeThatHangsIsAskedOnceAndTheOthersGoOn) {
  ASSERT_TRUE(measured(L'F').first);
  const int before = measures;
  hang();
  EXPECT_FALSE(FsysIsVolumePresent(L'F'));
  const size_t threadsBefore = threads();
  for (int i = 0; i < 50; ++i) EXPECT_FALSE(FsysIsVolumePresent(L'F'));
  EXPECT_LE(threads(), threadsBefore);
  EXPECT_EQ(measures, before + 1);
  EXPECT_TRUE(FsysIsVolumePresent(L'E'));
  EXPECT_THAT(measured(L'F'), Pair(false, Has(20480u, 51200u)));  // as last measured

  host::VolumeState state;
  do {
    state = host::askVolumes(kDeadline).at(L'F');
  } while (state.age < 500ms);
  EXPECT_EQ(state.answer, Answer::kNotAnswering);
  release();
  while (!FsysIsVolumePresent(L'F')) std::this_thread::yield();
  EXPECT_THAT(measured(L'F'), Pair(true, Has(20480u, 51200u)));
}

// The answer comes in while nobody waits for it.
TEST_F(VolumeCallsTest, ALateAnswerIsTheLastOne) {
  hang();
  EXPECT_FALSE(host::askFolders({"/proc/sys"}, kDeadline).front().space);
  release();
  while (!host::askMount("/proc", kSlack, [] {})) std::this_thread::yield();
  hang();
  const auto state = host::askFolders({"/proc/sys"}, kDeadline).front();
  EXPECT_EQ(state.answer, Answer::kNotAnswering);
  EXPECT_THAT(state.space, Optional(Has(20480u, 51200u)));
}

class QuotaTest : public VolumeCallsTest {
 protected:
  // Limits in KiB, as the kernel keeps them.
  static void answer(uint64_t hard, uint64_t soft, uint64_t usedBytes) {
    quotaAnswer = {};
    quotaAnswer.dqb_bhardlimit = hard;
    quotaAnswer.dqb_bsoftlimit = soft;
    quotaAnswer.dqb_curspace = usedBytes;
  }
};

TEST_F(QuotaTest, TheKernelIsAskedForTheUsersQuotaWhereTheSettingsSayIt) {
  EXPECT_TRUE(measured(L'E').first);
  EXPECT_EQ(quotaQuestions, 0);
  configure("quota = ['E', 'K']\n");
  answer(8, 4, 1024);
  EXPECT_THAT(measured(L'E'), Pair(true, Has(7168u, 8192u)));
  EXPECT_EQ(quotaQuestions, 1);
  EXPECT_EQ(quotaCommand, 0x80000700);  // Q_GETQUOTA of a user
  EXPECT_EQ(quotaUser, geteuid());
  EXPECT_TRUE(measured(L'F').first);
  EXPECT_EQ(quotaQuestions, 1);
}

TEST_F(QuotaTest, BoundsTheOwnMediaFolderBeforeItIsMade) {
  test::configure("[volumes]\ndiscover = false\nquota = ['E']\n");
  FsysReInitialize(false);
  answer(8, 4, 1024);
  EXPECT_THAT(measured(L'E'), Pair(true, Has(7168u, 8192u)));
}

TEST_F(QuotaTest, WithoutAnAnswerThePlainFiguresStandAndTheLogSaysSoOnce) {
  const VOLUME_INFO plain = measured(L'E').second;
  configure("quota = ['E']\n");
  quotaError = ENOSYS;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(measured(L'E').second.totalBytes, plain.totalBytes);
  quotaError = 0;
  const std::string log = test::readFile(test::home() + "/miscdisc.log").value_or("");
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
  EXPECT_THAT(log, testing::HasSubstr("no quota of this user is kept for " + test::home() +
                                      "/e: its free space is that of the file system\n"));
}

TEST(WithinQuotaTest, TheHardLimitCountsElseTheSoftOne) {
  const VOLUME_INFO space{.freeBytes = 1000, .totalBytes = 5000};
  struct {
    host::Quota quota;
    uint64_t free, total;
  } const cases[] = {
      {{0, 0, 700}, 1000, 5000},    {{900, 0, 700}, 200, 900}, {{900, 800, 700}, 200, 900},
      {{0, 800, 700}, 100, 800},    {{700, 0, 700}, 0, 700},   {{600, 0, 700}, 0, 600},
      {{9000, 0, 700}, 1000, 5000},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(host::withinQuota(space, c.quota), Has(c.free, c.total));
  }
}

}  // namespace
