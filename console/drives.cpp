#include "console/drives.h"

#include <fmt/core.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <map>
#include <set>
#include <unordered_map>

#include "console/folders.h"
#include "console/space.h"
#include "console/text_files.h"
#include "host/settings.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/list_files.h"
#include "miscdisc/media/recording_space.h"
#include "miscdisc/media/volume_path.h"
#include "miscdisc/platform/paths.h"

namespace console {
namespace {

using Answer = host::VolumeState::Answer;

constexpr double kBytesPerGibibyte = 1073741824.0;
constexpr uint32_t kNoRoom = 0xFFFFFFFF;

std::vector<wchar_t> allVolumes() {
  std::vector<wchar_t> ids;
  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    ids.push_back(id);
  }
  return ids;
}

std::string letterOf(wchar_t id) { return Qx::UTF8FromWString(WString(1, id)); }

// The library looks at the first lines only, and compares exactly.
std::vector<HiddenVolume> forgetHidden(const std::vector<WString>& lines) {
  std::vector<HiddenVolume> hidden;
  std::set<WString> seen;
  const size_t looked = std::min<size_t>(lines.size(), UINT16_MAX);
  for (size_t i = 0; i < looked; ++i) {
    if (!isBlank(lines[i]) && seen.insert(lines[i]).second) hidden.push_back({"", lines[i]});
  }
  for (wchar_t id : allVolumes()) {
    const WString location = withSeparator(volumePath(id));
    const auto entry = std::find_if(hidden.begin(), hidden.end(),
                                    [&](const HiddenVolume& h) { return h.line == location; });
    if (entry == hidden.end()) continue;
    entry->label = letterOf(id);
    FsysDeleteMaterialVolume(id);
  }
  return hidden;
}

// Looking.

bool canBeFolder(const WString& path) {
  return path.starts_with(L'/') && path.find(L'\0') == WString::npos;
}

// A drive answers when its folder does, and "Material" and "Sound" in it: each may be a mount of
// its own.
constexpr const wchar_t* kMediaFolders[] = {L"Material", L"Sound"};

void combine(host::VolumeState& state, const host::VolumeState& media) {
  if (media.answer != Answer::kNotAnswering) return;
  state.answer = Answer::kNotAnswering;
  state.age = media.age;
}

void appendMediaFolders(std::vector<std::string>& asked, const WString& folder) {
  for (const wchar_t* name : kMediaFolders) {
    asked.push_back(Qx::UTF8FromWString(joinPaths(folder, name)));
  }
}

std::vector<host::VolumeState> askListed(const std::vector<Listed>& folders,
                                         std::chrono::milliseconds deadline) {
  std::vector<WString> asked;
  for (const Listed& listed : folders) {
    if (canBeFolder(listed.folder)) asked.push_back(listed.folder);
  }
  const auto answers = askDriveFolders(asked, deadline);
  std::vector<host::VolumeState> states;
  auto answer = answers.begin();
  for (const Listed& listed : folders) {
    states.push_back(canBeFolder(listed.folder) ? *answer++ : host::VolumeState());
  }
  return states;
}

std::map<wchar_t, host::VolumeState> askLettered(std::chrono::milliseconds deadline) {
  const std::vector<wchar_t> ids = allVolumes();
  std::vector<std::string> media;
  for (wchar_t id : ids) appendMediaFolders(media, volumePath(id));
  auto asked = std::async(std::launch::async, host::askFolders, media, deadline);
  auto states = host::askVolumes(deadline);
  const auto answers = asked.get();
  auto answer = answers.begin();
  for (wchar_t id : ids) {
    for ([[maybe_unused]] const wchar_t* name : kMediaFolders) combine(states[id], *answer++);
  }
  return states;
}

void readName(Drive& drive) {
  const WString stored = DiskManager::getMediaLocationUserName(drive.id);
  if (!stored.empty()) drive.storedName = stored;
}

Drive letteredDrive(wchar_t id, const host::VolumeState& state) {
  Drive drive;
  drive.label = letterOf(id);
  drive.id = id;
  drive.path = volumePath(id);
  drive.state = state;
  drive.name = drive.path;
  if (!drive.present()) return drive;
  readName(drive);
  drive.name = DiskManager::add_drive(id, drive.storedName.value_or(WString()))->getUserName(false);
  return drive;
}

WString withoutSeparator(WString folder) {
  while (folder.size() > 1 && folder.back() == L'/') folder.pop_back();
  return folder;
}

// The folder's own name, which is what a location goes by that has none.
WString ownName(const WString& folder) { return stripPath(withoutSeparator(folder)); }

void mount(Drive& drive) {
  const WString& line = drive.lines.front();
  if (!DiskManager::addDriveForMediaLocation(line)) {
    drive.state.answer = Answer::kAbsent;
    return;
  }
  unsigned short last = 0;
  while (DiskManager::get_drive(last + 1U)) ++last;
  const MediaDrive* added = DiskManager::get_drive(last);
  drive.id = added->driveId;
  drive.name = added->getUserName(false);
  // Under its own name, or none, a folder may have none stored: only the file tells.
  if (added->name.empty() || added->name == ownName(line)) {
    readName(drive);
  } else {
    drive.storedName = added->name;
  }
}

// The drive that has this folder already, by spelling or as the file system knows it.
class KnownFolders {
 public:
  explicit KnownFolders(std::chrono::milliseconds deadline) : deadline_(deadline) {}

