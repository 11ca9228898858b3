#include "miscdisc/dircache/cache_follower.h"

#include <utility>

#include "miscdisc/dircache/cache_text.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/string_compare.h"

namespace {

constexpr size_t kLoggedBytes = 200;

// The cached folder of a file if it is loaded: any other needs no patch.
directory_cache* loadedFolderOf(const WString& path) {
  const WString folder = getPath(path);
  for (DLListIterator v(*getSystemCache()); *v; ++v) {
    auto* volume = static_cast<volume_cache*>(*v);
    if (volume->letter != path[0]) continue;
    for (DLListIterator d(volume->directories); *d; ++d) {
      auto* directory = static_cast<directory_cache*>(*d);
      if (!Qx::compareCaseInsensitive(directory->path, folder)) continue;
      return directory->currentListing() ? directory : nullptr;
    }
  }
  return nullptr;
}

// Of this machine, from a network path; empty when it is on none of its volumes.
WString fileOnVolume(const WString& networkPath) {
  const WString path = fileOfNetworkPath(networkPath);
  if (path.size() < 4 || path[1] != L':' || path[2] != pathSeparator()) return {};
  WString folder;
  const bool known = !FsysGetMaterialVolumeName(path[0], folder, false).empty();
  return known ? path : WString();
}

bool looksLikeMask(const WString& path) { return path.find_first_of(L"*?") != WString::npos; }

// Asked in a way that shows what another machine has done just now, also where a client's cache
// would answer otherwise; for what patching by itself has not seen on the disk.
bool isOnDisk(const WString& path) { return fileExists(FsysFilenameToWin32Filename(path)); }

void patchAdded(const WString& path) {
  // A name with wildcards that is no file's would be taken for a mask, and the folder read.
  if (looksLikeMask(path) && !isOnDisk(path)) return;
  if (add_file_to_directory_cache(path, false)) return;
  if (isOnDisk(path)) add_file_to_directory_cache(path, false);
}

void patchRemoved(const WString& path, directory_cache& folder) {
  const bool named = !looksLikeMask(path) || isOnDisk(path);
  if (named && remove_file_from_directory_cache(path, false)) return;
  if (folder.find(stripPath(path))) invalidate_directory_cache(path[0]);
}

// The folder is null when its volume cannot be reached: then nothing of it may be asked.
void patch(const WString& path, bool added, directory_cache* folder) try {
  if (!folder) {
    invalidate_directory_cache(path[0]);
  } else if (added) {
    patchAdded(path);
  } else {
    patchRemoved(path, *folder);
  }
} catch (...) {
  invalidate_directory_cache(path[0]);
  throw;
}

}  // namespace

CacheFollower::CacheFollower(std::function<void()> wake) : wake_(std::move(wake)) {
  registerWith(*getNetMessageServer());
}

CacheFollower::~CacheFollower() { stopListening(); }

void CacheFollower::notify(const NotifyMsg& msg) {
  if (msg.type() != ValServerBase::valChangedMsgType_) return;
  const String& text = getNetMessageServer()->getVal();
  const char* why = nullptr;
  auto message = cacheMessage(text, why);
  if (!message) return ignore(text, why);
  keep(std::move(*message));
}

void CacheFollower::keep(NetMessage message) {
  {
    const std::lock_guard lock(mutex_);
    const bool first = waiting_.empty();
    waitingBytes_ += message.text().size();
    const bool tooMany = waiting_.size() == kMostWaiting || waitingBytes_ > kMostBytes;
    if (tooMany || message.type() == NetMessage::Rescan) {
      // Whatever waits is about listings that will be forgotten.
      waiting_.clear();
      waitingBytes_ = 0;
      message = NetMessage(NetMessage::Rescan, "");
    }
    waiting_.push_back(std::move(message));
    if (!first) return;
  }
  wake_();
}

void CacheFollower::ignore(const String& text, const char* why) {
  if (ignored_++ != 0) return;
  String start;
  for (const char c : text.substr(0, kLoggedBytes)) c ? start += c : start += "\\0";
  Log("A text of another machine is ignored, and others may be from now on: %s: %s\n", why,
      start.c_str());
}

std::optional<NetMessage> CacheFollower::takeNext() {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return {};
  NetMessage message = std::move(waiting_.front());
  waiting_.pop_front();
  waitingBytes_ -= message.text().size();
  return message;
}

// Also when something throws: nobody else would wake the application for what still waits.
class CacheFollower::WakeForRest {
 public:
  explicit WakeForRest(CacheFollower& follower) : follower_(follower) {}
  WakeForRest(const WakeForRest&) = delete;
  WakeForRest& operator=(const WakeForRest&) = delete;
  ~WakeForRest() {
    if (follower_.isWaiting()) follower_.wake_();
  }

 private:
  CacheFollower& follower_;
};

bool CacheFollower::isWaiting() {
  const std::lock_guard lock(mutex_);
  return !waiting_.empty();
}

std::vector<CacheEvent> CacheFollower::apply() {
  const WakeForRest atEnd(*this);
  Presence presence;
  std::vector<CacheEvent> events;
  while (events.size() < kMostEvents) {
    const auto message = takeNext();
    if (!message) break;
    events.push_back(applied(*message, presence));
  }
  return events;
}

CacheEvent CacheFollower::applied(const NetMessage& message, Presence& presence) {
  using Kind = CacheEvent::Kind;
  if (message.type() == NetMessage::Rescan) {
    invalidate_directory_cache();
    return {Kind::kRescan};
  }
  const WString networkPath = Qx::WStringFromUTF8(message.text());
  const WString path = fileOnVolume(networkPath);
  if (path.empty()) {
    ignore(message.asString(), "no volume here has that file");
    return {Kind::kIgnored, networkPath};
  }
  const bool added = message.type() == NetMessage::FileAdded;
  if (directory_cache* folder = loadedFolderOf(path)) {
    const auto [volume, first] = presence.try_emplace(path[0], false);
    if (first) volume->second = FsysIsVolumePresent(path[0]);
    patch(path, added, volume->second ? folder : nullptr);
  }
  return {added ? Kind::kAdded : Kind::kRemoved, path};
}
