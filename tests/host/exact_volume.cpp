#include "tests/host/exact_volume.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

namespace test {
namespace {

enum Ending : int { kPassed = 0, kFailed = 1, kSkipped = 2, kNotPossible = 3 };

bool write(const char* file, const std::string& text) {
  const int descriptor = open(file, O_WRONLY | O_CLOEXEC);
  const bool written = ::write(descriptor, text.data(), text.size()) == ssize_t(text.size());
  close(descriptor);
  return written;
}

// Root of a namespace of one's own may mount; real root may where there are no such namespaces.
bool enterOwnMounts() {
  const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) {
    return write("/proc/self/setgroups", "deny") &&
           write("/proc/self/uid_map", "0 " + user + " 1") &&
           write("/proc/self/gid_map", "0 " + group + " 1");
  }
  return unshare(CLONE_NEWNS) == 0;
}

Ending run(const std::function<void()>& body) {
  const bool alone =
      enterOwnMounts() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  if (!alone) {
    printf("Skipped\nno mounts are allowed here: %s\n", strerror(errno));
    return kNotPossible;
  }
  body();
  if (testing::Test::HasFailure()) return kFailed;
  return testing::Test::IsSkipped() ? kSkipped : kPassed;
}

}  // namespace

void inOwnMounts(const std::function<void()>& body) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const Ending ending = run(body);
    fflush(nullptr);
    _exit(ending);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  const int ending = WEXITSTATUS(status);
  if (ending == kSkipped || ending == kNotPossible) GTEST_SKIP() << "for the reason above";
  EXPECT_EQ(ending, kPassed) << "the failures are above";
}

void mountExactly(uint64_t bytes, const std::string& folder) {
  std::filesystem::create_directories(folder);
  const std::string options = "mode=755,size=" + std::to_string(bytes);
  ASSERT_EQ(mount("exact", folder.c_str(), "tmpfs", 0, options.c_str()), 0) << strerror(errno);
}

void unmount(const std::string& folder) {
  ASSERT_EQ(umount2(folder.c_str(), MNT_DETACH), 0) << strerror(errno);
}

void withExactVolumes(const std::map<std::string, uint64_t>& bytesByFolder,
                      const std::function<void()>& body) {
  inOwnMounts([&] {
    for (const auto& [folder, bytes] : bytesByFolder) {
      ASSERT_NO_FATAL_FAILURE(mountExactly(bytes, folder));
    }
    body();
  });
}

}  // namespace test
