#include "host/volumes/mount_table.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "host/files/open_file.h"

namespace host {
namespace {

constexpr const char* kTable = "/proc/self/mountinfo";

std::string text(const char* found) { return found ? found : ""; }

Mount mountFrom(libmnt_fs* entry) {
  return {.id = {mnt_fs_get_id(entry), mnt_fs_get_devno(entry)},
          .parent = mnt_fs_get_parent_id(entry),
          .point = text(mnt_fs_get_target(entry)),
          .root = text(mnt_fs_get_root(entry)),
          .type = text(mnt_fs_get_fstype(entry)),
          .source = text(mnt_fs_get_source(entry)),
          .options = text(mnt_fs_get_options(entry))};
}

// Walks paths as the kernel does: from mount to the one that is mounted on it.
class Tree {
 public:
  explicit Tree(const std::vector<Mount>& all) {
    for (const Mount& mount : all) present_.insert_or_assign(mount.id.number, &mount);
    for (const Mount& mount : all) mountedOn_[{parentOf(mount), mount.point}] = &mount;
  }

  // Null when the path leads to no mount of the table.
  const Mount* at(const std::string& path) const {
    const Mount* reached = topmost(nullptr, "/");
    for (size_t slash = 1; path.size() > 1 && slash != std::string::npos;) {
      slash = path.find('/', slash + 1);
      reached = topmost(reached, path.substr(0, slash));
    }
    return reached;
  }

 private:
  static constexpr int kNobody = -1;

  // The first root of a machine is its own parent; that of a changed root is not in the table.
  int parentOf(const Mount& mount) const {
    const bool first = mount.parent == mount.id.number || !present_.contains(mount.parent);
    return first ? kNobody : mount.parent;
  }

  const Mount* topmost(const Mount* below, const std::string& path) const {
    while (true) {
      const auto above = mountedOn_.find({below ? below->id.number : kNobody, path});
      if (above == mountedOn_.end()) return below;
      below = above->second;
    }
  }

  std::map<int, const Mount*> present_;
  std::map<std::pair<int, std::string>, const Mount*> mountedOn_;
};

// Never destroyed: asked to the last.
class Current {
 public:
  static Current& ofProcess() {
    static Current& current = *new Current;
    return current;
  }

  std::shared_ptr<const MountTable> table() {
    const std::lock_guard guard(mutex_);
    if (changed()) table_ = std::make_shared<const MountTable>(kTable);
    return table_;
  }

 private:
  // A child must find the mutex free, and hears of changes through a descriptor of its own.
  Current() {
    pthread_atfork([] { ofProcess().mutex_.lock(); }, [] { ofProcess().mutex_.unlock(); },
                   [] {
                     ofProcess().watch_.close();
                     ofProcess().mutex_.unlock();
                   });
  }

  bool changed() {
    if (!watch_) {
      watch_ = Descriptor(::open(kTable, O_RDONLY | O_CLOEXEC));
      return true;
    }
    pollfd watched{watch_.number(), POLLPRI, 0};
    return poll(&watched, 1, 0) != 0;
  }

  std::mutex mutex_;
  Descriptor watch_;
  std::shared_ptr<const MountTable> table_;
};

}  // namespace

MountTable::MountTable(const std::string& file) {
  unknown_.point = "/";
  const std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)> table(
      mnt_new_table_from_file(file.c_str()), &mnt_unref_table);
  const std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> position(
      mnt_new_iter(MNT_ITER_FORWARD), &mnt_free_iter);
  if (!table || !position) return;
  std::vector<Mount> all;
  libmnt_fs* entry = nullptr;
  while (mnt_table_next_fs(table.get(), position.get(), &entry) == 0) {
    all.push_back(mountFrom(entry));
  }
  keepVisible(std::move(all));
}

void MountTable::keepVisible(std::vector<Mount> all) {
  const Tree tree(all);
  for (const Mount& mount : all) {
    if (tree.at(mount.point) == &mount) mounts_.push_back(mount);
  }
  for (size_t i = 0; i < mounts_.size(); ++i) byPoint_[mounts_[i].point] = i;
}

const Mount& MountTable::holding(const std::string& path) const {
  for (std::string part = path; !part.empty(); part.resize(part.rfind('/'))) {
    const auto found = byPoint_.find(part);
    if (found != byPoint_.end()) return mounts_[found->second];
  }
  const auto root = byPoint_.find("/");
  return root == byPoint_.end() ? unknown_ : mounts_[root->second];
}

std::shared_ptr<const MountTable> currentMounts() { return Current::ofProcess().table(); }

bool hasOption(std::string_view options, std::string_view option) {
  while (!options.empty()) {
    const size_t comma = std::min(options.find(','), options.size());
    if (options.substr(0, comma) == option) return true;
    options.remove_prefix(std::min(comma + 1, options.size()));
  }
  return false;
}

bool hasMountOption(const Mount& mount, std::string_view option) {
  return hasOption(mount.options, option);
}

}  // namespace host
