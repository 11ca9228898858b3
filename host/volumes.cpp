// The volumes of this machine, and file names by volume.
#include "host/volumes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/files/open_file.h"
#include "host/settings.h"
#include "host/volumes/ask_all.h"
#include "host/volumes/errands.h"
#include "host/volumes/inquiry.h"
#include "host/volumes/network_form.h"
#include "host/volumes/volume_table.h"
#include "miscdisc/platform/fsys.h"

namespace host {
namespace {

using std::chrono::milliseconds;

std::atomic<milliseconds> patience = milliseconds(1000);

Deadline after(milliseconds time) { return std::chrono::steady_clock::now() + time; }

}  // namespace

Deadline volumeDeadline() { return after(patience); }

void setVolumeDeadline(milliseconds deadline) { patience = deadline; }

void keepVolumeLetters(bool keep) { VolumeTable::keepLetters(keep); }

VolumeState askVolume(wchar_t id, milliseconds deadline) {
  const Deadline end = after(deadline);
  const auto volume = VolumeTable::instance().find(id);
  return volume ? Inquiry(currentMounts(), *volume).finish(end) : VolumeState();
}

std::map<wchar_t, VolumeState> askVolumes(milliseconds deadline) {
  const Deadline end = after(deadline);
  const auto mounts = currentMounts();
  std::vector<std::pair<wchar_t, Inquiry>> inquiries;
  for (const auto& [id, volume] : VolumeTable::instance().all()) {
    inquiries.emplace_back(id, Inquiry(mounts, volume));
  }
  std::map<wchar_t, VolumeState> states;
  for (auto& [id, inquiry] : inquiries) states[id] = inquiry.finish(end);
  return states;
}

std::vector<VolumeState> askFolders(const std::vector<std::string>& folders,
                                    milliseconds deadline) {
  const Deadline end = after(deadline);
  const auto mounts = currentMounts();
  std::vector<Inquiry> inquiries;
  for (const std::string& folder : folders) inquiries.push_back({mounts, {.folder = folder}});
  std::vector<VolumeState> states;
  for (Inquiry& inquiry : inquiries) states.push_back(inquiry.finish(end));
  return states;
}

bool askMount(const std::string& path, milliseconds deadline, std::function<void()> job) {
  const auto errand = std::make_shared<Errand>(
      currentMounts(), path, [job = std::move(job)](const std::string&) { job(); });
  Workers::ofProcess().start(errand);
  return Workers::ofProcess().finish(errand, after(deadline));
}

}  // namespace host

