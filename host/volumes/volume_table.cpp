#include "host/volumes/volume_table.h"

#include <pthread.h>
#include <sys/stat.h>

#include <atomic>
#include <vector>

#include "host/places.h"
#include "host/settings.h"
#include "host/volumes/ask_all.h"
#include "host/volumes/discovery.h"
#include "host/volumes/letters.h"
#include "host/volumes/network_form.h"
#include "miscdisc/platform/log.h"

namespace host {
namespace {

constexpr wchar_t kOwnMediaLetter = L'E';
// Media location n has the id U+E030 + n.
constexpr wchar_t kLocationIds = 0xE030;
constexpr wchar_t kLastLocationId = 0xF8FF;

std::atomic<bool> lettersAreKept = true;

// A mount that hangs is what it was when it had its letter.
std::vector<bool> holdMaterial(const std::vector<std::string>& points, Deadline deadline) {
  const auto answers = askAll(points, deadline, [](const std::string& point) {
    struct stat found {};
    return stat(joined(point, "/Material").c_str(), &found) == 0 && S_ISDIR(found.st_mode);
  });
  std::vector<bool> holding;
  for (size_t i = 0; i < points.size(); ++i) {
    holding.push_back(answers[i].value_or(hasKeptLetter(points[i])));
  }
  return holding;
}

std::vector<std::string> withoutLinks(std::vector<std::string> folders, Deadline deadline) {
  const auto real = askAll(folders, deadline, [](const std::string& path) { return path; });
  for (size_t i = 0; i < folders.size(); ++i) folders[i] = real[i].value_or(folders[i]);
  return folders;
}

void logLeftOut(size_t mounts) {
  static std::atomic<bool> logged = false;
  if (mounts == 0 || logged.exchange(true)) return;
  LogBoth("%zu more mounted file systems could be volumes, but there is no letter left\n", mounts);
}

void addDiscovered(VolumeMap& table, Deadline deadline) {
  std::vector<std::string> folders;
  std::string taken;
  for (const auto& [letter, volume] : table) {
    folders.push_back(volume.folder);
    taken += static_cast<char>(letter);
  }
  const auto points = mediaMounts(*currentMounts(), withoutLinks(folders, deadline),
                                  [&](const auto& asked) { return holdMaterial(asked, deadline); });
  const LetterPlan plan = lettersFor(points, taken, lettersAreKept);
  logLeftOut(plan.leftOut);
  for (const auto& [letter, point] : plan.points) {
    table[static_cast<wchar_t>(letter)] = {.folder = point};
  }
}

VolumeMap findVolumes(Deadline deadline) {
  const auto current = settings();
  VolumeMap table;
  for (const auto& [letter, folder] : current->volumes) {
    table[static_cast<wchar_t>(letter)] = {.folder = folder};
  }
  if (current->discoverVolumes) addDiscovered(table, deadline);
  if (table.empty()) {
    table[kOwnMediaLetter] = {.folder = places().data + "/media", .ownMedia = true};
  }
  for (const char letter : current->quotaVolumes) {
    const auto volume = table.find(static_cast<wchar_t>(letter));
    if (volume != table.end()) volume->second.quota = true;
  }
  return table;
}

}  // namespace

VolumeTable& VolumeTable::instance() {
  static VolumeTable& table = *new VolumeTable;  // asked to the last, so never destroyed
  return table;
}

VolumeTable::VolumeTable() : table_(findVolumes(volumeDeadline())) {
  // A child must find the mutex free.
  pthread_atfork([] { instance().mutex_.lock(); }, [] { instance().mutex_.unlock(); },
                 [] { instance().mutex_.unlock(); });
}

VolumeMap VolumeTable::all() {
  const std::lock_guard lock(mutex_);
  return table_;
}

std::optional<Volume> VolumeTable::find(wchar_t id) {
  const std::lock_guard lock(mutex_);
  const auto found = table_.find(id);
  return found == table_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<wchar_t> VolumeTable::after(wchar_t id) {
  const std::lock_guard lock(mutex_);
  const auto next = table_.upper_bound(id);
  return next == table_.end() ? std::nullopt : std::optional(next->first);
}

std::optional<wchar_t> VolumeTable::mount(const std::string& folder,
                                          const FolderIdentity& identity) {
  const std::lock_guard lock(mutex_);
  for (const auto& [id, volume] : table_) {
    if (volume.folder == folder) return {};
  }
  wchar_t id = kLocationIds + 1;
  while (table_.count(id) != 0) ++id;
  if (id > kLastLocationId) return {};
  table_[id] = {.folder = folder, .mounted = true, .identity = identity};
  return id;
}

void VolumeTable::forget(wchar_t id) {
  const std::lock_guard lock(mutex_);
  table_.erase(id);
}

void VolumeTable::remember(wchar_t id, const FolderIdentity& identity) {
  const std::lock_guard lock(mutex_);
  const auto found = table_.find(id);
  if (found != table_.end()) found->second.identity = identity;
}

void VolumeTable::discoverAgain() {
  reloadSettings();
  VolumeMap found = findVolumes(volumeDeadline());
  const std::lock_guard lock(mutex_);
  table_ = std::move(found);
}

std::optional<std::pair<wchar_t, std::string>> VolumeTable::locate(const std::string& path) {
  const std::lock_guard lock(mutex_);
  std::optional<std::pair<wchar_t, std::string>> closest;
  size_t longest = 0;
  for (const auto& [id, volume] : table_) {
    const auto rest = restInside(path, volume.folder);
    if (!rest || volume.folder.size() <= longest) continue;
    longest = volume.folder.size();
    closest.emplace(id, *rest);
  }
  return closest;
}

void VolumeTable::keepLetters(bool keep) { lettersAreKept = keep; }

}  // namespace host
