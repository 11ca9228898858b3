// Lobbies that are made and deleted.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "console/changes.h"
#include "console/folders.h"
#include "console/lobby_commands.h"
#include "console/progress.h"
#include "console/space_commands.h"
#include "console/space_view.h"
#include "console/text_files.h"
#include "host/volumes/mount_table.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

namespace fs = std::filesystem;

std::string native(const WString& path) { return Qx::UTF8FromWString(path); }

// Making.

// What a lobby is made of, by the paths that the library writes: it puts a separator behind the
// root whatever that ends in.
struct NewLobby {
  explicit NewLobby(const WString& name)
      : folder(LobbyUtils::getNetworkProjectsRoot() + L"/" + name),
        media(folder + L"/Media"),
        list(folder + L"/" + getMediaLocationsFilename()) {}

  WString folder;
  WString media;
  WString list;  // holds the path of media, which makes the folder a lobby
};

// The name stands in a list with a line per folder, and a hidden folder is listed nowhere; a blank
// at an end is seen by nobody who types the name.
bool mayBeNewLobby(const std::string& name) {
  constexpr std::string_view kBlanks = " \t";
  if (!mayBeLobby(name)) return false;
  const bool blank = kBlanks.find(name.front()) != std::string_view::npos ||
                     kBlanks.find(name.back()) != std::string_view::npos;
  if (!blank && !name.starts_with('.') && !hasLineEnd(Qx::WStringFromUTF8(name))) return true;
  complain("\"" + printable(name) +
           "\" cannot be a lobby: a name with a line end spoils its list of drives, one that "
           "begins with a dot is hidden, and a blank at an end is lost.  Choose another.");
  return false;
}

void complainNotMade(const NewLobby& lobby, int error) {
  complain("the lobby " + printable(plainFolder(lobby.folder)) +
           " could not be made: " + std::strerror(error) +
           ".  Look at its name, at the folder that it lies in with ls -ld, "
           "and at the room there with df and df -i.  Nothing was made.");
}

// Why this user may not write in the folder, as errno, or 0; nothing when its mount does not
// answer.
std::optional<int> errorOfWriting(const WString& folder, const Options& options) {
  return within<int>(options.deadline(), folder, [path = native(folder)] {
    return faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
  });
}

// kDone when the root can take a lobby.  The default one is made with its first lobby.
Exit checkRoot(const NewLobby& lobby, const Options& options) {
  const WString root = LobbyUtils::getNetworkProjectsRoot();
  const Space space = lookAtPeople(root, options);
  const bool firstLobby = space.answer == Space::Answer::kMissing &&
                          root == OS()->getDefaultNetworkProjectsFolder(true);
  if (firstLobby) return kDone;
  if (space.answer != Space::Answer::kThere) return reportProblems(space, options);
  const auto error = errorOfWriting(root, options);
  if (error == 0) return kDone;
  complainNotMade(lobby, error.value_or(ETIMEDOUT));
  return kFailed;
}

// kDone when nothing has the name.
Exit checkName(const NewLobby& lobby, const Options& options) {
  const Space there = lookAtPeople(lobby.folder, options);
  const std::string shown = printable(plainFolder(lobby.folder));
  if (there.lobby) {
    complain(shown + " is a lobby already.  \"miscdisc lobby show\" shows who is in it.");
    return kFailed;
  }
  if (there.answer == Space::Answer::kNotAnswering) return reportProblems(there, options);
  std::error_code none;
  if (!fs::exists(fs::symlink_status(native(lobby.folder), none))) return kDone;
  complain(shown + " is there already, and is no lobby: it holds no " +
           printable(getMediaLocationsFilename()) +
           ".  \"miscdisc doctor\" looks at it; or choose another name.");
  return kFailed;
}

bool holdsLocation(const NewLobby& lobby, const Options& options) {
  const auto text = readPlainFile(lobby.list, options.deadline());
  return text && text->error == 0 && text->bytes == native(lobby.media);
}

// As people write it: the library puts a separator behind a root that ends in one.
void addMade(const WString& folder, Changes& changes) {
  changes.add({"make", "", plainFolder(folder), L""});
}

