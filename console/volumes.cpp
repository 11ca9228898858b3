#include "console/volumes.h"

#include <algorithm>

#include "console/progress.h"
#include "host/listing/read_failures.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/paths.h"

namespace console {
namespace {

struct MediaFolder {
  const wchar_t* folder;
  const char* name;
};
constexpr MediaFolder kMediaFolders[] = {{L"Material", "material"}, {L"Sound", "sound"}};

WString layerPath(wchar_t volume, const wchar_t* folder) {
  const WString separator(1, OS()->fileManager().getPathSeparator());
  return volume + (L":" + separator) + folder + (*folder ? separator : WString());
}

// As initialise_directory_caches() does, but reads nothing yet, and knows only these drives.
void addToCache(const std::vector<Drive>& drives) {
  for (const Drive& drive : drives) {
    if (!drive.present()) continue;
    const std::string shown = printable(FsysFilenameToWin32Filename(layerPath(drive.id, L"")));
    LogBoth("Added media location : %s\n", shown.c_str());
    for (const MediaFolder& media : kMediaFolders) {
      getSystemCache()->add(directory_spec(layerPath(drive.id, media.folder)));
    }
  }
}

directory_cache* cachedDirectory(wchar_t volume, const wchar_t* folder) {
  const WString path = layerPath(volume, folder);
  for (DLListIterator v(*getSystemCache()); *v; ++v) {
    auto* cached = static_cast<volume_cache*>(*v);
    if (cached->letter != volume) continue;
    for (DLListIterator d(cached->directories); *d; ++d) {
      auto* directory = static_cast<directory_cache*>(*d);
      if (directory->path == path) return directory;
    }
  }
  return nullptr;
}

}  // namespace

std::string labelsOf(const std::vector<Drive>& drives) {
  std::string text;
  for (const Drive& drive : drives) text += (text.empty() ? "" : ", ") + drive.label;
  return text;
}

std::vector<CachedFolder> readVolumes(const Options& options, const std::vector<Drive>& drives) {
  Progress progress(options);
  addToCache(drives);
  std::vector<CachedFolder> folders;
  std::vector<std::string> problems;
  for (const Drive& drive : drives) {
    if (!drive.present()) problems.push_back(problemOf(drive, options));
    // One by one rather than all at once: a slow or broken folder is to be named.
    for (const MediaFolder& media : kMediaFolders) {
      CachedFolder folder{drive.label, drive.present(), false,
                          nullptr,     media.name,      joinPaths(drive.path, media.folder) + L"/"};
      if (drive.present()) {
        folder.directory = cachedDirectory(drive.id, media.folder);
        progress.say("Reading " + drive.label + ": " + media.name);
        const uint64_t failuresBefore = host::listingReadFailures();
        folder.directory->validate();
        folder.readable = host::listingReadFailures() == failuresBefore;
        if (!folder.readable) {
          problems.push_back(
              printable(folder.path) +
              " could not be read.  Check its rights with ls -ld; the log has the reason.");
        }
      }
      folders.push_back(std::move(folder));
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
