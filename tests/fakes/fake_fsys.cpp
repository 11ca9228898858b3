#include <algorithm>

#include "miscdisc/platform/directory.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "tests/fakes/fake_platform.h"

namespace {

constexpr const wchar_t* kServer = L"\\\\fake";

WString withSeparator(const WString& folder) {
  return folder.ends_with(L'/') ? folder : folder + L'/';
}

WString replaceAll(WString text, wchar_t what, wchar_t with) {
  std::replace(text.begin(), text.end(), what, with);
  return text;
}

}  // namespace

bool FsysGetFirstMaterialVolume(wchar_t* id) {
  const auto& volumes = fakePlatform().volumes;
  if (volumes.empty()) return false;
  *id = volumes.front().id;
  return true;
}

bool FsysGetNextMaterialVolume(wchar_t* id) {
  const auto& volumes = fakePlatform().volumes;
  const FakePlatform::Volume* current = fakePlatform().volume(*id);
  if (!current || current == &volumes.back()) return false;
  *id = current[1].id;
  return true;
}

bool FsysIsVolumePresent(wchar_t id) {
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  return volume && volume->present;
}

bool FsysGetVolInfo(wchar_t id, VOLUME_INFO* info) {
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  if (!volume || !volume->present) return false;
  *info = volume->space;
  return true;
}

const WString& FsysGetMaterialVolumeName(wchar_t id, WString& path, bool) {
  const FakePlatform::Volume* volume = fakePlatform().volume(id);
  return path = volume ? volume->folder : WString();
}

WString FsysFilenameToWin32Filename(const WString& path) {
  if (path.size() < 2 || path[1] != L':') return path;
  const FakePlatform::Volume* volume = fakePlatform().volume(path[0]);
  return volume ? volume->folder + path.substr(2) : path;
}

WString FsysConvertLocalToUNC(const WString& path) {
  const WString native = FsysFilenameToWin32Filename(path);
  return native.starts_with(L"/") ? kServer + replaceAll(native, L'/', L'\\') : path;
}

WString FsysConvertUNCtoFsysFilename(const WString& path) {
  if (!path.starts_with(kServer)) return path;
  const WString native = replaceAll(path.substr(6), L'\\', L'/');
  for (const FakePlatform::Volume& volume : fakePlatform().volumes) {
    if (native.starts_with(volume.folder + L'/')) {
      return volume.id + (L":" + native.substr(volume.folder.size()));
    }
  }
  return native;
}

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
  const WString bare =
      path.size() > 1 && path.ends_with(L'/') ? path.substr(0, path.size() - 1) : path;
  return fakePlatform().has(bare);
}

bool deleteDirectory(const WString& path) {
  FakePlatform& platform = fakePlatform();
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
  fakePlatform().baseDirectory = withSeparator(folder);
}

WString getLocalProjectsDir() { return fakePlatform().localProjects; }

void setLocalProjectsDir(const WString& folder) {
  fakePlatform().localProjects = withSeparator(folder);
}

WString getDefaultLocalProjectsDir() { return L"/home/ann/projects/"; }

WString getMediaLocationsFilename() { return L"DefNetDrive.txt"; }

WString getDumpFolder() { return L"/var/dumps/"; }
