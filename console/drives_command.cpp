// The drives themselves: which there are, and how much they take.
#include <algorithm>

#include "console/drives_commands.h"
#include "console/drives_view.h"
#include "console/new_name.h"
#include "console/tasks.h"
#include "host/places.h"
#include "host/settings.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/fsys.h"

namespace console {
namespace {

struct Arguments {
  std::vector<std::string> formats;
  std::string drive;
  bool hidden = false;
};

Exit listDrives(Context& context, const DriveList& list, const Arguments& arguments) {
  const auto formats = chooseFormats(arguments.formats);
  if (!formats) return kUsage;
  const auto views = viewsOf(list, *formats);
  if (context.options.json) {
    Json document{{"schema", "miscdisc.drives/1"}, {"drives", Json::array()}};
    for (const DriveView& view : views) document["drives"].push_back(asJson(view, *formats));
    if (arguments.hidden) document["hidden"] = asJson(list.hidden);
    context.output.printDocument(document);
  } else {
    const bool people = context.output.forPeople(context.options);
    std::vector<std::vector<std::string>> rows;
    for (const DriveView& view : views) rows.push_back(driveCells(view, people));
    for (const HiddenVolume& hidden : list.hidden) {
      if (arguments.hidden) rows.push_back(hiddenCells(hidden, *formats, people));
    }
    context.output.printTable(context.options, driveHeading(*formats, people), rows);
  }
  return reportProblems(list, context.options);
}

std::string kindOf(const Drive& drive) {
  if (drive.location) return "location";
  for (const auto& volume : host::settings()->volumes) {
    if (drive.label == std::string(1, volume.letter)) return "configured";
  }
  const bool own = drive.path == Qx::WStringFromUTF8(host::places().data + "/media");
  return own ? "own" : "discovered";
}

Exit exitFor(const Drive& drive, const Options& options) {
  if (drive.present()) return kDone;
  complain(problemOf(drive, options));
  return kIncomplete;
}

struct Details {
  DriveView view;
  Formats formats;
  WString network;
  std::optional<bool> prepared;
  std::vector<Task> tasks;
};

// Nothing when the settings' formats are not known.
std::optional<Details> detailsOf(const Drive& drive, const DriveList& list) {
  const auto chosen = chooseFormats({});
  if (!chosen) return {};
  Details details{viewOf(drive, host::recordingFormats()),
                  host::recordingFormats(),
                  FsysConvertLocalToUNC(drive.path),
                  {},
                  tasksOf(drive, list)};
  details.view.state = viewOf(drive, *chosen).state;  // that of the list
  if (drive.present()) details.prepared = FsysIsVolumePreparedForMedia(drive.id);
  return details;
}

Json asJson(const Details& details) {
  Json document{{"schema", "miscdisc.drive/1"}};
  document.update(asJson(details.view, details.formats));
  addText(document, "network", details.network);
  document["kind"] = kindOf(*details.view.drive);
  document["prepared"] = nullptr;
  if (details.prepared) document["prepared"] = *details.prepared;
  document["tasks"] = Json::array();
  for (const Task& task : details.tasks) document["tasks"].push_back(task.name);
  return document;
}

void show(Context& context, const Details& details) {
  const bool people = context.output.forPeople(context.options);
  const auto line = [&](const std::string& what, const std::string& text) {
    const std::string gap =
        people ? std::string(what.size() < 18 ? 18 - what.size() : 1, ' ') : "\t";
    context.output.print(what + gap + text + "\n");
  };
  const Drive& drive = *details.view.drive;
  // As config.toml writes shares: backslashes would be escaped.
  WString network = details.network;
  std::replace(network.begin(), network.end(), L'\\', L'/');
  line("drive", drive.label);
  line("name", printable(drive.name));
  line("stored name", drive.storedName ? printable(*drive.storedName) : "-");
  line("path", printable(drive.path));
  line("network path", printable(network));
  line("kind", kindOf(drive));
  line("prepared", details.prepared ? (*details.prepared ? "yes" : "no") : "-");
  line("state", details.view.state);
  line("free", bytesCell(drive, &VOLUME_INFO::freeBytes, people));
  line("capacity", bytesCell(drive, &VOLUME_INFO::totalBytes, people));
  for (const Task& task : details.tasks) line("task", printable(task.name));
  for (size_t i = 0; i < details.formats.size(); ++i) {
    line(details.formats[i].name, minutesCell(details.view.minutes[i], people));
  }
}

Exit showDrive(Context& context, const DriveList& list, const Arguments& arguments) {
  Exit exit;
  const Drive* drive = chooseDrive(list, arguments.drive, context.options, exit);
  if (!drive) return exit;
  const auto details = detailsOf(*drive, list);
  if (!details) return kUsage;
  if (context.options.json) {
    context.output.printDocument(asJson(*details));
  } else {
    show(context, *details);
  }
  if (details->prepared == false) {
    const std::string unprepared = whatIsUnprepared(*drive, context.options);
    if (!unprepared.empty()) remark(context.options, unprepared);  // another machine may be quick
  }
  return exitFor(*drive, context.options);
}

Exit bestDrive(Context& context, const DriveList& list, const Arguments& arguments) {
  const auto formats = chooseFormats(arguments.formats);
  if (!formats) return kUsage;
  reportProblems(list, context.options);  // which are not among those to choose from
  const MediaDrive* best = DiskManager::find_best_disk();
  if (!best) {
    complain(
        "there is no drive that could be asked, so none is the best.  \"miscdisc drives list\" "
        "shows what is known.");
    return kNotFound;
  }
  const DriveView view = viewOf(*driveWithId(list, best->driveId), *formats);
  if (context.options.json) {
    Json document{{"schema", "miscdisc.best/1"}};
    document.update(asJson(view, *formats));
    context.output.printDocument(document);
    return kDone;
  }
  const bool people = context.output.forPeople(context.options);
  context.output.printTable(context.options, driveHeading(*formats, people),
                            {driveCells(view, people)});
  return kDone;
}

}  // namespace

CLI::App* addDriveCommand(CLI::App& drives, Context& context, Command& chosen, const char* name,
                          const char* help, DriveCommand run) {
  CLI::App* command = drives.add_subcommand(name, help);
  command->callback([&context, &chosen, run = std::move(run)] {
    chosen = [&context, run] {
      if (configurationIsBroken()) return kUsage;
      DriveList list = enterConfiguredSpace(context.options);
      return run(list);
    };
  });
  return command;
}

void addDriveReading(CLI::App& drives, Context& context, Command& chosen) {
  const auto arguments = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* help, auto run) {
    return addDriveCommand(
        drives, context, chosen, name, help,
        [&context, arguments, run](DriveList& list) { return run(context, list, *arguments); });
  };
  const auto addFormats = [&](CLI::App* command) {
    command->add_option("--format", arguments->formats, "Minutes of this format; may be repeated")
        ->type_name("FORMAT")
        ->allow_extra_args(false);
  };
  CLI::App* listing = add("list", "Which drives there are, and how much they take", listDrives);
  addFormats(listing);
  listing->add_flag("--hidden", arguments->hidden, "Also the volumes that are hidden here");
  add("show", "Everything about one drive", showDrive)
      ->add_option("DRIVE", arguments->drive, "Its id (E, '#1'), name or path")
      ->required();
  addFormats(add("best", "The drive with the most free space", bestDrive));
}

void addDrives(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* drives = app.add_subcommand("drives", "Look at the media drives, or change them");
  drives->require_subcommand(1);
  addDriveReading(*drives, context, chosen);
  addDrivePlanning(*drives, context, chosen);
  addDriveNames(*drives, context, chosen);
  addDriveLists(*drives, context, chosen);
}

}  // namespace console
