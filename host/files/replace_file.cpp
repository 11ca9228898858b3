#include "host/files/replace_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <thread>

#include "miscdisc/platform/log.h"

namespace host {
namespace {

constexpr std::chrono::seconds kRenamePatience{1};
constexpr time_t kTemporaryLife = 60 * 60;  // seconds; no writer takes that long

std::string unique() {
  uint64_t random = 0;
  if (getrandom(&random, sizeof(random), 0) != sizeof(random)) random = std::random_device()();
  char text[64];
  std::snprintf(text, sizeof(text), "%x-%016llx", static_cast<unsigned>(getpid()),
                static_cast<unsigned long long>(random));
  return text;
}

// Rights as the old file has them, as far as this user may give them.
void keepRights(const std::string& old, int file) {
  struct stat before, now;
  if (stat(old.c_str(), &before) != 0 || fstat(file, &now) != 0) return;
  if (before.st_uid != now.st_uid || before.st_gid != now.st_gid) {
    (void)!fchown(file, before.st_uid, before.st_gid);
  }
  (void)!fchmod(file, before.st_mode & 07777);

  constexpr char kAccessList[] = "system.posix_acl_access";
  char list[4096];
  const ssize_t size = getxattr(old.c_str(), kAccessList, list, sizeof(list));
  if (size > 0) (void)!fsetxattr(file, kAccessList, list, static_cast<size_t>(size), 0);
}

bool renamePatiently(const std::string& from, const std::string& to) {
  const auto end = std::chrono::steady_clock::now() + kRenamePatience;
  while (rename(from.c_str(), to.c_str()) != 0) {
    // An SMB server refuses while anybody has the file open, and readers are quick.
    if (errno != EACCES && errno != EBUSY) return false;
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// What crashed writers left.  The clock is the server's, by the file that was just written.
void removeOldTemporaries(const std::string& folder, const std::string& name, time_t now) {
  const Listing listing(opendir(folder.c_str()));
  if (!listing) return;
  const std::string prefix = "." + name + ".";
  while (const dirent* entry = readdir(listing.get())) {
    const std::string_view found = entry->d_name;
    if (!found.starts_with(prefix) || !found.ends_with(".tmp")) continue;
    struct stat status;
    if (fstatat(dirfd(listing.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (S_ISREG(status.st_mode) && status.st_mtime < now - kTemporaryLife) {
      unlinkat(dirfd(listing.get()), entry->d_name, 0);
    }
  }
}

}  // namespace

std::string temporaryBeside(const Folder& folder, const std::string& name) {
  return folder.path + "/." + name + "." + unique() + ".tmp";
}

void syncFolder(const std::string& folder) {
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const bool synced = opened && fsync(opened.number()) == 0;
  // Some servers know no such request, for they answer a rename only when it is on the disk.
  if (!synced && errno != EINVAL && errno != ENOTSUP && errno != EACCES) {
    Log("%s: the folder could not be synced: %s\n", folder.c_str(), std::strerror(errno));
  }
}

bool replaceFile(const std::string& path, const Folder& folder, const std::string& bytes) {
  const std::string name = lastComponent(path);
  const std::string temporary = temporaryBeside(folder, name);
  Descriptor file = createNew(temporary, O_WRONLY, folder);
  if (!file) return false;
  keepRights(path, file.number());

  struct stat status = {};
  const bool written = writeFully(file.number(), bytes.data(), bytes.size()) &&
                       fsync(file.number()) == 0 && fstat(file.number(), &status) == 0;
  if (!file.close() || !written || !renamePatiently(temporary, path)) {
    unlink(temporary.c_str());
    return false;
  }
  syncFolder(folder.path);
  removeOldTemporaries(folder.path, name, status.st_mtime);
  return true;
}

}  // namespace host
