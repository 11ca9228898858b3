// What is kept about one drive: its name, its media folders, and the tasks that use it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console/changes.h"
#include "console/drives_commands.h"
#include "console/drives_view.h"
#include "console/folders.h"
#include "console/new_name.h"
#include "console/tasks.h"
#include "host/state_file.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/paths.h"

namespace console {
namespace {

struct Arguments {
  std::string drive;
  std::string name;
  std::string task;
  std::string taskDrive;
  const CLI::Option* taskOption = nullptr;  // whether they were given: "" is no name
  const CLI::Option* taskDriveOption = nullptr;
  bool clear = false;
};

WString infoFileIn(const WString& folder) {
  return joinPaths(folder, L"Material/MediaSpaceInfo.txt");
}

bool hasControl(const WString& text) {
  return std::any_of(text.begin(), text.end(),
                     [](wchar_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); });
}

// state.toml is UTF-8.
bool isText(const WString& text) { return asUtf8(text) == Qx::UTF8FromWString(text); }

// As "E", or "#2".
bool readsLikeId(const WString& name) {
  if (name.size() == 1) return (name[0] | 0x20) >= L'a' && (name[0] | 0x20) <= L'z';
  return name.size() > 1 && name[0] == L'#' &&
         name.find_first_not_of(L"0123456789", 1) == WString::npos;
}

// The drive, if it is there now; null after saying what is wrong.
const Drive* chooseThere(const DriveList& list, const std::string& text, const Options& options,
                         Exit& exit) {
  const Drive* drive = chooseDrive(list, text, options, exit);
  if (!drive || drive->present()) return drive;
  exit = kIncomplete;
  complain(problemOf(*drive, options));
  return nullptr;
}

// Names.

Exit rename(Context& context, DriveList& list, const Arguments& arguments) {
  const WString name = Qx::WStringFromUTF8(arguments.name);
  if (!mayBeName(name)) return kUsage;
  Exit exit;
  const Drive* drive = chooseThere(list, arguments.drive, context.options, exit);
  if (!drive) return exit;
  if (!isFolder(joinPaths(drive->path, L"Material"), context.options.deadline())) {
    complain(printable(drive->path) +
             " has no folder \"Material\", where its name is kept.  Make it with: miscdisc drives "
             "prepare '" +
             drive->label + "'");
    return kFailed;
  }
  if (const std::string fault = whyNotNamed(drive->path, context.options); !fault.empty()) {
    complain(fault);
    return kFailed;
  }
  Changes changes(context);
  return changes.say(renameDrive(list, *drive, name, context.options, changes));
}

// Preparing.

Exit prepare(Context& context, DriveList& list, const Arguments& arguments) {
  Exit exit;
  const Drive* drive = chooseThere(list, arguments.drive, context.options, exit);
  if (!drive) return exit;
  Changes changes(context);
  return changes.say(makeMediaFolders(*drive, context.options, changes));
}

// Tasks.

Json asJson(const Task& task) {
  Json object;
  addText(object, "task", Qx::WStringFromUTF8(task.name));
  object["drive"] = nullptr;
  if (task.drive) object["drive"] = task.drive->label;
  addText(object, "path", task.path);
  return object;
}

void tellIfGone(const Task& task) {
  if (task.drive) return;
  complain("the task " + printable(task.name) + " is to use " + printable(task.path) +
           ", which is no drive now.  Choose one with: miscdisc drives task \"" +
           printable(task.name) + "\" DRIVE");
}

Exit listTasks(Context& context, const std::vector<Task>& tasks) {
  for (const Task& task : tasks) tellIfGone(task);
  if (context.options.json) {
    Json document{{"schema", "miscdisc.tasks/1"}, {"tasks", Json::array()}};
    for (const Task& task : tasks) document["tasks"].push_back(asJson(task));
    context.output.printDocument(document);
    return kDone;
  }
  std::vector<std::vector<std::string>> rows;
  for (const Task& task : tasks) {
    rows.push_back({printable(task.name), task.drive ? task.drive->label : "-",
                    task.drive ? printable(task.drive->name) : "no drive now",
                    printable(task.path)});
  }
  context.output.printTable(context.options, {"TASK", "DRIVE", "NAME", "PATH"}, rows);
  if (rows.empty()) {
    remark(context.options,
           "no task has a drive of its own: each uses the one with the most space.  \"miscdisc "
           "drives task TASK DRIVE\" chooses one");
  }
  return kDone;
}

// The drive that the program would take for the task now.
Exit showTask(Context& context, const DriveList& list, const std::string& name) {
  const auto tasks = allTasks(list);
  const auto stored =
      std::find_if(tasks.begin(), tasks.end(), [&](const Task& task) { return task.name == name; });
  const MediaDrive* own = DiskManager::getDriveForTask(name.c_str(), false);
  const MediaDrive* used = DiskManager::getDriveForTask(name.c_str(), true);
  const Drive* drive = used ? driveWithId(list, used->driveId) : nullptr;
  reportProblems(list, context.options);  // which are not among those to choose from
  if (stored != tasks.end()) tellIfGone(*stored);
  if (!drive) {
    complain("there is no drive for the task " + printable(name) + ".");
    return kNotFound;
  }
  const std::string why = own ? "set" : "the best, as none is set";
  const std::string instead = own || stored == tasks.end() ? why : "the best, instead of its own";
  if (context.options.json) {
    Json document{{"schema", "miscdisc.task/1"}};
    addText(document, "task", Qx::WStringFromUTF8(name));
    document["drive"] = drive->label;
    addText(document, "path", drive->path);
    document["best"] = own == nullptr;
    document["stored"] = nullptr;
    if (stored != tasks.end()) addText(document, "stored", stored->path);
    context.output.printDocument(document);
  } else {
    context.output.printTable(
        context.options, {"TASK", "DRIVE", "NAME", "CHOICE", "PATH"},
        {{printable(name), drive->label, printable(drive->name), instead, printable(drive->path)}});
  }
  return kDone;
}

Exit storeTask(Context& context, const Drive* drive, const std::string& name) {
  host::StateFile& state = host::StateFile::instance();
  const std::string key = "Media Location (" + name + ")";
  const auto stored = [&] { return state.value("Preferences", key); };
  const WString file = Qx::WStringFromUTF8(state.path());
  Changes changes(context);
  const auto before = stored();
  if (!drive && !before) {
    remark(context.options, "nothing is set for the task " + printable(name) + ".");
    return changes.say(kDone);
  }
  if (!context.options.dryRun) {
    DiskManager::setDriveForTask(name.c_str(), drive ? &mediaDrive(*drive) : nullptr);
    const auto expected = drive ? std::optional(Qx::UTF8FromWString(drive->path)) : std::nullopt;
    if (stored() != expected) {
      complain(whyNotWritten(file));
      return kFailed;
    }
  }
  if (drive) {
    changes.add({"set", drive->label, drive->path, file, {}, name});
  } else {
    changes.add({"clear", {}, Qx::WStringFromUTF8(*before), file, {}, name});
  }
  return changes.say(kDone);
}

Exit task(Context& context, DriveList& list, const Arguments& arguments) {
  if (arguments.taskOption->empty() && !arguments.clear) {
    for (const std::string& fault : list.faults) complain(fault);
    return listTasks(context, allTasks(list));
  }
  const WString name = Qx::WStringFromUTF8(arguments.task);
  if (name.empty() || hasControl(name) || !isText(name)) {
    complain(
        "a task's name was expected, in UTF-8 and without control characters, such as Capture.");
    return kUsage;
  }
  if (arguments.clear && !arguments.taskDriveOption->empty()) {
    complain("--clear forgets the drive of a task: no DRIVE was expected with it.");
    return kUsage;
  }
  if (arguments.clear) return storeTask(context, nullptr, arguments.task);
  if (arguments.taskDriveOption->empty()) return showTask(context, list, arguments.task);
  Exit exit;
  const Drive* drive = chooseThere(list, arguments.taskDrive, context.options, exit);
  return drive ? storeTask(context, drive, arguments.task) : exit;
}

}  // namespace

