#include "host/volumes/space.h"

#include <fcntl.h>
#include <linux/quota.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "host/files/open_file.h"

namespace host {
namespace {

constexpr uint64_t kQuotaBlock = 1024;  // bytes; the kernel's unit for limits, on any file system

}  // namespace

std::optional<VOLUME_INFO> measureSpace(const std::string& folder) {
  struct statvfs space {};
  if (statvfs(folder.c_str(), &space) != 0) return {};
  // f_bavail leaves out what is kept for root.
  return VOLUME_INFO{.freeBytes = uint64_t{space.f_bavail} * space.f_frsize,
                     .totalBytes = uint64_t{space.f_blocks} * space.f_frsize};
}

std::optional<Quota> quotaOfUser(const std::string& folder) {
  const Descriptor place(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!place) return {};
  // By number, for the C library has no such function; and by folder, for a device's name would
  // tell nothing about which of its mounts is meant.
  constexpr int kAskUser = QCMD(Q_GETQUOTA, USRQUOTA);
  if_dqblk kept{};
  if (syscall(SYS_quotactl_fd, place.number(), kAskUser, geteuid(), &kept) != 0) return {};
  return Quota{.hardLimit = kept.dqb_bhardlimit * kQuotaBlock,
               .softLimit = kept.dqb_bsoftlimit * kQuotaBlock,
               .used = kept.dqb_curspace};
}

VOLUME_INFO withinQuota(const VOLUME_INFO& space, const Quota& quota) {
  const uint64_t limit = quota.hardLimit != 0 ? quota.hardLimit : quota.softLimit;
  if (limit == 0) return space;
  const uint64_t left = limit > quota.used ? limit - quota.used : 0;
  return {.freeBytes = std::min(space.freeBytes, left),
          .totalBytes = std::min(space.totalBytes, limit)};
}

}  // namespace host
