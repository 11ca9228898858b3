// The lists of the space: folders that are locations there, and volumes that are hidden there.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "console/changes.h"
#include "console/drives_commands.h"
#include "console/drives_view.h"
#include "console/folders.h"
#include "console/new_name.h"
#include "console/not_answering.h"
#include "console/tasks.h"
#include "console/text_files.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/list_files.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/text_file.h"

namespace console {
namespace {

struct Objection {
  Exit exit;
  std::string text;
};
using MaybeObjection = std::optional<Objection>;

struct Arguments {
  std::string folder;
  std::string name;
  std::string drive;
  std::vector<std::string> hidden;
  std::string file;
};

bool hasLine(const WString& file, const WString& line, const Options& options) {
  const auto lines = readFolderList(file, options.deadline()).lines;
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// Drops the lines from the list; what others add or drop meanwhile stays.
template <typename Dropped>
bool dropLines(const WString& file, Dropped dropped) {
  TextFile list(file, true);
  bool any = false;
  for (size_t i = 0; i < list.getNumLines();) {
    if (dropped(Qx::WStringFromUTF8(list[i]))) {
      list.removeLine(i);
      any = true;
    } else {
      ++i;
    }
  }
  return !any || list.save(WString(), TextFile::eLF);
}

// The folder of a local project space is made when something is first kept there; a lobby is made
// by whoever sets it up, so one that is missing is away or misspelled.
MaybeObjection prepareSpace(bool dryRun) {
  const WString space = LobbyUtils::getCurrentLobbyName();
  const std::string folder = Qx::UTF8FromWString(space);
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return {};
  if (LobbyUtils::machineIsInNetworkMode()) {
    return Objection{kFailed,
                     "the lobby's folder " + printable(space) +
                         " is not there.  Mount it, or change \"network lobby name\" with: "
                         "miscdisc config set"};
  }
  if (dryRun || std::filesystem::create_directories(folder, error) || !error) return {};
  return Objection{kFailed, printable(space) + " could not be made: " + error.message() +
                                ".  Check the rights of the folder that it lies in."};
}

// Adding.

std::string existing(const Drive& drive) {
  return (drive.location ? "the location " : "the volume ") + called(drive) + ", " +
         printable(drive.path);
}

// Whether a folder may become a location that is mounted now.  Of its media folders, which are read
// then, each may be a mount of its own.
MaybeObjection objectionToContents(const WString& folder, const Options& options) {
  struct Look {
    int error;
    bool folder;
    bool readable;
  };
  const std::string path = Qx::UTF8FromWString(folder);
  const auto look = within<Look>(options.deadline(), folder, [path]() -> Look {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0) return {errno, false, false};
    return {0, S_ISDIR(found.st_mode),
            faccessat(AT_FDCWD, path.c_str(), R_OK | X_OK, AT_EACCESS) == 0};
  });
  const std::string shown = printable(folder);
  const auto state = askDriveFolders({folder}, options.deadline()).front();
  if (!look || state.answer == host::VolumeState::Answer::kNotAnswering) {
    return Objection{kIncomplete, notAnswering(folder, options)};
  }
  if (look->error == ENOENT) {
    return Objection{kNotFound, shown + " does not exist.  Make it first, or check the spelling."};
  }
  if (look->error != 0) {
    return Objection{kFailed, shown + " cannot be looked at: " + std::strerror(look->error) +
                                  ".  Check the rights of the folders that it lies in."};
  }
  if (!look->folder) {
    return Objection{kFailed, shown + " is no folder.  A media location is a folder."};
  }
  if (!look->readable) {
    return Objection{kFailed,
                     shown + " may not be read by this user.  Check its rights with ls -ld"};
  }
  return {};
}

// Whether the folder is in the list's way.
MaybeObjection objectionToPlace(const DriveList& list, const WString& folder,
                                const Options& options) {
  const auto id = idOf(folder, options.deadline());
  for (const Drive& drive : list.drives) {
    const WString path = plainFolder(drive.path);
    const bool same = id && drive.present() && idOf(drive.path, options.deadline()) == id;
    if (!same && !isSameSpelling(path, folder)) continue;
    const bool otherFolder = !same && path != folder;
    return Objection{kFailed, printable(folder) + " is there already, as " + existing(drive) + "." +
                                  (otherFolder ? "  Names that differ in letter case only count as "
                                                 "one: rename one of the folders."
                                               : "")};
  }
  for (const Drive& drive : list.drives) {
    const WString path = plainFolder(drive.path);
    const bool inside = isInside(folder, path);
    if (!drive.location || options.yes || !(inside || isInside(path, folder))) continue;
    return Objection{
        kRefused, printable(folder) + (inside ? " lies inside " : " lies around ") +
                      existing(drive) +
                      ", so that files would be listed twice.  To add it all the same, say --yes."};
  }
  return {};
}

// The number of a line of the list as it stands now, with what others have added; nothing when the
// line is not there.
std::optional<size_t> numberOf(const WString& line, const DriveList& list, const Options& options) {
  std::set<WString> otherNames;  // of locations: they take no number
  for (const Drive& drive : list.drives) {
    if (!drive.location || drive.lines.empty()) continue;
    const WString first = plainFolder(drive.lines.front());
    for (const WString& listed : drive.lines) {
      const WString folder = plainFolder(listed);
      if (!isSameSpelling(folder, first)) otherNames.insert(folder);
    }
  }
  size_t number = 0;
  const auto lines = readFolderList(mediaLocationsFile(), options.deadline()).lines;
  for (const Listed& listed : distinctFolders(lines)) {
    if (!otherNames.contains(listed.folder)) ++number;
    if (std::find(listed.lines.begin(), listed.lines.end(), line) != listed.lines.end()) {
      return number;
    }
  }
  return {};
}

enum class Mounting { kNow, kLater };

void appendLocation(const WString& line) {
  TextFile list(mediaLocationsFile(), true);
  list.appendLine(Qx::UTF8FromWString(line));
  list.save(WString(), TextFile::eLF);
}

// Lists the folder and mounts it; the drive is then part of the list.
MaybeObjection addFolder(DriveList& list, const WString& folder, Mounting mounting,
                         const Options& options, Changes& changes) {
  // With its separator: so the library compares it with the locations that it has mounted.
  const WString line = withSeparator(folder);
  Drive drive;
  drive.location = true;
  drive.path = folder;
  drive.name = stripPath(folder);
  drive.lines = {line};
  size_t number = list.numbered.size() + 1;
  if (!changes.dryRun()) {
    forgetVolumesBut(0);
    if (mounting == Mounting::kNow) {
      DiskManager::addMediaLocation(line);
    } else {
      appendLocation(line);
    }
    const auto listed = numberOf(line, list, options);
    if (!listed) return Objection{kFailed, whyNotWritten(mediaLocationsFile())};
    number = *listed;
    if (const MediaDrive* mounted = DiskManager::getDriveWithPath(folder)) {
      drive.id = mounted->driveId;
      drive.state.answer = host::VolumeState::Answer::kPresent;
    }
  }
  drive.label = "#" + std::to_string(number);
  list.numbered.push_back({drive.label, drive.path});
  changes.add({"add", drive.label, line, mediaLocationsFile()});
  list.drives.push_back(drive);
  return {};
}

Exit refuse(const Objection& objection) {
  complain(objection.text);
  return objection.exit;
}

// " of lobby Alpha"; empty for a local space.
std::string lobbyHere() {
  if (!LobbyUtils::machineIsInNetworkMode()) return {};
  return " of lobby " + printable(LobbyUtils::getCurrentNetworkLobbyName());
}

void tellLobbyHasIt(const Options& options) {
  const std::string lobby = lobbyHere();
  if (lobby.empty()) return;
  remark(options, "every machine" + lobby + (options.dryRun ? " would have" : " has") +
                      " it in its list; they find it where it has the same path");
}

Exit addLocation(Context& context, DriveList& list, const Arguments& arguments) {
  const Options& options = context.options;
  if (!list.faults.empty()) return refuse({kFailed, list.faults[0] + "  Nothing was added."});
  const WString given = Qx::WStringFromUTF8(arguments.folder);
  if (given.empty()) return refuse({kUsage, "FOLDER is empty: a folder's path was expected."});
  const WString folder = absoluteFolder(given);
  if (!folder.starts_with(L'/')) {
    return refuse({kFailed, "the working directory is gone.  Give FOLDER from the root on."});
  }
  if (hasLineEnd(folder)) {
    return refuse({kUsage, printable(folder) +
                               " has a line end in its name, and the list has a line per folder.  "
                               "Rename the folder, or add it through a symbolic link."});
  }
  const WString name = Qx::WStringFromUTF8(arguments.name);
  if (!mayBeName(name)) return kUsage;
  if (const auto objection = objectionToContents(folder, options)) return refuse(*objection);
  if (const auto objection = objectionToPlace(list, folder, options)) {
    return refuse({objection->exit, objection->text + "  Nothing was added."});
  }
  const bool prepared = isFolder(joinPaths(folder, L"Material"), options.deadline());
  if (!name.empty()) {
    const auto fault = whyNotNamed(folder, options);
    if (!fault.empty()) {
      return refuse({kFailed, fault + ".  Nothing was added: add the folder without --name."});
    }
  }
  if (const auto objection = prepareSpace(options.dryRun)) return refuse(*objection);

  Changes changes(context);
  if (const auto objection = addFolder(list, folder, Mounting::kNow, options, changes)) {
    complain(objection->text);
    return changes.say(objection->exit);
  }
  const Drive& added = list.drives.back();
  if (!options.dryRun && !added.present()) {
    complain(printable(folder) +
             " is listed now, and could not be mounted.  It is tried again whenever a program "
             "starts; take it off the list with: miscdisc drives remove '" +
             added.label + "'");
    return changes.say(kIncomplete);
  }
  if (name.empty()) {
    if (const Exit exit = changes.sayNow()) return exit;
    const std::string unprepared = whatIsUnprepared(added, options);
    if (!unprepared.empty()) remark(options, unprepared);
    tellLobbyHasIt(options);
    return kDone;
  }
  // The name lies in one of the media folders.
  if (!prepared) {
    if (const Exit exit = makeMediaFolders(added, options, changes)) return changes.say(exit);
  }
  const Exit exit = renameDrive(list, added, name, options, changes);
  const Exit said = changes.sayNow();
  tellLobbyHasIt(options);
  return exit != kDone ? exit : said;
}

// Removing.

void tellTasksOf(const Drive& drive, const DriveList& list, const Options& options) {
  for (const Task& task : tasksOf(drive, list)) {
    remark(options, "the task " + printable(task.name) + " still has " + printable(task.path) +
                        ".  Choose another with: miscdisc drives task \"" + printable(task.name) +
                        "\" DRIVE");
  }
}

// Also the other spellings of the folder, and the lines right behind one that the library drops:
// any of them would bring the location back.
Exit dropLocationLines(const Drive& drive, Changes& changes) {
  std::set<WString> spelled;
  for (const WString& line : drive.lines) spelled.insert(plainFolder(line));
  const auto isOurs = [&](const WString& line) { return spelled.count(plainFolder(line)) != 0; };
  if (!changes.dryRun() && !dropLines(mediaLocationsFile(), isOurs)) {
    complain(whyNotWritten(mediaLocationsFile()));
    return kFailed;
  }
  for (const WString& line : drive.lines) {
    changes.add({"remove", drive.label, line, mediaLocationsFile()});
  }
  return kDone;
}

Exit removeLocation(const Drive& drive, Changes& changes) {
  if (!changes.dryRun() && drive.present()) {
    forgetVolumesBut(drive.id);
    DiskManager::removeMediaLocation(withSeparator(drive.path));
  }
  return dropLocationLines(drive, changes);
}

Exit hideVolume(const Drive& drive, const Options& options, Changes& changes) {
  const WString line = withSeparator(drive.path);
  if (hasLineEnd(line)) {
    complain(printable(drive.path) +
             " has a line end in its name, and the list has a line per folder.  Take it out of "
             "[volumes] in config.toml, or unmount it.");
    return kFailed;
  }
  if (const auto objection = prepareSpace(changes.dryRun())) return refuse(*objection);
  if (!changes.dryRun()) {
    forgetVolumesBut(drive.id);
    // The library hides what is in its list; one that is not there now is not.
    if (!drive.present()) DiskManager::add_drive(drive.id, WString());
    DiskManager::removeMediaLocation(line);
    if (!hasLine(hiddenVolumesFile(), line, options)) {
      complain(whyNotWritten(hiddenVolumesFile()));
      return kFailed;
    }
  }
  changes.add({"hide", drive.label, line, hiddenVolumesFile()});
  return dropLocationLines(drive, changes);
}

void tellHidden(const Drive& drive, const Options& options) {
  const std::string lobby = lobbyHere();
  if (!lobby.empty()) {
    remark(options, drive.label + (options.dryRun ? " would be" : " is") +
                        " hidden for every machine" + lobby);
  }
  if (!options.dryRun) remark(options, "to get it back: miscdisc drives unhide " + drive.label);
  for (const WString& listed : drive.lines) {
    remark(options, "the list of locations had it, too: its line " + printable(listed) +
                        (options.dryRun ? " would go, " : " went, ") +
                        "and unhide does not bring that back.");
  }
}

Exit removeDrive(Context& context, DriveList& list, const Arguments& arguments) {
  if (!list.faults.empty()) return refuse({kFailed, list.faults[0] + "  Nothing was removed."});
  Exit exit;
  const Drive* drive = chooseDrive(list, arguments.drive, context.options, exit);
  if (!drive) return exit;
  tellTasksOf(*drive, list, context.options);
  Changes changes(context);
  if (drive->location) return changes.say(removeLocation(*drive, changes));
  exit = hideVolume(*drive, context.options, changes);
  const Exit said = changes.sayNow();
  if (exit != kDone) return exit;
  tellHidden(*drive, context.options);
  return said;
}

// Hidden volumes.

// Exactly, else in any letter case: only exact lines hide a volume, the others are leftovers.
std::vector<const HiddenVolume*> hiddenMeant(const DriveList& list, const std::string& text) {
  const WString folder = absoluteFolder(Qx::WStringFromUTF8(text));
  const auto matching = [&](auto matches) {
    std::vector<const HiddenVolume*> found;
    for (const HiddenVolume& hidden : list.hidden) {
      if (matches(hidden)) found.push_back(&hidden);
    }
    return found;
  };
  auto found = matching([&](const HiddenVolume& h) {
    return !h.label.empty() &&
           Qx::compareCaseInsensitive(Qx::WStringFromUTF8(h.label), Qx::WStringFromUTF8(text));
  });
  if (!found.empty()) {
    const WString own = plainFolder(found[0]->line);
    return matching([&](const HiddenVolume& h) { return plainFolder(h.line) == own; });
  }
  found = matching([&](const HiddenVolume& h) { return plainFolder(h.line) == folder; });
  if (!found.empty()) return found;
  return matching(
      [&](const HiddenVolume& h) { return isSameSpelling(plainFolder(h.line), folder); });
}

Exit listHidden(Context& context, const DriveList& list) {
  if (context.options.json) {
    context.output.printDocument(
        Json{{"schema", "miscdisc.hidden/1"}, {"hidden", asJson(list.hidden)}});
    return kDone;
  }
  std::vector<std::vector<std::string>> rows;
  for (const HiddenVolume& hidden : list.hidden) {
    rows.push_back({hidden.label.empty() ? "-" : hidden.label, printable(hidden.line)});
  }
  context.output.printTable(context.options, {"DRIVE", "PATH"}, rows);
  if (rows.empty()) {
    remark(context.options, "no volume is hidden here: \"miscdisc drives remove DRIVE\" hides one");
  }
  return kDone;
}

Exit unhide(Context& context, DriveList& list, const Arguments& arguments) {
  if (!list.faults.empty()) return refuse({kFailed, list.faults[0]});
  if (arguments.hidden.empty()) return listHidden(context, list);
  std::set<WString> lines;
  Changes changes(context);
  for (const std::string& text : arguments.hidden) {
    const auto meant = hiddenMeant(list, text);
    if (meant.empty()) {
      std::string names;
      for (const HiddenVolume& hidden : list.hidden) {
        names += (names.empty() ? "" : ", ") + printable(hidden.line);
      }
      complain(printable(text) + " is not hidden here.  " +
               (names.empty() ? "Nothing is." : "Hidden are " + names + ".") +
               "  Nothing was changed.");
      return kNotFound;
    }
    for (const HiddenVolume* hidden : meant) {
      if (!lines.insert(hidden->line).second) continue;
      changes.add({"unhide", hidden->label, hidden->line, hiddenVolumesFile()});
    }
  }
  const auto isMeant = [&](const WString& line) { return lines.count(line) != 0; };
  if (!context.options.dryRun && !dropLines(hiddenVolumesFile(), isMeant)) {
    return refuse({kFailed, whyNotWritten(hiddenVolumesFile())});
  }
  return changes.say(kDone);
}

// Saving and restoring.

WString absoluteFile(const std::string& file) { return absoluteFolder(Qx::WStringFromUTF8(file)); }

bool isFileGiven(const std::string& file) {
  if (!file.empty()) return true;
  complain("FILE is empty: a file's path was expected.");
  return false;
}

Exit save(Context& context, DriveList& list, const Arguments& arguments) {
  const Options& options = context.options;
  if (!isFileGiven(arguments.file)) return kUsage;
  if (!list.faults.empty()) return refuse({kFailed, list.faults[0] + "  Nothing was saved."});
  const WString file = absoluteFile(arguments.file);
  const auto exists = within<bool>(options.deadline(), file, [file] {
    std::error_code ignored;
    return std::filesystem::exists(Qx::UTF8FromWString(file), ignored);
  });
  if (!exists) return refuse({kIncomplete, notAnswering(file, options) + ".  Nothing was saved."});
  if (*exists && !options.yes) {
    return refuse({kRefused, printable(file) + " exists.  To replace it, say --yes"});
  }
  std::vector<std::string> lines;
  Changes changes(context);
  for (const Numbered& numbered : list.numbered) {
    const WString folder = withSeparator(numbered.path);
    lines.push_back(Qx::UTF8FromWString(folder));
    changes.add({"write", numbered.label, folder, file});
  }
  if (options.dryRun) return changes.say(kDone);
  const auto fault = writeLines(file, lines, options.deadline());
  if (!fault) {
    return refuse({kIncomplete, printable(file) +
                                    " stopped answering while it was written.  Look at its mount "
                                    "or server"});
  }
  return fault->empty() ? changes.say(kDone) : refuse({kFailed, *fault});
}

// The folders of the file; nothing, after saying why, when it is no list of folders.
std::optional<std::vector<WString>> foldersIn(const WString& file, std::string_view bytes) {
  std::vector<WString> folders;
  std::string problems;
  size_t number = 0;
  for (const WString& line : wideLinesOf(bytes)) {
    ++number;
    if (isBlank(line)) continue;
    const bool full = line.starts_with(L'/') && line.find(L'\0') == WString::npos;
    if (!full) {
      problems += printable(file) + ":" + std::to_string(number) +
                  ": the full path of a folder was expected, not \"" + printable(line) + "\"\n";
      continue;
    }
    folders.push_back(plainFolder(line));
  }
  if (problems.empty()) return folders;
  complain(problems + "Nothing was added.");
  return {};
}

struct Restored {
  WString folder;
  MaybeObjection contents;  // why it cannot be mounted now
};

// Which folders are to be added; nothing, after saying why, when --yes is missing.
std::optional<std::vector<Restored>> chooseRestored(const DriveList& list,
                                                    const std::vector<WString>& folders,
                                                    const Options& options) {
  DriveList planned = list;  // the file's own lines are in each other's way, too
  std::vector<Restored> chosen;
  for (const WString& folder : folders) {
    const auto objection = objectionToPlace(planned, folder, options);
    if (objection && objection->exit == kRefused) {
      complain(objection->text + "  Nothing was added.");
      return {};
    }
    if (objection) {
      remark(options, objection->text);
      continue;
    }
    chosen.push_back({folder, objectionToContents(folder, options)});
    Drive drive;
    drive.label = "#" + std::to_string(planned.numbered.size() + 1);
    drive.location = true;
    drive.path = folder;
    drive.name = stripPath(folder);
    if (!chosen.back().contents) drive.state.answer = host::VolumeState::Answer::kPresent;
    planned.numbered.push_back({drive.label, folder});
    planned.drives.push_back(std::move(drive));
  }
  return chosen;
}

Mounting mountingOf(const Restored& restored) {
  const bool hangs = restored.contents && restored.contents->exit == kIncomplete;
  return hangs ? Mounting::kLater : Mounting::kNow;
}

Exit restore(Context& context, DriveList& list, const Arguments& arguments) {
  const Options& options = context.options;
  if (!isFileGiven(arguments.file)) return kUsage;
  if (!list.faults.empty()) return refuse({kFailed, list.faults[0] + "  Nothing was added."});
  const WString file = absoluteFile(arguments.file);
  const auto text = readFileOrPipe(file, options.deadline());
  if (!text) return refuse({kIncomplete, notAnswering(file, options)});
  if (text->error != 0) {
    return refuse({text->error == ENOENT ? kNotFound : kFailed,
                   printable(file) + " could not be read: " + reasonNotRead(text->error) +
                       ".  \"miscdisc drives save FILE\" writes such a file."});
  }
  const auto folders = foldersIn(file, text->bytes);
  if (!folders) return kUsage;
  const auto chosen = chooseRestored(list, *folders, options);
  if (!chosen) return kRefused;
  if (chosen->empty()) return Changes(context).say(kDone);
  if (const auto objection = prepareSpace(options.dryRun)) return refuse(*objection);

  Changes changes(context);
  Exit exit = kDone;
  for (const Restored& restored : *chosen) {
    const WString& folder = restored.folder;
    if (const auto objection = addFolder(list, folder, mountingOf(restored), options, changes)) {
      complain(objection->text);
      return changes.say(objection->exit);
    }
    if (list.drives.back().present() || (options.dryRun && !restored.contents)) continue;
    complain(list.drives.back().label +
             (options.dryRun ? " would be listed, but not mounted: "
                             : " is listed, but could not be mounted: ") +
             (restored.contents ? restored.contents->text : printable(folder) + " was refused."));
    exit = kIncomplete;
  }
  return changes.say(exit);
}

}  // namespace

void addDriveLists(CLI::App& drives, Context& context, Command& chosen) {
  const auto arguments = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* help, auto run) {
    return addDriveCommand(
        drives, context, chosen, name, help,
        [&context, arguments, run](DriveList& list) { return run(context, list, *arguments); });
  };
  CLI::App* adding =
      add("add", "Make a folder a media location, for every machine of this space", addLocation);
  adding->add_option("FOLDER", arguments->folder, "Any folder")->required();
  adding->add_option("--name", arguments->name, "What people call it; makes the media folders")
      ->type_name("NAME");
  add("remove", "Take a location off the list, or hide a volume, for every machine of this space",
      removeDrive)
      ->add_option("DRIVE", arguments->drive, "Its id (E, '#1'), name or path")
      ->required();
  add("unhide", "Show hidden volumes again; without PATH, list them", unhide)
      ->add_option("PATH", arguments->hidden, "A hidden volume's path or letter");
  add("save", "Write the folders of all locations to a file", save)
      ->add_option("FILE", arguments->file, "A new file")
      ->required();
  add("restore", "Add the locations that a file lists", restore)
      ->add_option("FILE", arguments->file, "A folder per line, as \"drives save\" writes it")
      ->required();
}

}  // namespace console
