#include <algorithm>

#include "miscdisc/platform/directory.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/fakes/fake_platform.h"

namespace {

constexpr const wchar_t* kServer = L"\\\\fake";
constexpr const wchar_t* kMediaFolders[] = {L"/Material", L"/Sound"};
constexpr wchar_t kFirstMounted = 0xE031;
constexpr uint64_t kMountedSpace = 1024 * 1024 * 1024;

WString withSeparator(WString folder) {
  while (folder.ends_with(L'/')) folder.pop_back();
  return folder + L'/';
}

WString replaceAll(WString text, wchar_t what, wchar_t with) {
  std::replace(text.begin(), text.end(), what, with);
  return text;
}

// Whether a comes before b in the walk.
bool isBefore(wchar_t a, wchar_t b) { return fakePlatform().walksBackwards ? a > b : a < b; }

bool storeNext(const wchar_t* after, wchar_t* id) {
  const FakePlatform::Volume* next = nullptr;
  for (const FakePlatform::Volume& volume : fakePlatform().volumes) {
    if (after && !isBefore(*after, volume.id)) continue;
    if (!next || isBefore(volume.id, next->id)) next = &volume;
  }
  if (next) *id = next->id;
  return next != nullptr;
}

bool isPresent(const FakePlatform::Volume* volume) {
  return volume && volume->present && volume->answers &&
         volume->presentFrom <= fakePlatform().clock && fakePlatform().has(volume->folder);
}

bool isFolder(const WString& path) {
  return fakePlatform().has(path) && !fakePlatform().file(path);
}

bool isVolume(const WString& folder) {
  const auto& volumes = fakePlatform().volumes;
  return std::any_of(volumes.begin(), volumes.end(),
                     [&](const auto& volume) { return volume.folder == folder; });
}

void note(const String& call, const WString& about) {
  fakePlatform().note(call + " " + Qx::UTF8FromWString(about));
}

}  // namespace

bool FsysGetFirstMaterialVolume(wchar_t* id) {
  note("FsysGetFirstMaterialVolume", L"");
  return storeNext(nullptr, id);
}

bool FsysGetNextMaterialVolume(wchar_t* id) {
  note("FsysGetNextMaterialVolume", WString(1, *id));
  return storeNext(id, id);
}

bool FsysIsVolumePresent(wchar_t id) {
  ++fakePlatform().presenceAsked[id];
  return isPresent(fakePlatform().volume(id));
}

bool FsysGetVolInfo(wchar_t id, VOLUME_INFO* info) {
  fakePlatform().measured += id;
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  if (volume && !volume->answers) *info = volume->space;
  if (!isPresent(volume)) return false;
  *info = volume->space;
  return true;
}

const WString& FsysGetMaterialVolumeName(wchar_t id, WString& path, bool) {
  std::vector<WString>& once = fakePlatform().pathsGivenOnce;
  if (!once.empty()) {
    path = once.front();
    once.erase(once.begin());
    return path;
  }
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  return path = volume ? volume->folder : WString();
}

WString FsysFilenameToWin32Filename(const WString& path) {
  if (path.size() < 3 || path[1] != L':' || path[2] != L'/') return path;
  const FakePlatform::Volume* volume = fakePlatform().volume(path[0]);
  return volume ? volume->folder + path.substr(2) : path;
}

WString FsysConvertLocalToUNC(const WString& path) {
  const WString native = FsysFilenameToWin32Filename(path);
  return native.starts_with(L"/") ? kServer + replaceAll(native, L'/', L'\\') : path;
}

WString FsysConvertUNCtoFsysFilename(const WString& path) {
  if (!path.starts_with(kServer + WString(L"\\"))) return path;
  const WString native = replaceAll(path.substr(6), L'\\', L'/');
  const FakePlatform::Volume* closest = nullptr;
  for (const FakePlatform::Volume& volume : fakePlatform().volumes) {
    const bool inside = withSeparator(native).starts_with(volume.folder + L'/');
    if (!inside || (closest && volume.folder.size() <= closest->folder.size())) continue;
    closest = &volume;
  }
  if (!closest) return native;
  const WString rest = native.substr(closest->folder.size());
  return closest->id + (L":" + (rest.empty() ? L"/" : rest));
}

bool FsysIsVolumePreparedForMedia(wchar_t id) {
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  return isPresent(volume) &&
         std::all_of(std::begin(kMediaFolders), std::end(kMediaFolders),
                     [&](const wchar_t* name) { return isFolder(volume->folder + name); });
}

