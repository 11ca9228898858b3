// What other machines call a path.
//
// Here a network form has forward slashes: "//server/share/rest".  A path's form is that of the
// share that holds it most closely: one of the settings, or what the mount table says that is
// mounted from a server.  The settings win where both are as close.  Links are not followed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/settings.h"
#include "host/volumes/mount_table.h"
#include "miscdisc/platform/values/export.h"

namespace host {

using Shares = std::vector<Settings::Share>;

// A path on no share is this host's own: "//host/path".
MISCDISC_EXPORT std::string networkForm(const std::string& native, const Shares& configured,
                                        const MountTable& mounts);

// Nothing when it is on no known share.
MISCDISC_EXPORT std::optional<std::string> nativeForm(const std::string& network,
                                                      const Shares& configured,
                                                      const MountTable& mounts);

// "//server/share" of what is mounted from a server by NFS or SMB; nothing for other mounts.
std::optional<std::string> shareMounted(const Mount& mount);

// What follows the folder in the path, "" or "/..."; nothing when the path is not inside it.
std::optional<std::string> restInside(const std::string& path, const std::string& folder);

// A folder and what follows it.
std::string joined(const std::string& folder, const std::string& rest);

std::string withoutSeparator(std::string path);  // at its end; the root keeps its own

}  // namespace host