// The library tells only whether the folder was made, so the rest is looked at.  The last part that
// is missing is the one that is said: all fail for the same reason.
Exit checkParts(const NewLobby& lobby, Changes& changes, const Options& options) {
  addMade(lobby.folder, changes);
  std::string fault;
  for (const WString& folder : {lobby.media, lobby.media + L"/Material", lobby.media + L"/Sound"}) {
    if (changes.dryRun() || isFolder(folder, options.deadline())) {
      addMade(folder, changes);
    } else {
      fault = whyNotWritten(folder);
    }
  }
  if (changes.dryRun() || holdsLocation(lobby, options)) {
    changes.add({"add", "", plainFolder(lobby.media), plainFolder(lobby.list)});
  } else {
    fault = whyNotWritten(lobby.list);
  }
  if (fault.empty()) return kDone;
  complain("the lobby is only half made, and is not to be used: " + fault + ".  Then remove " +
           printable(plainFolder(lobby.folder)) + " with rm -r, and try again.");
  return kFailed;
}

// Nobody else finds a lobby that lies there.
void tellOwnRoot(const Options& options) {
  const char* key = LobbyUtils::NetProjRootRegKey;
  if (!UserConfig().getValue(key, String(), kLobbySection).empty()) return;
  remark(options, "'" + std::string(key) +
                      "' is not set: this lobby lies in this machine's own folder, where no other "
                      "machine sees it; \"miscdisc config set '" +
                      key + "' FOLDER\" names the shared one");
}

Exit create(Context& context, const std::string& name) {
  const Options& options = context.options;
  if (!mayBeNewLobby(name)) return kUsage;
  const NewLobby lobby(Qx::WStringFromUTF8(name));
  if (const Exit exit = checkRoot(lobby, options)) return exit;
  if (const Exit exit = checkName(lobby, options)) return exit;
  errno = 0;
  if (!options.dryRun && !LobbyUtils::createNewLobby(Qx::WStringFromUTF8(name))) {
    complainNotMade(lobby, errno);
    return kFailed;
  }
  Changes changes(context);
  const Exit exit = checkParts(lobby, changes, options);
  if (exit == kDone) tellOwnRoot(options);
  return changes.say(exit);
}

// Deleting.

// By its name here, by the one that is stored, or because it is the same folder.
bool isCurrentLobby(const std::string& name, const Space& space, const Options& options) {
  const WString current = LobbyUtils::getCurrentNetworkLobbyName();
  if (name == native(current) || name == storedSetting(kLobbyNameKey)) return true;
  if (current.empty()) return false;
  const auto id = idOf(space.folder, options.deadline());
  return id && id == idOf(LobbyUtils::getCurrentNetworkLobbyFullPath(true), options.deadline());
}

// Who is in it or holds something there, or may: a sentence for each.
std::vector<std::string> whoWorksIn(const Space& space) {
  std::vector<std::string> sentences;
  for (const Person& person : space.people) {
    const std::string user = printable(person.user);
    if (person.held == Held::kYes) {
      sentences.push_back(user + " is logged in there since " + rfc3339(person.since));
    } else if (person.held == Held::kUnknown) {
      sentences.push_back("whether " + user + " is logged in there cannot be told from " +
                          printable(person.path));
    }
  }
  for (const SpaceLock& lock : space.locks) {
    if (lock.held == Held::kYes) {
      sentences.push_back(called(lock) + " is held by " + holder(lock));
    } else if (lock.held == Held::kUnknown && lock.ordinary) {
      sentences.push_back("whether " + called(lock) + " is held cannot be told from " +
                          printable(lock.path));
    }
  }
  return sentences;
}

// A lobby that is deleted takes people's work with it, so doubt is a refusal, too, and --yes does
// not change that.
Exit checkEmpty(const Space& space, const std::string& name, const Options& options) {
  const bool seen = reportProblems(space, options) == kDone;
  const auto sentences = whoWorksIn(space);
  for (const std::string& sentence : sentences) complain(sentence);
  if (seen && sentences.empty()) return kDone;
  complain("so the lobby " + printable(name) +
           " was not deleted.  Try again when nobody works there; a file that cannot tell may be "
           "removed by whoever knows that nobody does.");
  return kRefused;
}

// A deletion would go on into what is mounted in the lobby, which is no part of it, and wait there
// for whatever hangs.
Exit checkNothingMounted(const Space& space, const std::string& name, const Options& options) {
  const std::string folder = native(space.folder);
  const auto real = within<std::string>(options.deadline(), space.folder, [folder] {
    std::error_code gone;  // meanwhile: then nothing is mounted in it
    return fs::canonical(folder, gone).string();
  });
  if (!real) {
    complain(printable(space.folder) + " is not answering.  Nothing was deleted.");
    return kIncomplete;
  }
  if (real->empty()) return kDone;
  for (const host::Mount& mount : host::currentMounts()->mounts()) {
    if (mount.point != *real && !mount.point.starts_with(*real + "/")) continue;
    complain(printable(mount.point) + " is a mount, so the lobby " + printable(name) +
             " was not deleted.  Unmount it first.");
    return kRefused;
  }
  return kDone;
}