  void add(const Drive& drive, size_t index) {
    spelled_[plainFolder(drive.path)] = index;
    if (!drive.present()) return;
    if (const auto id = idOf(drive.path, deadline_)) byId_.push_back({*id, index});
  }

  std::optional<size_t> find(const WString& folder, bool present) const {
    const auto spelled = spelled_.find(folder);
    if (spelled != spelled_.end()) return spelled->second;
    const auto id = present ? idOf(folder, deadline_) : std::nullopt;
    if (!id) return {};
    for (const auto& [known, index] : byId_) {
      if (known == *id) return index;
    }
    return {};
  }

 private:
  std::chrono::milliseconds deadline_;
  std::unordered_map<WString, size_t> spelled_;
  std::vector<std::pair<FolderId, size_t>> byId_;
};

// Every folder of the list takes a number, also while it cannot be mounted, and also when it is a
// lettered volume's: the numbers of the others stay what they are.  Only another name of a location
// that is there takes none.
void addLocations(DriveList& list, const std::vector<Listed>& folders,
                  const std::vector<host::VolumeState>& states,
                  std::chrono::milliseconds deadline) {
  KnownFolders known(deadline);
  for (size_t i = 0; i < list.drives.size(); ++i) known.add(list.drives[i], i);
  for (size_t i = 0; i < folders.size(); ++i) {
    const Listed& listed = folders[i];
    const bool present = states[i].answer == Answer::kPresent;
    if (const auto same = known.find(listed.folder, present)) {
      Drive& drive = list.drives[*same];
      drive.lines.insert(drive.lines.end(), listed.lines.begin(), listed.lines.end());
      if (!drive.location)
        list.numbered.push_back({drive.label, withoutSeparator(listed.lines[0])});
      continue;
    }
    Drive drive;
    drive.label = "#" + std::to_string(list.numbered.size() + 1);
    drive.location = true;
    drive.path = withoutSeparator(listed.lines.front());
    drive.name = ownName(drive.path);
    drive.state = states[i];
    drive.lines = listed.lines;
    list.numbered.push_back({drive.label, drive.path});
    if (present) mount(drive);
    known.add(drive, list.drives.size());
    list.drives.push_back(std::move(drive));
  }
}

std::vector<const Drive*> matching(const DriveList& list,
                                   const std::function<bool(const Drive&)>& matches) {
  std::vector<const Drive*> found;
  for (const Drive& drive : list.drives) {
    if (matches(drive)) found.push_back(&drive);
  }
  return found;
}

std::string namesOf(const std::vector<const Drive*>& drives) {
  std::string names;
  for (const Drive* drive : drives) names += (names.empty() ? "" : ", ") + called(*drive);
  return names;
}

std::string upperLetter(std::string label) {
  const bool letter = label.size() == 1 && label[0] >= 'a' && label[0] <= 'z';
  if (letter) label[0] = static_cast<char>(label[0] - 'a' + 'A');
  return label;
}

}  // namespace

