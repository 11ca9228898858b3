#include <set>

#include "console/commands.h"
#include "console/times.h"
#include "console/volumes.h"
#include "miscdisc/platform/fsys.h"

namespace console {
namespace {

struct Place {
  const CachedFolder* folder;
  const file_info* file;

  WString path() const {
    return FsysFilenameToWin32Filename(folder->directory->path + WString(file->nameView()));
  }
};

std::vector<Place> placesOf(const std::string& name, const std::vector<CachedFolder>& folders) {
  std::vector<Place> places;
  for (const CachedFolder& folder : folders) {
    // What was read before a failure counts; an absent volume is not read at all.
    if (!folder.present) continue;
    const file_info* file = folder.directory->find(Qx::WStringFromUTF8(name));
    if (file) places.push_back({&folder, file});
  }
  return places;
}

Json asJson(const std::vector<Place>& places) {
  Json files = Json::array();
  for (const Place& place : places) {
    Json file;
    addText(file, "name", WString(place.file->nameView()));
    file["volume"] = place.folder->drive;
    file["folder"] = place.folder->name;
    addText(file, "path", place.path());
    file["size"] = place.file->size;
    file["modified"] = rfc3339(place.file->modified);
    files.push_back(std::move(file));
  }
  return Json{{"schema", "miscdisc.find/1"}, {"files", std::move(files)}};
}

void show(Context& context, const std::vector<Place>& places) {
  const bool people = context.output.forPeople(context.options);
  std::vector<std::vector<std::string>> rows;
  for (const Place& place : places) {
    const uint64_t size = place.file->size;
    rows.push_back({printable(WString(place.file->nameView())), place.folder->drive,
                    place.folder->name, printable(place.path()),
                    people ? withUnit(size) : std::to_string(size),
                    when(place.file->modified, people)});
  }
  context.output.printTable(context.options,
                            {"NAME", "VOLUME", "FOLDER", "PATH", "SIZE", "MODIFIED"}, rows);
}

// A volume of this machine that is hidden may hold it.
void tellHidden(const DriveList& list, const Options& options) {
  std::set<std::string> labels;
  for (const HiddenVolume& hidden : list.hidden) {
    if (!hidden.label.empty()) labels.insert(hidden.label);
  }
  if (labels.empty()) return;
  std::string names;
  for (const std::string& label : labels) names += (names.empty() ? "" : ", ") + label;
  remark(options, "hidden here: " + names + "; \"miscdisc drives unhide " + *labels.begin() +
                      "\" shows it again");
}

Exit find(Context& context, const std::vector<std::string>& names, const std::string& label) {
  if (configurationIsBroken()) return kUsage;
  const DriveList list = enterConfiguredSpace(context.options);
  std::vector<Drive> volumes = list.drives;
  if (!label.empty()) {
    Exit exit;
    const Drive* drive = chooseDrive(list, label, context.options, exit);
    if (!drive) return exit == kNotFound ? kUsage : exit;
    volumes = {*drive};
  }
  for (const std::string& fault : list.faults) complain(fault);

  const auto folders = readVolumes(context.options, volumes);
  const bool complete = allRead(folders) && list.faults.empty();
  std::vector<Place> found;
  bool everyNameFound = true;
  for (const std::string& name : names) {
    const auto places = placesOf(name, folders);
    found.insert(found.end(), places.begin(), places.end());
    if (!places.empty()) continue;
    everyNameFound = false;
    complain(printable(name) + (complete ? " is nowhere" : " is nowhere that could be read") +
             ": not in Material or Sound of " + labelsOf(volumes) +
             ".  Names are compared exactly, with their extension; \"miscdisc status\" shows the "
             "drives.");
  }
  if (!everyNameFound && label.empty()) tellHidden(list, context.options);
  if (context.options.json) {
    context.output.printDocument(asJson(found));
  } else {
    show(context, found);
  }
  // What could not be read may hold the name, so "incomplete" is the honest answer then.
  if (!complete) return kIncomplete;
  return everyNameFound ? kDone : kNotFound;
}

}  // namespace

void addFind(CLI::App& app, Context& context, Command& chosen) {
  struct Arguments {
    std::vector<std::string> names;
    std::string volume;
  };
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("find", "Say where media files are");
  command->add_option("NAME", arguments->names, "A file's name, with its extension")->required();
  command
      ->add_option("--volume", arguments->volume,
                   "Look on this drive only: its id (E, '#1'), name or path")
      ->type_name("DRIVE");
  command->callback([&context, &chosen, arguments] {
    chosen = [&context, arguments] { return find(context, arguments->names, arguments->volume); };
  });
}

}  // namespace console