bool FsysPrepareVolumeForMedia(wchar_t id) {
  note("FsysPrepareVolumeForMedia", WString(1, id));
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  if (!isPresent(volume)) return false;
  for (const wchar_t* name : kMediaFolders) fakePlatform().addFolder(volume->folder + name);
  return FsysIsVolumePreparedForMedia(id);
}

int FsysAddMaterialVolume(const WString& folder, wchar_t* id) {
  constexpr int kMounted = 1, kRefused = 0;
  note("FsysAddMaterialVolume", folder);
  const WString bare = withSeparator(folder).substr(0, withSeparator(folder).size() - 1);
  if (!isFolder(bare) || isVolume(bare)) return kRefused;
  wchar_t lowest = kFirstMounted;
  while (fakePlatform().volume(lowest)) ++lowest;
  fakePlatform().addVolume(lowest, bare, kMountedSpace);
  fakePlatform().volume(lowest)->discovered = false;
  *id = lowest;
  return kMounted;
}

void FsysDeleteMaterialVolume(wchar_t id) {
  note("FsysDeleteMaterialVolume", WString(1, id));
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  if (volume && volume->discovered) fakePlatform().forgotten.push_back(*volume);
  std::erase_if(fakePlatform().volumes, [&](const auto& known) { return known.id == id; });
}

bool FsysIsVolumeAutoDiscovered(wchar_t id) {
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  return !volume || volume->discovered;
}

void FsysReInitialize(bool networkMode) {
  note("FsysReInitialize", networkMode ? L"true" : L"false");
  FakePlatform& platform = fakePlatform();
  std::erase_if(platform.volumes, [](const auto& volume) { return !volume.discovered; });
  for (const auto& volume : platform.forgotten) platform.volumes.push_back(volume);
  platform.forgotten.clear();
}

void FsysSetFileOwner(const WString& path) { fakePlatform().ownersSet.push_back(path); }

WString getPath(const WString& path) { return path.substr(0, path.rfind(L'/') + 1); }

WString stripPath(const WString& path) { return path.substr(path.rfind(L'/') + 1); }

WString joinPaths(const WString& folder, const WString& name) {
  if (folder.empty() || name.empty()) return folder + name;
  const size_t end = folder.find_last_not_of(L'/');
  const size_t begin = name.find_first_not_of(L'/');
  return folder.substr(0, end == WString::npos ? 0 : end + 1) + L'/' +
         (begin == WString::npos ? WString() : name.substr(begin));
}

bool fileExists(const WString& path) {
  fakePlatform().existenceAsked.push_back(path);
  const WString bare =
      path.size() > 1 && path.ends_with(L'/') ? path.substr(0, path.size() - 1) : path;
  return fakePlatform().has(bare);
}

bool deleteDirectory(const WString& path) {
  FakePlatform& platform = fakePlatform();
  if (platform.callFails("deleteDirectory " + Qx::UTF8FromWString(path))) return false;
  const WString folder = withSeparator(path);
  const WString bare = folder.substr(0, folder.size() - 1);
  if (!platform.has(bare) || platform.file(bare)) return false;
  std::erase_if(platform.nodes, [&](const auto& node) {
    return node.first == bare || node.first.starts_with(folder);
  });
  return true;
}

void getDirectoryContents(const WString& folder, const WString& pattern, Vector<WString>& names,
                          unsigned flags) {
  Directory listing(joinPaths(folder, pattern), flags, 0, Directory::eLocked);
  for (DirectoryIterator i(&listing); *i; i.next()) names.add(WString((*i)->nameView()));
}

WString getProjectsBaseDirectory() { return fakePlatform().baseDirectory; }

void setProjectsBaseDirectory(const WString& folder) {
  note("setProjectsBaseDirectory", folder);
  fakePlatform().baseDirectory = folder.empty() ? getLocalProjectsDir() : withSeparator(folder);
}

WString getLocalProjectsDir() { return fakePlatform().localProjects; }

void setLocalProjectsDir(const WString& folder) {
  note("setLocalProjectsDir", folder);
  fakePlatform().localProjects =
      folder.empty() ? getDefaultLocalProjectsDir() : withSeparator(folder);
}

WString getDefaultLocalProjectsDir() { return L"/home/ann/projects/"; }

WString getMediaLocationsFilename() { return L"DefNetDrive.txt"; }

WString getDumpFolder() { return L"/var/dumps/"; }
