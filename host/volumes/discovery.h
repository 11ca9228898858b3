// Which mounted file systems are media volumes.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/volumes/mount_table.h"
#include "miscdisc/platform/values/export.h"

namespace host {

// Whether each of these mount points has a folder "Material" at its root; in the same order.
using MaterialQuestion = std::function<std::vector<bool>(const std::vector<std::string>& points)>;

// The mount points of media file systems, in the order in which they were mounted.
//
// What is mounted under /media, /run/media, /mnt, /srv/media or /Volumes is one; what is mounted
// elsewhere, kept in memory or read-only is one when it holds "Material".  The system's own places
// and pseudo file systems never are.  Each file system counts once, and not at all where the mount
// of one of the taken folders (full paths, without links) shows it already.  A bind mount is no
// file system of its own.
MISCDISC_EXPORT std::vector<std::string> mediaMounts(const MountTable& mounts,
                                                     const std::vector<std::string>& takenFolders,
                                                     const MaterialQuestion& holdMaterial);

}  // namespace host