bool configurationIsBroken() {
  const std::string problem = host::settingsProblem();
  if (problem.empty()) return false;
  complain(problem + "\nNothing was done.  Mend the file, or move it away, and try again.");
  return true;
}

std::vector<host::VolumeState> askDriveFolders(const std::vector<WString>& folders,
                                               std::chrono::milliseconds deadline) {
  std::vector<std::string> asked;
  for (const WString& folder : folders) {
    asked.push_back(Qx::UTF8FromWString(folder));
    appendMediaFolders(asked, folder);
  }
  const auto answers = host::askFolders(asked, deadline);
  std::vector<host::VolumeState> states;
  auto answer = answers.begin();
  while (states.size() < folders.size()) {
    states.push_back(*answer++);
    for ([[maybe_unused]] const wchar_t* name : kMediaFolders) combine(states.back(), *answer++);
  }
  return states;
}

FolderList readFolderList(const WString& file, std::chrono::milliseconds deadline) {
  const auto text = readPlainFile(file, deadline);
  if (!text) {
    return {{},
            printable(file) +
                " is on a mount that does not answer, so what it lists is not known.  Try again "
                "with --timeout 5, or look at the mount."};
  }
  if (text->error == 0) return {wideLinesOf(text->bytes), {}};
  if (text->error == ENOENT) return {};
  return {{},
          printable(file) + " could not be read (" + reasonNotRead(text->error) +
              "), so what it lists is not known.  Look at it with ls -ld."};
}

DriveList enterConfiguredSpace(const Options& options) {
  const auto deadline = options.deadline();
  host::keepVolumeLetters(false);
  host::setVolumeDeadline(deadline);
  workInConfiguredSpace();

  DriveList list;
  const FolderList hidden = readFolderList(hiddenVolumesFile(), deadline);
  const FolderList locations = readFolderList(mediaLocationsFile(), deadline);
  for (const std::string& fault : {hidden.fault, locations.fault}) {
    if (!fault.empty()) list.faults.push_back(fault);
  }
  list.hidden = forgetHidden(hidden.lines);

  const std::vector<Listed> folders = distinctFolders(locations.lines);
  auto asked = std::async(std::launch::async, askLettered, deadline);
  const auto states = askListed(folders, deadline);
  const auto volumes = asked.get();
  for (wchar_t id : allVolumes()) {
    const auto state = volumes.find(id);
    if (state != volumes.end()) list.drives.push_back(letteredDrive(id, state->second));
  }
  addLocations(list, folders, states, deadline);
  return list;
}

std::string problemOf(const Drive& drive, const Options& options) {
  const std::string path = printable(drive.path);
  switch (drive.state.answer) {
    case Answer::kPresent:
      return {};
    case Answer::kAbsent:
      if (drive.location) {
        return "drive " + drive.label + " is not present: " + path +
               " is no folder that could be mounted.  Mount it, or take it off the list with: "
               "miscdisc drives remove '" +
               drive.label + "'";
      }
      return "drive " + drive.label + " is not present: " + path +
             " is no folder.  Mount it, change [volumes] in config.toml, or hide it with: miscdisc "
             "drives remove " +
             drive.label;
    case Answer::kNotAnswering:
      break;
  }
  return fmt::format(
      "drive {} is not answering: nothing came from {} in {:g} s.  Look at its mount or server, or "
      "wait longer, for example with --timeout 5",
      drive.label, path, options.timeout);
}