// A deletion that stops half-way leaves what is neither a lobby nor gone.
Exit checkRights(const Space& space, const std::string& name, const Options& options) {
  for (const WString& folder : {LobbyUtils::getNetworkProjectsRoot(), space.folder}) {
    const auto error = errorOfWriting(folder, options);
    if (error == 0) continue;
    complain("the lobby " + printable(name) + " cannot be deleted: " + printable(folder) + ": " +
             std::strerror(error.value_or(ETIMEDOUT)) +
             ".  Look at its rights with ls -ld, and at its mount.  Nothing was deleted.");
    return error ? kFailed : kIncomplete;
  }
  return kDone;
}

void tellLeftovers(const Space& space, const Options& options) {
  const std::string goes = " is a leftover: nobody holds it, and it goes with the lobby";
  for (const Person& person : space.people)
    remark(options, printable(person.user) + "'s login" + goes);
  for (const SpaceLock& lock : space.locks) remark(options, "the lock of " + called(lock) + goes);
}

std::string whatIsLeft(const WString& folder) {
  constexpr size_t kMost = 5;
  std::vector<std::string> left;
  std::error_code error;
  for (fs::recursive_directory_iterator entry(native(folder), error), end; !error && entry != end;
       entry.increment(error)) {
    left.push_back(printable(entry->path().string()));
  }
  if (left.empty()) return printable(folder);
  std::sort(left.begin(), left.end());
  const size_t more = left.size() - std::min(left.size(), kMost);
  left.resize(left.size() - more);
  return fmt::format("{}", fmt::join(left, ", ")) +
         (more > 0 ? " and " + std::to_string(more) + " more" : "");
}

Exit removeLobby(const Space& space, const std::string& name, Changes& changes,
                 const Options& options) {
  if (!changes.dryRun()) {
    Progress progress(options);
    progress.say("deleting " + printable(space.folder));
    LobbyUtils::deleteLobby(Qx::WStringFromUTF8(name));
    progress.finish();
    const Space left = lookAtPeople(space.folder, options);
    if (left.answer == Space::Answer::kNotAnswering) return reportProblems(left, options);
    if (left.answer != Space::Answer::kMissing) {
      complain("the lobby " + printable(name) + " was not deleted entirely.  Left are " +
               whatIsLeft(space.folder) +
               ".  Check their rights with ls -ld, and remove them by hand.");
      return kFailed;
    }
  }
  changes.add({"remove", "", space.folder, L""});
  return kDone;
}

Exit deleteLobby(Context& context, const std::string& name) {
  const Options& options = context.options;
  Exit exit = kFailed;
  const auto space = lobbyNamed(name, options, exit);
  if (!space) return exit;
  if (isCurrentLobby(name, *space, options)) {
    complain(printable(name) +
             " is the current lobby of this machine, so it was not deleted.  Choose another with "
             "\"miscdisc lobby use\" first, or none with \"miscdisc lobby use --local\".");
    return kRefused;
  }
  Space inside;
  const auto check = [&] {
    if (const Exit refusal = checkNothingMounted(*space, name, options)) return refusal;
    if (const Exit refusal = checkRights(*space, name, options)) return refusal;
    Progress progress(options);
    progress.say("looking for locks in " + printable(space->folder));
    inside = lookEverywhere(space->folder, options);
    progress.finish();
    return checkEmpty(inside, name, options);
  };
  if (const Exit refusal = check()) return refusal;
  tellLeftovers(inside, options);
  if (!confirmed(options, "Delete the lobby " + printable(name) + " with everything in " +
                              printable(space->folder) + "?")) {
    return kRefused;
  }
  if (const Exit refusal = check()) return refusal;  // somebody may have come in meanwhile
  Changes changes(context);
  exit = removeLobby(*space, name, changes, options);
  return changes.say(exit);
}

}  // namespace

void addLobbyFolders(CLI::App& lobby, Context& context, Command& chosen) {
  const auto name = std::make_shared<std::string>();
  addSpaceCommand(lobby, chosen, "create", "Make a lobby under the network projects root",
                  [&context, name] { return create(context, *name); })
      ->add_option("NAME", *name, "The name of its folder")
      ->required();
  addSpaceCommand(lobby, chosen, "delete",
                  "Delete a lobby in which nobody is, with all its files.  Exit code 7: somebody "
                  "works there, or may, whatever --yes says; or it needs --yes",
                  [&context, name] { return deleteLobby(context, *name); })
      ->add_option("LOBBY", *name, "Its name")
      ->required();
}

}  // namespace console
