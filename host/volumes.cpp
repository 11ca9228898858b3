// The volumes of this machine, and file names by volume.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "host/places.h"
#include "host/settings.h"
#include "host/volume_ids.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/string_compare.h"

namespace {

using namespace std::string_literals;

constexpr wchar_t kOwnMediaLetter = L'E';
constexpr wchar_t kLastLocationId = 0xF8FF;
constexpr const char* kMediaFolders[] = {"/Material", "/Sound"};

struct Volume {
  std::string folder;     // native, without a separator at its end
  bool mounted = false;   // by FsysAddMaterialVolume
  bool ownMedia = false;  // may be missing until something is written there
};

bool isFolder(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

bool isMissing(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) != 0 && errno == ENOENT;
}

bool isSameFolder(const std::string& a, const std::string& b) {
  struct stat first {
  }, second{};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::string withoutSeparator(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// What follows the folder in the path, "" or "/..."; nothing when the path is not inside it.
std::optional<std::string> restInside(const std::string& path, const std::string& folder) {
  if (folder == "/") return path.empty() || path[0] != '/' ? std::nullopt : std::optional(path);
  if (path.compare(0, folder.size(), folder) != 0) return {};
  if (path.size() > folder.size() && path[folder.size()] != '/') return {};
  return path.substr(folder.size());
}

std::string joined(const std::string& folder, const std::string& rest) {
  if (folder == "/") return rest.empty() ? folder : rest;
  return folder + rest;
}

class Volumes {
 public:
  static Volumes& instance() {
    static Volumes& volumes = *new Volumes;  // asked to the last, so never destroyed
    return volumes;
  }

  // A copy: the table may change while the caller looks at the disk.
  std::optional<Volume> find(wchar_t id) {
    const std::lock_guard lock(mutex_);
    const auto found = table_.find(id);
    return found == table_.end() ? std::nullopt : std::optional(found->second);
  }

  std::optional<wchar_t> after(wchar_t id) {
    const std::lock_guard lock(mutex_);
    const auto next = table_.upper_bound(id);
    return next == table_.end() ? std::nullopt : std::optional(next->first);
  }

  std::optional<wchar_t> mount(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    for (const auto& [id, volume] : table_) {
      if (volume.folder == folder || isSameFolder(volume.folder, folder)) return {};
    }
    wchar_t id = host::kLocationIds + 1;
    while (table_.count(id) != 0) ++id;
    if (id > kLastLocationId) return {};
    table_[id] = {folder, true, false};
    return id;
  }

  void forget(wchar_t id) {
    const std::lock_guard lock(mutex_);
    table_.erase(id);
  }

  void discoverAgain() {
    host::reloadSettings();
    const std::lock_guard lock(mutex_);
    discover();
  }

  // The volume that holds a native path most closely, and the path inside it.
  std::optional<std::pair<wchar_t, std::string>> locate(const std::string& path) {
    const std::lock_guard lock(mutex_);
    std::optional<std::pair<wchar_t, std::string>> closest;
    size_t longest = 0;
    for (const auto& [id, volume] : table_) {
      const auto rest = restInside(path, volume.folder);
      if (!rest || volume.folder.size() <= longest) continue;
      longest = volume.folder.size();
      closest.emplace(id, *rest);
    }
    return closest;
  }

 private:
  Volumes() { discover(); }

  void discover() {
    table_.clear();
    for (const auto& [letter, folder] : host::settings()->volumes) {
      table_[static_cast<wchar_t>(letter)] = {folder, false, false};
    }
    if (table_.empty()) table_[kOwnMediaLetter] = {host::places().data + "/media", false, true};
  }

  std::mutex mutex_;
  std::map<wchar_t, Volume> table_;  // in the order of the walk: letters, then locations
};

// An absent volume of the user's own is merely empty: its folder is made at the first write.
bool isPresent(const Volume& volume) {
  return isFolder(volume.folder) || (volume.ownMedia && isMissing(volume.folder));
}

std::string nearestFolder(std::string path) {
  while (path.size() > 1 && !isFolder(path)) {
    const size_t slash = path.rfind('/');
    path.resize(slash == 0 || slash == std::string::npos ? 1 : slash);
  }
  return path;
}

bool makeFolder(const std::string& path) {
  return isFolder(path) || mkdir(path.c_str(), 0777) == 0 || isFolder(path);
}

// Network forms.

std::string hostName() {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

std::string withBackslashes(std::string text) {
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
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

std::string networkForm(const std::string& native) {
  const auto settings = host::settings();
  std::string network = "//" + hostName() + native;
  size_t longest = 0;
  for (const auto& share : settings->shares) {
    const auto rest = restInside(native, share.folder);
    if (!rest || share.folder.size() <= longest) continue;
    longest = share.folder.size();
    network = share.network + (*rest == "/" ? "" : *rest);
  }
  return withBackslashes(network);
}

// The native path of a network form with forward slashes; nothing when it is on no known share.
std::optional<std::string> nativeForm(const std::string& network) {
  const auto settings = host::settings();
  std::optional<std::string> native;
  size_t longest = 0;
  for (const auto& share : settings->shares) {
    const auto rest = restInShare(network, share.network);
    if (!rest || share.network.size() <= longest) continue;
    longest = share.network.size();
    native = joined(share.folder, *rest);
  }
  return native ? native : restInShare(network, "//" + hostName() + "/");
}

}  // namespace

bool FsysGetFirstMaterialVolume(wchar_t* id) {
  const auto first = Volumes::instance().after(0);
  if (first) *id = *first;
  return first.has_value();
}

bool FsysGetNextMaterialVolume(wchar_t* id) {
  const auto next = Volumes::instance().after(*id);
  if (next) *id = *next;
  return next.has_value();
}

bool FsysIsVolumePresent(wchar_t id) {
  const auto volume = Volumes::instance().find(id);
  return volume && isPresent(*volume);
}

bool FsysGetVolInfo(wchar_t id, VOLUME_INFO* info) {
  const auto volume = Volumes::instance().find(id);
  if (!volume || !isPresent(*volume)) return false;
  const std::string measured = volume->ownMedia ? nearestFolder(volume->folder) : volume->folder;
  struct statvfs space {};
  if (statvfs(measured.c_str(), &space) != 0) return false;
  info->freeBytes = uint64_t{space.f_bavail} * space.f_frsize;
  info->totalBytes = uint64_t{space.f_blocks} * space.f_frsize;
  return true;
}

const WString& FsysGetMaterialVolumeName(wchar_t id, WString& path, bool) {
  const auto volume = Volumes::instance().find(id);
  path = volume ? Qx::WStringFromUTF8(volume->folder) : L"";
  return path;
}

WString FsysFilenameToWin32Filename(const WString& path) {
  if (path.size() < 3 || path[1] != L':' || path[2] != L'/') return path;
  const auto volume = Volumes::instance().find(path[0]);
  if (!volume) return path;
  return Qx::WStringFromUTF8(joined(volume->folder, Qx::UTF8FromWString(path.substr(2))));
}

WString FsysConvertLocalToUNC(const WString& path) {
  const String native = Qx::UTF8FromWString(FsysFilenameToWin32Filename(path));
  if (native.empty() || native[0] != '/') return path;
  return Qx::WStringFromUTF8(networkForm(native));
}

WString FsysConvertUNCtoFsysFilename(const WString& path) {
  if (path.compare(0, 2, L"\\\\") != 0) return path;
  String network = Qx::UTF8FromWString(path);
  std::replace(network.begin(), network.end(), '\\', '/');
  const auto native = nativeForm(network);
  if (!native) return path;
  const auto place = Volumes::instance().locate(*native);
  if (!place) return Qx::WStringFromUTF8(*native);
  const auto& [id, rest] = *place;
  return WString{id, L':'} + Qx::WStringFromUTF8(rest.empty() ? "/"s : rest);
}

bool FsysIsVolumePreparedForMedia(wchar_t id) {
  const auto volume = Volumes::instance().find(id);
  return volume && std::all_of(std::begin(kMediaFolders), std::end(kMediaFolders),
                               [&](const char* name) { return isFolder(volume->folder + name); });
}

bool FsysPrepareVolumeForMedia(wchar_t id) {
  const auto volume = Volumes::instance().find(id);
  if (!volume) return false;
  std::error_code ignored;
  if (volume->ownMedia) std::filesystem::create_directories(volume->folder, ignored);
  bool made = true;
  for (const char* name : kMediaFolders) made = makeFolder(volume->folder + name) && made;
  return made;
}

int FsysAddMaterialVolume(const WString& folder, wchar_t* id) {
  constexpr int kMounted = 1, kRefused = 0;
  const std::string path = withoutSeparator(Qx::UTF8FromWString(folder));
  if (path.empty() || path[0] != '/' || path.find('\0') != std::string::npos) return kRefused;
  if (!isFolder(path)) return kRefused;
  const auto mounted = Volumes::instance().mount(path);
  if (!mounted) return kRefused;
  *id = *mounted;
  return kMounted;
}

void FsysDeleteMaterialVolume(wchar_t id) { Volumes::instance().forget(id); }

bool FsysIsVolumeAutoDiscovered(wchar_t id) {
  const auto volume = Volumes::instance().find(id);
  return !volume || !volume->mounted;
}

// Local and network working see the same volumes.
void FsysReInitialize(bool) { Volumes::instance().discoverAgain(); }

void FsysSetFileOwner(const WString& path) {
  const String native = Qx::UTF8FromWString(FsysFilenameToWin32Filename(path));
  [[maybe_unused]] const int ignored = lchown(native.c_str(), geteuid(), static_cast<gid_t>(-1));
}
