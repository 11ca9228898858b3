#include "host/volumes/network_form.h"

#include <unistd.h>

#include <algorithm>

#include "miscdisc/platform/string_compare.h"

namespace host {
namespace {

std::string hostName() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

bool isSameServer(const std::string& a, const std::string& b) {
  return Qx::compareCaseInsensitive(Qx::WStringFromUTF8(a), Qx::WStringFromUTF8(b));
}

// What follows the share in a network path, as restInside; server names know no letter case.
std::optional<std::string> restInShare(const std::string& path, const std::string& share) {
  const size_t pathServer = path.find('/', 2), shareServer = share.find('/', 2);
  if (pathServer == std::string::npos || shareServer == std::string::npos) return {};
  if (!isSameServer(path.substr(2, pathServer - 2), share.substr(2, shareServer - 2))) return {};
  return restInside(path.substr(pathServer), share.substr(shareServer));
}

// "server:/export", "[::1]:/export".
std::optional<std::string> shareOfNfs(const std::string& source) {
  const size_t colon = source.find(":/", source.starts_with('[') ? source.find(']') : 0);
  if (colon == std::string::npos || colon == 0) return {};
  std::string server = source.substr(0, colon);
  if (server.starts_with('[') && server.ends_with(']')) server = server.substr(1, colon - 2);
  return "//" + server + withoutSeparator(source.substr(colon + 1));
}

// "//server/share", with a folder behind it where only that is mounted.
std::optional<std::string> shareOfSmb(const Mount& mount) {
  std::string source = mount.source;
  std::replace(source.begin(), source.end(), '\\', '/');
  const size_t share = source.find('/', 2);
  if (!source.starts_with("//") || share == std::string::npos || share == 2) return {};
  source = withoutSeparator(source);
  // Whether the source names the folder that is seen depends on how the share was mounted.
  const bool named = mount.root == "/" || source.ends_with(mount.root);
  return named ? source : source + mount.root;
}

}  // namespace

std::optional<std::string> restInside(const std::string& path, const std::string& folder) {
  if (folder == "/") return path.empty() || path[0] != '/' ? std::nullopt : std::optional(path);
  if (path.compare(0, folder.size(), folder) != 0) return {};
  if (path.size() > folder.size() && path[folder.size()] != '/') return {};
  return path.substr(folder.size());
}

std::string withoutSeparator(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string joined(const std::string& folder, const std::string& rest) {
  if (rest.empty()) return folder;
  return (folder.ends_with('/') ? folder.substr(0, folder.size() - 1) : folder) + rest;
}

std::optional<std::string> shareMounted(const Mount& mount) {
  const std::string& type = mount.type;
  if (type == "nfs" || type == "nfs4") return shareOfNfs(mount.source);
  if (type == "cifs" || type == "smb3") return shareOfSmb(mount);
  return {};
}

std::string networkForm(const std::string& native, const Shares& configured,
                        const MountTable& mounts) {
  std::string network = "//" + hostName() + native;
  size_t longest = 0;
  const auto consider = [&](const std::string& share, const std::string& folder) {
    const auto rest = restInside(native, folder);
    if (!rest || folder.size() <= longest) return;
    longest = folder.size();
    network = joined(share, *rest == "/" ? "" : *rest);
  };
  for (const auto& share : configured) consider(share.network, share.folder);
  // No other: what is mounted inside a share is not on its server.
  const Mount& mount = mounts.holding(native);
  if (const auto share = shareMounted(mount)) consider(*share, mount.point);
  return network;
}

std::optional<std::string> nativeForm(const std::string& network, const Shares& configured,
                                      const MountTable& mounts) {
  std::optional<std::string> native;
  size_t longest = 0;
  const auto consider = [&](const std::string& share, const std::string& folder) {
    const auto rest = restInShare(network, share);
    if (!rest || share.size() <= longest) return;
    longest = share.size();
    native = joined(folder, *rest);
  };
  for (const auto& share : configured) consider(share.network, share.folder);
  for (const Mount& mount : mounts.mounts()) {
    if (const auto share = shareMounted(mount)) consider(*share, mount.point);
  }
  return native ? native : restInShare(network, "//" + hostName() + "/");
}

}  // namespace host