bool mayBeName(const WString& name) {
  if (!hasControl(name)) return true;
  complain("a name without line ends and other control characters was expected, not \"" +
           printable(name) + "\".");
  return false;
}

std::string whyNotNamed(const WString& folder, const Options& options) {
  const auto mayWrite = [](const WString& path) {
    return faccessat(AT_FDCWD, Qx::UTF8FromWString(path).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
  };
  const WString material = joinPaths(folder, L"Material");
  const bool prepared = isFolder(material, options.deadline());
  const auto fault = within<std::string>(options.deadline(), prepared ? material : folder, [=] {
    if (mayWrite(prepared ? material : folder)) return std::string();
    if (prepared) return whyNotWritten(infoFileIn(folder));
    return printable(folder) + ": its media folders, where its name is kept, could not be made: " +
           std::strerror(errno) + ".  Check its rights with ls -ld";
  });
  return fault.value_or(printable(folder) + " is not answering");
}

std::string whatIsUnprepared(const Drive& drive, const Options& options) {
  const auto lacks = [&](const wchar_t* name) {
    return !isFolder(joinPaths(drive.path, name), options.deadline());
  };
  const bool material = lacks(L"Material"), sound = lacks(L"Sound");
  if (!material && !sound) return {};
  const char* what = !sound      ? " \"Material\""
                     : !material ? " \"Sound\""
                                 : "s \"Material\" and \"Sound\"";
  return called(drive) + " has no folder" + what + " yet: miscdisc drives prepare '" + drive.label +
         "'";
}

Exit makeMediaFolders(const Drive& drive, const Options& options, Changes& changes) {
  std::vector<WString> missing;
  for (const wchar_t* name : {L"Material", L"Sound"}) {
    const WString folder = joinPaths(drive.path, name);
    if (!isFolder(folder, options.deadline())) missing.push_back(folder);
  }
  if (missing.empty()) {
    remark(options, called(drive) + " is prepared for media already.");
    return kDone;
  }
  Exit exit = kDone;
  if (!options.dryRun) {
    const MediaDrive prepared(&mediaDrive(drive));
    forgetVolumesBut(drive.id);
    if (!prepared.prepareForMedia()) exit = kFailed;
  }
  for (const WString& folder : missing) {
    if (options.dryRun || isFolder(folder, options.deadline())) {
      changes.add({"make", drive.label, folder, {}});
    } else {
      complain(printable(folder) + " could not be made.  Check the rights of " +
               printable(drive.path) + " with ls -ld, and that nothing else has that name.");
    }
  }
  return exit;
}

Exit renameDrive(const DriveList& list, const Drive& drive, const WString& name,
                 const Options& options, Changes& changes) {
  const WString file = infoFileIn(drive.path);
  for (const Drive& other : list.drives) {
    if (&other != &drive && !name.empty() && other.name == name) {
      remark(options,
             called(other) + " has that name too: they can be told apart by their ids only.");
    }
  }
  if (readsLikeId(name)) {
    remark(options, "the name " + printable(name) +
                        " reads like an id, and means the drive with that id wherever one is "
                        "chosen.");
  }
  if (name == L"Unnamed") {
    remark(options, "a drive that is named Unnamed goes by its path, like one without a name.");
  }
  if (!options.dryRun) {
    if (!DiskManager::renameMediaLocation(mediaDrive(drive), name)) {
      complain(called(drive) + " has no free space, so its name could not be kept there.");
      return kFailed;
    }
    if (DiskManager::getMediaLocationUserName(drive.id) != name) {
      complain(whyNotWritten(file));
      return kFailed;
    }
  }
  changes.add({"rename", drive.label, drive.path, file, name});
  return kDone;
}

void addDriveNames(CLI::App& drives, Context& context, Command& chosen) {
  const auto arguments = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* help, auto run) {
    return addDriveCommand(
        drives, context, chosen, name, help,
        [&context, arguments, run](DriveList& list) { return run(context, list, *arguments); });
  };
  const auto addDrive = [&](CLI::App* command) {
    command->add_option("DRIVE", arguments->drive, "Its id (E, '#1'), name or path")->required();
  };
  CLI::App* renaming = add("rename", "Give a drive another name", rename);
  addDrive(renaming);
  renaming->add_option("NAME", arguments->name, "\"\" takes the name away")->required();
  addDrive(add("prepare", "Make a drive's media folders", prepare));
  CLI::App* tasks = add("task", "Which drive a task uses, such as Capture", task);
  arguments->taskOption = tasks->add_option("TASK", arguments->task, "All tasks unless given");
  arguments->taskDriveOption =
      tasks->add_option("DRIVE", arguments->taskDrive, "Use this one from now on");
  tasks->add_flag("--clear", arguments->clear, "Use the drive with the most space again");
}

}  // namespace console