namespace {

using namespace std::string_literals;
using host::Volume;
using host::VolumeState;
using host::VolumeTable;

constexpr const char* kMediaFolders[] = {"Material", "Sound"};

std::string withBackslashes(std::string text) {
  std::replace(text.begin(), text.end(), '/', '\\');
  return text;
}

bool isFolder(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

// True, too, where another machine makes it at the same time.
bool makeMediaFolder(const std::string& path) {
  if (isFolder(path)) return true;
  const auto parent = host::folderOf(path);
  return (parent && host::createFolder(path, *parent)) || isFolder(path);
}

bool isPrepared(const std::string& folder) {
  return std::all_of(std::begin(kMediaFolders), std::end(kMediaFolders),
                     [&](const char* name) { return isFolder(host::joined(folder, "/"s + name)); });
}

bool prepare(const std::string& folder, bool ownMedia) {
  std::error_code ignored;
  if (ownMedia) std::filesystem::create_directories(folder, ignored);
  bool made = true;
  for (const char* name : kMediaFolders) {
    made = makeMediaFolder(host::joined(folder, "/"s + name)) && made;
  }
  return made;
}

using host::FolderIdentity;

// Nothing for what is no folder, and for a mount that does not answer.
std::vector<std::optional<FolderIdentity>> identify(const std::vector<std::string>& folders) {
  const auto mounts = host::currentMounts();
  const auto answers = host::askAll(folders, host::volumeDeadline(), [mounts](const auto& path) {
    struct stat found {};
    const bool there = stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
    return there ? std::optional(FolderIdentity{found.st_dev, found.st_ino, mounts}) : std::nullopt;
  });
  std::vector<std::optional<FolderIdentity>> identities;
  for (const auto& answer : answers) identities.push_back(answer.value_or(std::nullopt));
  return identities;
}

// A volume that was another folder is not asked again, until something is mounted or unmounted:
// of hundreds of locations every one would ask for all before it.
bool isVolume(const FolderIdentity& wanted) {
  std::vector<wchar_t> ids;
  std::vector<std::string> folders;
  for (const auto& [id, volume] : VolumeTable::instance().all()) {
    const bool known = volume.identity && volume.identity->mounts == wanted.mounts;
    if (known && *volume.identity != wanted) continue;
    ids.push_back(id);
    folders.push_back(volume.folder);
  }
  const auto identities = identify(folders);
  for (size_t i = 0; i < ids.size(); ++i) {
    if (identities[i]) VolumeTable::instance().remember(ids[i], *identities[i]);
  }
  return std::find(identities.begin(), identities.end(), wanted) != identities.end();
}

}  // namespace

bool FsysGetFirstMaterialVolume(wchar_t* id) {
  const auto first = VolumeTable::instance().after(0);
  if (first) *id = *first;
  return first.has_value();
}

bool FsysGetNextMaterialVolume(wchar_t* id) {
  const auto next = VolumeTable::instance().after(*id);
  if (next) *id = *next;
  return next.has_value();
}

bool FsysIsVolumePresent(wchar_t id) {
  return host::askVolume(id, host::patience).answer == VolumeState::Answer::kPresent;
}

bool FsysGetVolInfo(wchar_t id, VOLUME_INFO* info) {
  const VolumeState state = host::askVolume(id, host::patience);
  if (state.answer == VolumeState::Answer::kAbsent || !state.space) return false;
  *info = *state.space;
  return state.answer == VolumeState::Answer::kPresent;
}

const WString& FsysGetMaterialVolumeName(wchar_t id, WString& path, bool) {
  const auto volume = VolumeTable::instance().find(id);
  path = volume ? Qx::WStringFromUTF8(volume->folder) : L"";
  return path;
}

WString FsysFilenameToWin32Filename(const WString& path) {
  if (path.size() < 3 || path[1] != L':' || path[2] != L'/') return path;
  const auto volume = VolumeTable::instance().find(path[0]);
  if (!volume) return path;
  return Qx::WStringFromUTF8(host::joined(volume->folder, Qx::UTF8FromWString(path.substr(2))));
}

WString FsysConvertLocalToUNC(const WString& path) {
  const String native = Qx::UTF8FromWString(FsysFilenameToWin32Filename(path));
  if (native.empty() || native[0] != '/') return path;
  return Qx::WStringFromUTF8(
      withBackslashes(host::networkForm(native, host::settings()->shares, *host::currentMounts())));
}

WString FsysConvertUNCtoFsysFilename(const WString& path) {
  if (path.compare(0, 2, L"\\\\") != 0) return path;
  String network = Qx::UTF8FromWString(path);
  std::replace(network.begin(), network.end(), '\\', '/');
  const auto native = host::nativeForm(network, host::settings()->shares, *host::currentMounts());
  if (!native) return path;
  const auto place = VolumeTable::instance().locate(*native);
  if (!place) return Qx::WStringFromUTF8(*native);
  const auto& [id, rest] = *place;
  return WString{id, L':'} + Qx::WStringFromUTF8(rest.empty() ? "/"s : rest);
}

bool FsysIsVolumePreparedForMedia(wchar_t id) {
  const auto volume = VolumeTable::instance().find(id);
  return volume && host::ask(volume->folder, isPrepared) == true;
}

bool FsysPrepareVolumeForMedia(wchar_t id) {
  const auto volume = VolumeTable::instance().find(id);
  if (!volume) return false;
  const bool ownMedia = volume->ownMedia;
  return host::ask(volume->folder, [ownMedia](const std::string& folder) {
           return prepare(folder, ownMedia);
         }) == true;
}

int FsysAddMaterialVolume(const WString& folder, wchar_t* id) {
  constexpr int kMounted = 1, kRefused = 0;
  const std::string path = host::withoutSeparator(Qx::UTF8FromWString(folder));
  if (path.empty() || path[0] != '/' || path.find('\0') != std::string::npos) return kRefused;
  const auto identity = identify({path}).front();
  if (!identity || isVolume(*identity)) return kRefused;
  const auto mounted = VolumeTable::instance().mount(path, *identity);
  if (!mounted) return kRefused;
  *id = *mounted;
  return kMounted;
}

void FsysDeleteMaterialVolume(wchar_t id) { VolumeTable::instance().forget(id); }

bool FsysIsVolumeAutoDiscovered(wchar_t id) {
  const auto volume = VolumeTable::instance().find(id);
  return !volume || !volume->mounted;
}

// Local and network working see the same volumes.
void FsysReInitialize(bool) { VolumeTable::instance().discoverAgain(); }

void FsysSetFileOwner(const WString& path) {
  const String native = Qx::UTF8FromWString(FsysFilenameToWin32Filename(path));
  const String folder = native.substr(0, native.rfind('/') + 1);
  host::ask(folder, [native](const std::string&) {
    return lchown(native.c_str(), geteuid(), static_cast<gid_t>(-1)) == 0;
  });
}
