#include "host/files/mount_facts.h"

#include <linux/magic.h>
#include <pthread.h>
#include <sys/vfs.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "host/settings.h"
#include "host/volumes/mount_table.h"

namespace host {
namespace {

// Not every one of these has a name in the kernel's headers.
constexpr unsigned kLustre = 0x0BD00BD0;
constexpr unsigned kGpfs = 0x47504653;
constexpr unsigned kGfs2 = 0x01161970;
constexpr unsigned kOcfs2 = 0x7461636F;
constexpr unsigned kExfat = 0x2011BAB0;

bool isRemote(unsigned magic) {
  switch (magic) {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case CIFS_SUPER_MAGIC:
    case SMB2_SUPER_MAGIC:
    case FUSE_SUPER_MAGIC:
    case CEPH_SUPER_MAGIC:
    case AFS_SUPER_MAGIC:
    case AFS_FS_MAGIC:
    case CODA_SUPER_MAGIC:
    case V9FS_MAGIC:
    case kLustre:
    case kGpfs:
    case kGfs2:
    case kOcfs2:
      return true;
    default:
      return false;
  }
}

// SMB shows every file as 0755 unless told otherwise; the FAT family has no modes at all.
bool hasOwnModes(unsigned magic) {
  switch (magic) {
    case SMB_SUPER_MAGIC:
    case CIFS_SUPER_MAGIC:
    case SMB2_SUPER_MAGIC:
    case MSDOS_SUPER_MAGIC:
    case kExfat:
      return false;
    default:
      return true;
  }
}

// The last one of its device; one that says nothing when there is none.
Mount mountOf(dev_t device, const MountTable& mounts) {
  const auto& all = mounts.mounts();
  const auto found = std::find_if(all.rbegin(), all.rend(), [&](const Mount& mount) {
    return mount.id.device == device;
  });
  return found == all.rend() ? Mount() : *found;
}

// Nothing when the folder does not answer.
std::optional<MountFacts> readFacts(const std::string& folder, dev_t device,
                                    const MountTable& mounts) {
  MountFacts facts;
  struct statfs status;
  if (statfs(folder.c_str(), &status) != 0) return std::nullopt;
  const auto magic = static_cast<unsigned>(status.f_type);
  facts.ownModes = hasOwnModes(magic);
  if (!isRemote(magic)) return facts;

  const Mount mount = mountOf(device, mounts);
  if (mount.type == "fuseblk") return facts;  // a disk of this machine
  facts.remote = true;
  facts.locksStayLocal = keepsLocksLocal(mount.type, mount.options);
  facts.name = mount.type + " (" + mount.options + ")";
  return facts;
}

class Cache {
 public:
  static Cache& ofProcess() {
    static Cache& cache = *new Cache;  // also asked by destructors of static objects
    return cache;
  }

  MountFacts ask(const std::string& folder, dev_t device) {
    const std::lock_guard guard(mutex_);
    const auto mounts = currentMounts();
    if (mounts != mounts_) known_.clear();  // the number of a network mount is used again
    mounts_ = mounts;
    const auto known = known_.find(device);
    if (known != known_.end()) return known->second;
    const std::optional<MountFacts> facts = readFacts(folder, device, *mounts);
    // A stale mount, or a folder that was just deleted: nothing that could be known for long, and
    // no reason to take it for storage where a lock excludes everybody.
    if (!facts) return {.remote = true, .locksStayLocal = true, .name = "gives no answer"};
    return known_[device] = *facts;
  }

 private:
  // A child must find the mutex free.  The table's own handlers come first, so that fork takes the
  // two mutexes in the order in which a question does.
  Cache() : mounts_(currentMounts()) {
    pthread_atfork([] { ofProcess().mutex_.lock(); }, [] { ofProcess().mutex_.unlock(); },
                   [] { ofProcess().mutex_.unlock(); });
  }

  std::mutex mutex_;
  std::shared_ptr<const MountTable> mounts_;  // of what is known
  std::map<dev_t, MountFacts> known_;
};

// Without links, and without a separator at its end; the path itself when it names nothing.
std::string realPath(const std::string& path) {
  std::error_code missing;
  const std::string real = std::filesystem::canonical(path, missing);
  return missing ? path : real;
}

bool declaredRemote(const std::string& folder) {
  const auto current = settings();
  if (current->remoteFolders.empty()) return false;
  const std::string inside = realPath(folder) + "/";
  return std::any_of(
      current->remoteFolders.begin(), current->remoteFolders.end(),
      [&](const std::string& declared) { return inside.starts_with(realPath(declared) + "/"); });
}

}  // namespace

bool keepsLocksLocal(std::string_view type, std::string_view options) {
  // NFS: local_lock=flock concerns another kind of lock than ours.
  if (type == "nfs" || type == "nfs4") {
    return hasOption(options, "nolock") || hasOption(options, "local_lock=all") ||
           hasOption(options, "local_lock=posix");
  }
  if (type == "cifs" || type == "smb3") return hasOption(options, "nobrl");
  if (type == "lustre") return hasOption(options, "localflock");
  if (type == "gfs2") return hasOption(options, "localflocks");
  if (type == "coda") return true;
  // The kernel does not say whether a FUSE server passes locks on; these are known to.
  if (type == "fuse.glusterfs" || type == "fuse.ceph" || type == "fuse.ceph-fuse") return false;
  return type.starts_with("fuse") && type != "fuseblk";
}

MountFacts mountFacts(const std::string& folder, dev_t device) {
  MountFacts facts = Cache::ofProcess().ask(folder, device);
  if (!facts.remote && declaredRemote(folder)) facts.remote = true;
  return facts;
}

}  // namespace host
