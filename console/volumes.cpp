#include "console/volumes.h"

#include <algorithm>

#include "console/progress.h"
#include "host/listing/read_failures.h"
#include "host/settings.h"
#include "host/volume_ids.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

using host::kLocationIds;

std::string folderName(const directory_cache& directory) {
  return directory.path.find(L"Sound") == WString::npos ? "material" : "sound";
}

// As initialise_directory_caches() does, but reads nothing yet, and knows only these volumes.
void addToCache(const std::vector<wchar_t>& volumes) {
  const WString separator(1, OS()->fileManager().getPathSeparator());
  for (wchar_t volume : volumes) {
    const WString root = volume + (L":" + separator);
    const std::string shown = printable(FsysFilenameToWin32Filename(root));
    LogBoth("Added media location : %s\n", shown.c_str());
    for (const wchar_t* folder : {L"Material", L"Sound"}) {
      getSystemCache()->add(directory_spec(root + folder + separator));
    }
  }
}

std::vector<directory_cache*> directoriesOf(wchar_t volume) {
  std::vector<directory_cache*> directories;
  for (DLListIterator v(*getSystemCache()); *v; ++v) {
    auto* cached = static_cast<volume_cache*>(*v);
    if (cached->letter != volume) continue;
    for (DLListIterator d(cached->directories); *d; ++d) {
      directories.push_back(static_cast<directory_cache*>(*d));
    }
  }
  return directories;
}

}  // namespace

std::string volumeLabel(wchar_t id) {
  if (id > kLocationIds) return "#" + std::to_string(id - kLocationIds);
  return Qx::UTF8FromWString(WString(1, id));
}

std::vector<wchar_t> allVolumes() {
  std::vector<wchar_t> ids;
  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    ids.push_back(id);
  }
  return ids;
}

std::optional<wchar_t> volumeFromLabel(const std::string& label) {
  std::string wanted = label;
  if (wanted.size() == 1 && wanted[0] >= 'a' && wanted[0] <= 'z') {
    wanted[0] = static_cast<char>(wanted[0] - 'a' + 'A');
  }
  for (wchar_t id : allVolumes()) {
    if (volumeLabel(id) == wanted) return id;
  }
  return {};
}

std::string labelsOf(const std::vector<wchar_t>& volumes) {
  std::string text;
  for (wchar_t id : volumes) text += (text.empty() ? "" : ", ") + volumeLabel(id);
  return text;
}

void enterConfiguredSpace() {
  if (LobbyUtils::getCurrentNetworkLobbyName().empty()) return;
  LobbyUtils::networkMode_ = true;
  setProjectsBaseDirectory(LobbyUtils::getCurrentNetworkLobbyFullPath(false));
}

bool configurationIsBroken() {
  const std::string problem = host::settingsProblem();
  if (problem.empty()) return false;
  complain(problem + "\nNothing was done.  Mend the file, or move it away, and try again.");
  return true;
}

std::vector<CachedFolder> readVolumes(const Options& options, const std::vector<wchar_t>& volumes) {
  Progress progress(options);
  addToCache(volumes);
  std::vector<CachedFolder> folders;
  std::vector<std::string> problems;
  for (wchar_t volume : volumes) {
    const std::string label = volumeLabel(volume);
    const bool present = FsysIsVolumePresent(volume);
    if (!present) {
      WString path;
      problems.push_back("volume " + label + " is not present: " +
                         printable(FsysGetMaterialVolumeName(volume, path, false)) +
                         " is no folder.  Mount it, or change [volumes] in config.toml.");
    }
    // One by one rather than all at once: a slow or broken folder is to be named.
    for (directory_cache* directory : directoriesOf(volume)) {
      const WString path = FsysFilenameToWin32Filename(directory->path);
      bool readable = present;
      if (present) {
        progress.say("Reading " + label + ": " + folderName(*directory));
        const uint64_t failuresBefore = host::listingReadFailures();
        directory->validate();
        readable = host::listingReadFailures() == failuresBefore;
        if (!readable) {
          problems.push_back(
              printable(path) +
              " could not be read.  Check its rights with ls -ld; the log has the reason.");
        }
      }
      folders.push_back({volume, present, readable, directory, folderName(*directory), path});
    }
  }
  progress.finish();
  for (const std::string& problem : problems) complain(problem);
  return folders;
}

bool allRead(const std::vector<CachedFolder>& folders) {
  return std::all_of(folders.begin(), folders.end(), [](const auto& f) { return f.readable; });
}

}  // namespace console
