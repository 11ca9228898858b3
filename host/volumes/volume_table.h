// The volumes by their ids.
#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "host/volumes/mount_table.h"

namespace host {

// Which folder a path leads to, by whichever way, as long as these mounts are all there are.
struct FolderIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  std::shared_ptr<const MountTable> mounts{};

  bool operator==(const FolderIdentity&) const = default;
};

struct Volume {
  std::string folder;                        // native, without a separator at its end
  bool mounted = false;                      // by FsysAddMaterialVolume
  bool ownMedia = false;                     // may be missing until something is written there
  bool quota = false;                        // the user's quota bounds what is free
  std::optional<FolderIdentity> identity{};  // as last seen
};

// In the order of the walk: letters, then locations.
using VolumeMap = std::map<wchar_t, Volume>;

// From any thread.  Only discoverAgain and the first instance() ask mounts.
class VolumeTable {
 public:
  static VolumeTable& instance();

  VolumeMap all();
  std::optional<Volume> find(wchar_t id);
  std::optional<wchar_t> after(wchar_t id);

  // Under the lowest free number; nothing when the folder is a volume by that path, or there is no
  // number left.
  std::optional<wchar_t> mount(const std::string& folder, const FolderIdentity& identity);
  void forget(wchar_t id);
  void remember(wchar_t id, const FolderIdentity& identity);

  // Reads the settings and looks for volumes; the mounted are forgotten.
  void discoverAgain();

  // The volume that holds a native path most closely, and the path inside it.
  std::optional<std::pair<wchar_t, std::string>> locate(const std::string& path);

  static void keepLetters(bool keep);

 private:
  VolumeTable();

  std::mutex mutex_;
  VolumeMap table_;
};

}  // namespace host