std::vector<const Drive*> drivesMeant(const DriveList& list, const std::string& text,
                                      const Options& options) {
  const WString wanted = Qx::WStringFromUTF8(text);
  auto found = matching(list, [&](const Drive& d) { return d.label == upperLetter(text); });
  if (!found.empty() || text.empty()) return found;
  found = matching(list, [&](const Drive& d) { return d.name == wanted; });
  if (!found.empty()) return found;
  found =
      matching(list, [&](const Drive& d) { return Qx::compareCaseInsensitive(d.name, wanted); });
  if (!found.empty()) return found;

  const WString folder = absoluteFolder(wanted);
  found = matching(list, [&](const Drive& d) { return plainFolder(d.path) == folder; });
  if (!found.empty()) return found;
  found =
      matching(list, [&](const Drive& d) { return isSameSpelling(plainFolder(d.path), folder); });
  if (!found.empty()) return found;
  const auto id = idOf(folder, options.deadline());
  if (!id) return {};
  return matching(
      list, [&](const Drive& d) { return d.present() && idOf(d.path, options.deadline()) == id; });
}

const Drive* chooseDrive(const DriveList& list, const std::string& text, const Options& options,
                         Exit& exit) {
  const auto meant = drivesMeant(list, text, options);
  if (meant.size() == 1) return meant[0];
  exit = kNotFound;
  if (meant.size() > 1) {
    complain(printable(text) + " may be any of " + namesOf(meant) +
             ".  Say which one by its id or path.");
    return nullptr;
  }
  const std::string path = Qx::UTF8FromWString(absoluteFolder(Qx::WStringFromUTF8(text)));
  const auto answer = host::askFolders({path}, options.deadline()).front().answer;
  if (answer == Answer::kNotAnswering) {
    exit = kIncomplete;
    complain(printable(path) +
             " is not answering, so it is not known which drive it is.  Say its id, or wait "
             "longer, for example with --timeout 5");
    return nullptr;
  }
  const std::string names = namesOf(matching(list, [](const Drive&) { return true; }));
  complain("there is no drive " + printable(text) + ".  " +
           (names.empty() ? "No drive is known here." : "The drives are " + names + "."));
  for (const std::string& fault : list.faults) {
    exit = kIncomplete;
    complain(fault);
  }
  return nullptr;
}

const Drive* driveWithId(const DriveList& list, wchar_t id) {
  const auto found = matching(list, [&](const Drive& drive) { return drive.id == id; });
  return id == 0 || found.empty() ? nullptr : found[0];
}

MediaDrive& mediaDrive(const Drive& drive) { return *DiskManager::get_drive_with_id(drive.id); }

void forgetVolumesBut(wchar_t kept) {
  for (wchar_t id : allVolumes()) {
    if (id == kept) continue;
    FsysDeleteMaterialVolume(id);
    if (const MediaDrive* drive = DiskManager::get_drive_with_id(id)) {
      DiskManager::removeDrive(MediaDrive(drive));
    }
  }
}

std::string called(const Drive& drive) { return drive.label + " (" + printable(drive.name) + ")"; }

double bytesPerMinute(const host::RecordingFormat& format) {
  return kBytesPerGibibyte / getMinutesPerGigabyte(format.format, format.shot);
}

std::optional<uint32_t> minutesLeft(const Drive& drive, const host::RecordingFormat& format) {
  if (!drive.present()) return {};
  const uint32_t minutes =
      DiskManager::get_mins_of_recording_left(mediaDrive(drive), bytesPerMinute(format), 0);
  return minutes == kNoRoom ? std::nullopt : std::optional(minutes);
}

std::optional<bool> isFull(const Drive& drive) {
  if (!drive.present()) return {};
  return DiskManager::getSpaceForRecording(mediaDrive(drive)) <= 0;
}

}  // namespace console
