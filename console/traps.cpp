// How this machine is set up, and what makes that go wrong later.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include "console/changes.h"
#include "console/doctor.h"
#include "console/folders.h"
#include "console/not_answering.h"
#include "host/files/mount_facts.h"
#include "host/places.h"
#include "host/settings.h"
#include "miscdisc/frame/open_modes.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/values/cookie.h"

namespace console {
namespace {

std::string shownList() { return printable(getMediaLocationsFilename()); }

// Lists.

const Listed* listedFolder(const std::vector<Listed>& folders, const WString& folder) {
  const auto same = [&](const Listed& listed) { return isSameSpelling(listed.folder, folder); };
  const auto found = std::find_if(folders.begin(), folders.end(), same);
  return found == folders.end() ? nullptr : &*found;
}

// Blank lines count for nothing.
std::vector<WString> listedTwice(const std::vector<WString>& lines) {
  std::vector<WString> twice;
  const WString* previous = nullptr;
  for (const WString& line : lines) {
    if (isBlank(line)) continue;
    if (previous && isSameSpelling(plainFolder(*previous), plainFolder(line))) {
      twice.push_back(line);
    }
    previous = &line;
  }
  return twice;
}

// Lobbies that are none yet.

bool isEmptyFolder(const std::string& folder) {
  std::error_code error;
  return namesIn(folder, error).empty() && !error;
}

bool isMediaFolder(const std::string& name) { return name == "Material" || name == "Sound"; }

// Nothing, or "Media" with at most its two folders, and nothing in those.
bool isUnfinished(const std::string& folder) {
  std::error_code error;
  const auto names = namesIn(folder, error);
  if (error || names.empty()) return !error;
  if (names.size() > 1 || !names.contains("Media") || !names.at("Media")) return false;
  const auto media = namesIn(folder + "/Media", error);
  return !error && std::all_of(media.begin(), media.end(), [&](const auto& entry) {
    return isMediaFolder(entry.first) && entry.second &&
           isEmptyFolder(folder + "/Media/" + entry.first);
  });
}

bool isProjectWithLock(const std::string& folder, const std::string& name) {
  if (!cookie::fromWString(Qx::WStringFromUTF8(name))) return false;
  struct stat found {};
  return lstat((folder + "/" + name + "/Lock").c_str(), &found) == 0;
}

// 0, or errno: whether this user may make files in it.
int whyNotWritable(const std::string& folder) {
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

RootFolder lookAtRootFolder(const WString& path, const WString& name) {
  RootFolder found{name};
  const std::string folder = Qx::UTF8FromWString(path);
  std::error_code error;
  const auto names = namesIn(folder, error);
  found.lobby = LobbyUtils::isNetworkLobby(path);
  found.unfinished = isUnfinished(folder);
  found.writable = whyNotWritable(folder) == 0;
  for (const auto& [entry, isFolder] : names) {
    const bool login = !isFolder && entry.ends_with(".cli");
    if (login || entry == ".lockspace" || isProjectWithLock(folder, entry)) found.likeLobby = true;
  }
  const auto media = namesIn(folder + "/Media", error);
  if (media.contains("Material") || media.contains("Sound")) found.likeLobby = true;
  return found;
}

// What LobbyUtils::createNewLobby() had still to make; its list names the media folder just so.
// Also while the maker is only slow this does no harm: both write the same.  A list that somebody
// has made meanwhile keeps its lines.
std::string finishLobby(const WString& name) {
  iFileManager& files = OS()->fileManager();
  const WString separator(1, pathSeparator());
  const WString lobby = LobbyUtils::getNetworkProjectsRoot() + separator + name;
  const WString media = lobby + separator + L"Media";
  const WString list = lobby + separator + getMediaLocationsFilename();
  if (!isUnfinished(Qx::UTF8FromWString(lobby))) {
    return LobbyUtils::isNetworkLobby(lobby) ? "" : "something else is in it by now";
  }
  files.createDirectory(media);
  files.createDirectory(media + separator + L"Material");
  files.createDirectory(media + separator + L"Sound");

  const String text = Qx::UTF8FromWString(media);
  Qx::Ptr<iFile> file = openFile(list, kWriteLocations);
  if (!opened(file) || !file->write(text.data(), text.size())) return whyNotWritten(list);
  file = nullptr;  // only now the list gets its name
  return LobbyUtils::isNetworkLobby(lobby) ? std::string() : whyNotWritten(list);
}

void addUnfinished(const WString& name, const WString& folder, Diagnosis& diagnosis) {
  diagnosis.add({"unfinished-lobby", folder,
                 "the lobby " + printable(name) +
                     " was not finished by the machine that made it: nobody sees it until it has " +
                     shownList(),
                 [name] { return finishLobby(name); },
                 "make what is missing, with " + shownList()});
}

void addUnmarked(const WString& name, const WString& folder, Diagnosis& diagnosis) {
  diagnosis.add({"unmarked-lobby", folder,
                 "has what a lobby has, but no " + shownList() +
                     ", so that nobody sees the lobby " + printable(name) +
                     ".  Bring the file back from a copy, or make it with the path of the media "
                     "folder in it: " +
                     printable(folder) + "/Media/"});
}

// Mounts and rights.

struct FolderLook {
  int error = 0;  // errno
  bool folder = false;
  int noWriting = 0;  // errno
  dev_t device = 0;
  host::MountFacts facts;
};

std::optional<FolderLook> lookAtFolder(const WString& folder, const Options& options) {
  const std::string path = Qx::UTF8FromWString(plainFolder(folder));
  return within<FolderLook>(options.deadline(), folder, [path]() -> FolderLook {
    struct stat found {};
    FolderLook look;
    if (stat(path.c_str(), &found) != 0) {
      look.error = errno;
      return look;
    }
    look.folder = S_ISDIR(found.st_mode);
    look.device = found.st_dev;
    look.noWriting = whyNotWritable(path);
    look.facts = host::mountFacts(path, found.st_dev);
    return look;
  });
}

// Somebody means to use it.
bool isRootWanted() {
  const bool set =
      !UserConfig().getValue(LobbyUtils::NetProjRootRegKey, String(), kLobbySection).empty();
  return set || !LobbyUtils::getCurrentNetworkLobbyName().empty();
}

// Many users work in lobbies that somebody else makes: it is wrong only where they could not.
void findRights(const WString& root, int noWriting, const std::vector<RootFolder>& folders,
                const Options& options, Diagnosis& diagnosis) {
  if (noWriting == 0) return;
  const std::string text = "no lobby can be made here: " + std::string(std::strerror(noWriting));
  const bool mayWork = std::any_of(folders.begin(), folders.end(), [](const RootFolder& folder) {
    return folder.lobby && folder.writable;
  });
  if (mayWork) {
    remark(options, printable(root) + ": " + text + ".  Work in those that there are");
    return;
  }
  diagnosis.add(
      {"root-not-writable", root, text + ".  Look at its rights with ls -ld, and at its mount"});
}

// Nothing when there is nothing in it to look at; else errno, why nothing can be made in it, or 0.
std::optional<int> findAtRoot(const WString& root, const Options& options, Diagnosis& diagnosis) {
  const auto look = lookAtFolder(root, options);
  if (!look) {
    diagnosis.unseen.push_back(notAnswering(root, options));
    return {};
  }
  if (look->error == ENOENT || look->error == ENOTDIR || (look->error == 0 && !look->folder)) {
    if (isRootWanted()) {
      diagnosis.add({"missing-root", root,
                     "the folder of the lobbies is not there.  Mount it, or say where it is: "
                     "miscdisc config set 'network project root' FOLDER"});
    }
    return {};
  }
  if (look->error != 0) {
    diagnosis.unseen.push_back(printable(root) + " could not be looked at (" +
                               std::strerror(look->error) + ").  Look at it with ls -ld");
    return {};
  }
  return look->noWriting;
}

}  // namespace

void findInLists(const WString& space, const Options& options, Diagnosis& diagnosis) {
  const WString locations = space + getMediaLocationsFilename();
  const FolderList listed = readFolderList(locations, options.deadline());
  const FolderList hidden = readFolderList(space + L"UnmountedDrives.txt", options.deadline());
  for (const std::string& fault : {listed.fault, hidden.fault}) {
    if (!fault.empty()) diagnosis.unseen.push_back(fault);
  }
  for (const WString& line : listedTwice(listed.lines)) {
    diagnosis.add({"listed-twice", locations,
                   printable(line) +
                       " is on two lines, one after the other; taking the location away would "
                       "leave one.  Delete one of the two lines"});
  }
  const std::vector<Listed> folders = distinctFolders(listed.lines);
  for (const Listed& volume : distinctFolders(hidden.lines)) {
    if (!listedFolder(folders, volume.folder)) continue;
    diagnosis.add({"listed-and-hidden", locations,
                   printable(volume.folder) + " is listed here, and hidden in " + printable(space) +
                       "UnmountedDrives.txt.  Delete its line in one of the two, after what is "
                       "wanted"});
  }
}

void findUnknownSettings(Diagnosis& diagnosis) {
  const std::string file = host::places().config + "/config.toml";
  for (const std::string& unknown : host::unknownSettings()) {
    diagnosis.add({"unknown-setting", Qx::WStringFromUTF8(file),
                   "line " + printable(unknown.substr(file.size() + 1)) +
                       (unknown.ends_with('?') ? "" : ".") +
                       "  It changes nothing: mend it, or take it out"});
  }
}

void findSameNames(const DriveList& list, Diagnosis& diagnosis) {
  std::map<WString, std::vector<const Drive*>> byName;
  for (const Drive& drive : list.drives) byName[drive.name].push_back(&drive);
  for (const auto& [name, drives] : byName) {
    if (drives.size() < 2) continue;
    std::string ids;
    for (const Drive* drive : drives) ids += (ids.empty() ? "" : ", ") + drive->label;
    const std::string& last = drives.back()->label;
    diagnosis.add({"same-name", drives.back()->path,
                   "the drives " + ids + " all go by the name \"" + printable(name) +
                       "\".  Give one another name: miscdisc drives rename '" + last + "' NAME"});
  }
}

void findMountsWithoutLocks(const std::vector<WString>& folders, const Options& options,
                            Diagnosis& diagnosis) {
  std::set<dev_t> known;
  for (const WString& folder : folders) {
    // What does not answer, or is missing, is said by whoever looks into it.
    const auto look = lookAtFolder(folder, options);
    if (!look || look->error != 0 || !look->facts.locksStayLocal) continue;
    if (!known.insert(look->device).second) continue;
    const std::string mount = "its mount keeps locks to itself: " + printable(look->facts.name);
    const std::string remedy =
        ".  Mount it with locks that reach the server (no nolock, local_lock or nobrl)";
    if (host::settings()->allowLocalOnly) {
      diagnosis.add({"locks-exclude-nobody", folder,
                     mount +
                         ".  As [locks] allow_local_only is set, locks are taken here all the "
                         "same, but other machines take the same ones" +
                         remedy});
    } else {
      diagnosis.add(
          {"no-locks", folder, mount + ".  So nobody can log in or lock anything here" + remedy});
    }
  }
}

std::vector<RootFolder> findInRoot(const Options& options, Diagnosis& diagnosis) {
  const WString root = LobbyUtils::getNetworkProjectsRoot();
  const auto noWriting = findAtRoot(root, options, diagnosis);
  if (!noWriting) return {};
  using Names = std::optional<std::map<std::string, bool>>;
  const auto names = within<Names>(options.deadline(), root, [root]() -> Names {
    std::error_code error;
    auto found = namesIn(Qx::UTF8FromWString(root), error);
    if (error) return {};
    return found;
  });
  if (!names || !*names) {
    diagnosis.unseen.push_back(names
                                   ? printable(root) + " could not be read.  Look at it with ls -ld"
                                   : notAnswering(root, options));
    return {};
  }
  std::vector<RootFolder> folders;
  for (const auto& [bytes, isFolder] : **names) {
    if (!isFolder || bytes.starts_with('.')) continue;
    const WString name = Qx::WStringFromUTF8(bytes);
    const WString path = withSeparator(root) + name;
    const auto found = within<RootFolder>(options.deadline(), path,
                                          [path, name] { return lookAtRootFolder(path, name); });
    const bool current = name == LobbyUtils::getCurrentNetworkLobbyName();
    if (!found) {
      // Of the current one its own look says so.
      if (!current) diagnosis.unseen.push_back(notAnswering(path, options));
      continue;
    }
    folders.push_back(*found);
    if (current || found->lobby || !found->likeLobby) continue;
    found->unfinished ? addUnfinished(name, path, diagnosis) : addUnmarked(name, path, diagnosis);
  }
  findRights(root, *noWriting, folders, options, diagnosis);
  return folders;
}

void findInLobby(const Space& space, const std::vector<RootFolder>& folders, const Options& options,
                 Diagnosis& diagnosis) {
  const WString name = LobbyUtils::getCurrentNetworkLobbyName();
  const WString path = LobbyUtils::getCurrentNetworkLobbyFullPath(false);
  if (space.answer == Space::Answer::kMissing) {
    const bool rootIsMissing =
        std::any_of(diagnosis.findings.begin(), diagnosis.findings.end(),
                    [](const Finding& finding) { return finding.kind == "missing-root"; });
    if (rootIsMissing) return;  // said already, and the reason
    diagnosis.add({"missing-lobby", path,
                   "the lobby " + printable(name) +
                       " in which this machine is to work is not there.  Mount it, or work in "
                       "another one: miscdisc lobby use NAME"});
    return;
  }
  if (space.answer != Space::Answer::kThere) return;
  const auto look = lookAtFolder(path, options);
  if (!look) {
    diagnosis.unseen.push_back(notAnswering(path, options));
  } else if (look->noWriting != 0) {
    diagnosis.add({"lobby-not-writable", path,
                   "this user cannot log in here: " + std::string(std::strerror(look->noWriting)) +
                       ".  See \"Rights and umask\" in administering.md"});
  }
  if (space.lobby) return;
  const auto found = std::find_if(folders.begin(), folders.end(),
                                  [&](const RootFolder& folder) { return folder.name == name; });
  const bool unfinished = found != folders.end() && found->unfinished;
  unfinished ? addUnfinished(name, path, diagnosis) : addUnmarked(name, path, diagnosis);
}

}  // namespace console
