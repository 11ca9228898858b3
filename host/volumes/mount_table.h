// What is mounted where.
#pragma once

#include <sys/types.h>

#include <compare>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "miscdisc/platform/values/export.h"

namespace host {

// Numbers of mounts are given again, but not with the same device while anybody waits for it.
struct MountId {
  int number = 0;
  dev_t device = 0;

  auto operator<=>(const MountId&) const = default;
};

struct Mount {
  MountId id;
  int parent = 0;
  std::string point;    // where it is mounted, without a separator at its end ("/" for the root)
  std::string root;     // the folder of its file system that is seen there
  std::string type;     // "ext4"
  std::string source;   // "/dev/sdb1", "nas:/export"
  std::string options;  // of the mount and of its file system, separated by commas
};

// The mounts that a path can lead to, in the order in which they were mounted.  What is hidden
// under another mount is left out.
class MISCDISC_EXPORT MountTable {
 public:
  // Of a file in the form of /proc/self/mountinfo; one that cannot be read is empty.
  explicit MountTable(const std::string& file);

  const std::vector<Mount>& mounts() const { return mounts_; }

  // The mount that holds the path: full, and without links.
  const Mount& holding(const std::string& path) const;
  bool isMountPoint(const std::string& path) const { return byPoint_.contains(path); }

 private:
  void keepVisible(std::vector<Mount> all);

  std::vector<Mount> mounts_;
  std::map<std::string, size_t> byPoint_;
  Mount unknown_;  // holds what no mount in the table does, as in a changed root
};

// The table of this machine as it is now, read again when anything was mounted or unmounted.
// From any thread.
MISCDISC_EXPORT std::shared_ptr<const MountTable> currentMounts();

// Options are separated by commas.
bool hasOption(std::string_view options, std::string_view option);
MISCDISC_EXPORT bool hasMountOption(const Mount& mount, std::string_view option);

}  // namespace host
