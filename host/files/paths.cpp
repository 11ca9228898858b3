#include "miscdisc/platform/paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "host/files/mount_facts.h"
#include "host/files/native_path.h"
#include "host/files/open_file.h"
#include "miscdisc/platform/project_folders.h"

namespace host {
namespace {

constexpr int kFolderItself = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool deleteEntry(int folder, const std::string& name);

// Somebody else may delete the same folder at the same time.
bool isGone(int error) { return error == ENOENT || error == ESTALE; }

// Names are read before anything is deleted: a folder that changes while it is read may show an
// entry twice or never.  The list of a lobby goes last, when all else is gone: what is left of a
// lobby stays one, and can be deleted again.  So nothing goes when not all names could be read.
bool deleteContents(Descriptor folder) {
  const int own = fcntl(folder.number(), F_DUPFD_CLOEXEC, 0);
  const Listing listing(fdopendir(own));
  if (!listing) {
    if (own >= 0) ::close(own);
    return false;
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = readdir(listing.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
    errno = 0;
  }
  if (errno != 0 && !isGone(errno)) return false;
  const std::string list = nativePath(getMediaLocationsFilename());
  const bool hasList = std::erase(names, list) > 0;
  bool all = true;
  for (const std::string& name : names) all = deleteEntry(folder.number(), name) && all;
  return all && (!hasList || deleteEntry(folder.number(), list));
}

bool deleteEntry(int folder, const std::string& name) {
  if (unlinkat(folder, name.c_str(), 0) == 0 || isGone(errno)) return true;
  if (errno != EISDIR && errno != EPERM) return false;
  Descriptor inner(openat(folder, name.c_str(), kFolderItself));
  if (!inner) return isGone(errno);
  return deleteContents(std::move(inner)) &&
         (unlinkat(folder, name.c_str(), AT_REMOVEDIR) == 0 || isGone(errno));
}

}  // namespace
}  // namespace host

WString getPath(const WString& path) { return path.substr(0, path.rfind(L'/') + 1); }

WString stripPath(const WString& path) { return path.substr(path.rfind(L'/') + 1); }

WString joinPaths(const WString& folder, const WString& name) {
  if (folder.empty()) return name;
  if (name.empty()) return folder;
  const size_t folderEnd = folder.find_last_not_of(L'/') + 1;
  const size_t nameStart = std::min(name.find_first_not_of(L'/'), name.size());
  return folder.substr(0, folderEnd) + L'/' + name.substr(nameStart);
}

bool fileExists(const WString& wide) {
  std::string path = host::nativePath(wide);
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  if (path.empty()) return false;
  const std::optional<host::Folder> folder = host::folderOf(path);
  if (!folder) return false;
  if (host::mountFacts(folder->path, folder->id.device).remote) {
    // A network client answers from its cache for up to half a minute, until the folder is opened.
    const host::Descriptor refreshed(
        ::open(folder->path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

bool deleteDirectory(const WString& wide) {
  std::string path = host::nativePath(wide);
  while (!path.empty() && path.back() == '/') path.pop_back();  // "link/" would follow the link
  struct stat status;
  if (path.empty() || lstat(path.c_str(), &status) != 0) return false;
  if (S_ISLNK(status.st_mode)) return unlink(path.c_str()) == 0 || host::isGone(errno);
  host::Descriptor folder(::open(path.c_str(), host::kFolderItself));
  if (!folder) return host::isGone(errno);
  return host::deleteContents(std::move(folder)) &&
         (rmdir(path.c_str()) == 0 || host::isGone(errno));
}
