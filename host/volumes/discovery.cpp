#include "host/volumes/discovery.h"

#include <libmount/libmount.h>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace host {
namespace {

constexpr std::array kMediaPlaces = {"/media", "/run/media", "/mnt", "/srv/media", "/Volumes"};

// These and everything in them.
constexpr std::array kSystemPlaces = {"/boot",
                                      "/usr",
                                      "/etc",
                                      "/proc",
                                      "/sys",
                                      "/dev",
                                      "/snap",
                                      "/var/lib/docker",
                                      "/var/lib/containers"};
// Only these themselves.
constexpr std::array kSystemRoots = {"/", "/var"};

bool isInside(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

template <typename Places>
bool isInsideAny(const std::string& path, const Places& places) {
  return std::any_of(places.begin(), places.end(),
                     [&](const char* place) { return isInside(path, place); });
}

bool isSystemPlace(const std::string& point) {
  return isInsideAny(point, kSystemPlaces) ||
         std::find(kSystemRoots.begin(), kSystemRoots.end(), point) != kSystemRoots.end();
}

// libmount counts what a virtual machine's host shares, and FUSE servers that do not say what they
// are, among the pseudo file systems.
bool isPseudo(const std::string& type) {
  if (type == "tmpfs" || type == "virtiofs" || type == "vboxsf" || type == "fuse") return false;
  return type == "fuse.portal" || mnt_fstype_is_pseudofs(type.c_str()) == 1;
}

bool isNetwork(const std::string& type) { return mnt_fstype_is_netfs(type.c_str()) == 1; }

// A folder of a file system that is mounted elsewhere as a whole.  A subvolume of btrfs is one by
// itself; and an SMB share that is mounted from one of its folders names that folder.
bool isBindMount(const Mount& mount) {
  if (mount.root == "/") return false;
  if (mount.type == "btrfs") return !hasMountOption(mount, "subvol=" + mount.root);
  return !isNetwork(mount.type) || !mount.source.ends_with(mount.root);
}

// The same for all mounts of a file system.
std::string fileSystemOf(const Mount& mount) {
  if (isNetwork(mount.type)) return mount.source;
  return std::to_string(mount.id.device);
}

bool mustHoldMaterial(const Mount& mount) {
  return !isInsideAny(mount.point, kMediaPlaces) || mount.type == "tmpfs" ||
         hasMountOption(mount, "ro");
}

bool mayHoldMedia(const Mount& mount) {
  return !isPseudo(mount.type) && !isSystemPlace(mount.point) && !isBindMount(mount);
}

}  // namespace

std::vector<std::string> mediaMounts(const MountTable& mounts,
                                     const std::vector<std::string>& takenFolders,
                                     const MaterialQuestion& holdMaterial) {
  std::vector<const Mount*> candidates;
  std::vector<std::string> toAsk;
  for (const Mount& mount : mounts.mounts()) {
    if (!mayHoldMedia(mount)) continue;
    candidates.push_back(&mount);
    if (mustHoldMaterial(mount)) toAsk.push_back(mount.point);
  }
  const std::vector<bool> answers = holdMaterial(toAsk);
  std::set<std::string> without;
  for (size_t i = 0; i < toAsk.size(); ++i) {
    if (!answers[i]) without.insert(toAsk[i]);
  }

  std::set<std::string> seen;
  for (const auto& folder : takenFolders) seen.insert(fileSystemOf(mounts.holding(folder)));
  std::vector<std::string> points;
  for (const Mount* mount : candidates) {
    if (without.contains(mount->point)) continue;
    if (seen.insert(fileSystemOf(*mount)).second) points.push_back(mount->point);
  }
  return points;
}

}  // namespace host
