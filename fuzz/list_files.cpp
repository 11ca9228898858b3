// A list of drives, as people and other machines have left it: read and edited as a file, mounted
// as media locations, and as the list of what a space hides.  A "./" at the start of a line stands
// for the home's folder.
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/list_files.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/project_folders.h"

namespace {

using fuzz::claim;
using Lines = std::vector<String>;

void makeFolders() {
  for (const char* folder : {"e/Material", "e/Sound", "a/Material", "b", "Rushes B"}) {
    fuzz::makeFolderInHome(folder);
  }
  fuzz::makeFolderInHome("projects");
  fuzz::settleVolume();
  setLocalProjectsDir(fuzz::wideFileInHome("projects/"));
}

std::string withHome(std::string_view bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool starts = i == 0 || bytes[i - 1] == '\n';
    const bool stands = starts && bytes.substr(i).starts_with("./");
    stands ? text += fuzz::home() : text += bytes[i];
  }
  return text;
}

Lines linesOf(const TextFile& file) {
  Lines lines;
  for (size_t i = 0; i < file.getNumLines(); ++i) lines.push_back(file[i]);
  return lines;
}

// Some editors write a mark at the start and two characters at a line's end; a file that is saved
// may lose another one of them.
Lines withoutMarks(Lines lines) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  for (String& line : lines) line.erase(line.find_last_not_of('\r') + 1);
  while (!lines.empty() && lines[0].starts_with(kMark)) lines[0].erase(0, kMark.size());
  return lines;
}

void edit(const std::string& bytes) {
  fuzz::writeInHome("list.txt", bytes);
  TextFile list(fuzz::wideFileInHome("list.txt"), true);
  size_t size = 0;
  for (const String& line : linesOf(list)) {
    claim(line.find('\n') == line.npos, "a line holds no line end");
    size += line.size() + 1;
  }
  claim(size <= bytes.size() + 1, "lines are no longer than their file");

  const size_t middle = list.getNumLines() / 2;
  list.appendLine("/mnt/appended/");
  list.removeLine(middle);
  claim(list.save(WString(), TextFile::eLF), "a list can be saved");
  const TextFile again(fuzz::wideFileInHome("list.txt"), true);
  claim(withoutMarks(linesOf(again)) == withoutMarks(linesOf(list)), "a saved list reads the same");
}

std::multiset<WString> locations() {
  std::multiset<WString> found;
  for (unsigned short i = 0; const MediaDrive* drive = DiskManager::get_drive(i); ++i) {
    if (drive->driveId > L'Z') found.insert(drive->getLocation());
  }
  return found;
}

void mount(const std::string& bytes) {
  fuzz::writeInHome("list.txt", bytes);
  const size_t lines = TextFile(fuzz::wideFileInHome("list.txt"), true).getNumLines();
  DiskManager::AddDrivesFromFile(fuzz::wideFileInHome("list.txt"));
  const auto mounted = locations();
  claim(mounted.size() <= lines, "a line makes one drive at most");

  fuzz::writeInHome("unmounted.txt", "");
  DiskManager::UnmountDrives(fuzz::fileInHome("unmounted.txt").c_str());
  claim(locations().empty(), "no location stays when all are unmounted");
  DiskManager::AddDrivesFromFile(fuzz::wideFileInHome("unmounted.txt"));
  claim(locations() == mounted, "what was unmounted can be mounted again");
  DiskManager::UnmountDrives(nullptr);
}

void addAndRemove(const std::string& bytes) {
  fuzz::writeInHome("projects/DefNetDrive.txt", bytes);
  const Lines before = linesOf(TextFile(mediaLocationsFile(), true));
  const WString folder = fuzz::wideFileInHome("b/");
  claim(DiskManager::addMediaLocation(folder), "a folder that is no drive can be added");
  const Lines added = linesOf(TextFile(mediaLocationsFile(), true));
  claim(added.size() == before.size() + 1 && added.back() == Qx::UTF8FromWString(folder),
        "an added location is the last line");
  claim(DiskManager::removeMediaLocation(folder), "an added location can be removed");
  const Lines left = linesOf(TextFile(mediaLocationsFile(), true));
  claim(left.size() < added.size(), "a removed location has no line for it any more");
}

void hide(const std::string& bytes) {
  fuzz::writeInHome("projects/UnmountedDrives.txt", bytes);
  bool hidden = false;
  const TextFile list(hiddenVolumesFile(), true);
  for (size_t i = 0; i < walkedLines(list); ++i) {
    hidden = hidden || list[i] == fuzz::fileInHome("e/");
  }
  DiskManager::deInit();
  DiskManager::get_valid_drives();
  claim((DiskManager::get_drive_with_id(L'E') == nullptr) == hidden,
        "a volume is hidden when a line is its location");
  fuzz::writeInHome("projects/UnmountedDrives.txt", "");
  if (hidden) FsysReInitialize(false);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  [[maybe_unused]] static const bool made = (makeFolders(), true);
  const std::string bytes = withHome({reinterpret_cast<const char*>(data), size});
  edit(bytes);
  DiskManager::init();
  mount(bytes);
  addAndRemove(bytes);
  hide(bytes);
  fuzz::forgetLog();
  return 0;
}
