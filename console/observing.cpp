#include "console/observing.h"

#include <poll.h>

#include <algorithm>
#include <map>
#include <optional>

#include "console/messages.h"
#include "miscdisc/dircache/cache_follower.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

constexpr auto kBeat = 1s;
constexpr auto kShortBeat = 50ms;       // while the messenger has no connection
constexpr auto kPatience = 2s;          // for a look that is underway at the end
constexpr size_t kMostEvents = 10'000;  // that nobody has taken; nothing is looked at meanwhile

// Drives.

// What is there at all; a drive that does not answer is known, and is not there.
using Drives = std::map<std::string, const DriveView*>;

Drives drivesOf(const Sight& sight) {
  Drives drives;
  for (const DriveView& view : sight.drives) {
    // Another folder under the same id is another drive.
    drives[view.drive->label + " " + Qx::UTF8FromWString(view.drive->path)] = &view;
  }
  return drives;
}

Event driveEvent(const char* name, const DriveView& view, const Sight& sight) {
  Json document = eventDocument(name);
  document["drive"] = asJson(view, sight.formats);
  return {std::move(document), ""};
}

void addDriveEvents(std::vector<Event>& events, const Sight* before, const Sight& now) {
  const Drives old = before ? drivesOf(*before) : Drives();
  const Drives current = drivesOf(now);
  for (const auto& [key, view] : old) {
    const auto found = current.find(key);
    const bool there = found != current.end() && found->second->drive->present();
    if (!view->drive->present() || there) continue;
    const bool known = found != current.end();
    events.push_back(
        driveEvent("drive_went", known ? *found->second : *view, known ? now : *before));
  }
  for (const auto& [key, view] : current) {
    if (!view->drive->present()) continue;
    const auto found = old.find(key);
    if (found == old.end() || !found->second->drive->present()) {
      events.push_back(driveEvent("drive_came", *view, now));
    } else if (asJson(*view, now.formats) != asJson(*found->second, before->formats)) {
      events.push_back(driveEvent("drive_changed", *view, now));
    }
  }
}

// People and locks.

WString keyOf(const Person& person) { return person.path; }
// Taken again in between, it is another one.
WString keyOf(const SpaceLock& lock) {
  return lock.path + L"\n" + lock.owner + L"\n" + std::to_wstring(lock.since);
}

const char* nameOf(const Person&) { return "person"; }
const char* nameOf(const SpaceLock&) { return "lock"; }

// Those that somebody holds, or may hold.
template <typename Item>
std::map<WString, const Item*> heldOf(const std::vector<Item>& items) {
  std::map<WString, const Item*> held;
  for (const Item& item : items) {
    if (item.held != Held::kNo) held[keyOf(item)] = &item;
  }
  return held;
}

template <typename Item>
void addHeldEvents(std::vector<Event>& events, const std::vector<Item>& before,
                   const std::vector<Item>& now, const char* came, const char* went) {
  const auto old = heldOf(before), current = heldOf(now);
  const auto add = [&](const char* event, const Item& item) {
    Json document = eventDocument(event);
    document[nameOf(item)] = asJson(item);
    events.push_back({std::move(document), ""});
  };
  for (const auto& [key, item] : old) {
    if (current.count(key) == 0) add(went, *item);
  }
  for (const auto& [key, item] : current) {
    if (old.count(key) == 0) add(came, *item);
  }
}

void addSpaceEvents(std::vector<Event>& events, const Space& before, const Space& now) {
  addHeldEvents(events, before.people, now.people, "person_came", "person_left");
  addHeldEvents(events, before.locks, now.locks, "lock_taken", "lock_released");
}

Event spaceEvent(const char* name, const Sight& sight) {
  Json document = eventDocument(name);
  addText(document, "space", sight.space.folder);
  document["lobby"] = nullptr;
  if (!sight.lobby.empty()) addText(document, "lobby", sight.lobby);
  return {std::move(document), ""};
}

bool isSeen(const Space& space) { return space.answer == Space::Answer::kThere; }

// Files.

Event fileEvent(const CacheEvent& event) {
  using Kind = CacheEvent::Kind;
  if (event.kind == Kind::kRescan) {
    return {eventDocument("rescan"), "texts were lost: every folder is to be read again"};
  }
  const WString path = FsysFilenameToWin32Filename(event.path);
  const bool added = event.kind == Kind::kAdded;
  Json document = eventDocument(added ? "file_added" : "file_removed");
  addText(document, "path", path);
  return {std::move(document), (added ? "added    " : "removed  ") + printable(path)};
}

Event messengerEvent(const host::MessengerFacts& facts) {
  Json document = eventDocument("messenger");
  document.update(asJson(facts));
  return {std::move(document), ""};
}

void workAsConfiguredNow() {
  FsysReInitialize(true);
  DiskManager::deInit();
  if (!LobbyUtils::getCurrentNetworkLobbyName().empty()) return;
  LobbyUtils::networkMode_ = false;
  setProjectsBaseDirectory(getLocalProjectsDir());
}

std::shared_ptr<const Sight> lookAround(const Options& options, const Sight* before) {
  workAsConfiguredNow();
  const auto sight = std::make_shared<Sight>();
  sight->list = enterConfiguredSpace(options);
  sight->formats = chooseFormats({}).value_or(Formats());
  sight->drives = viewsOf(sight->list, sight->formats);
  sight->user = OS()->getUserName();
  sight->lobby = LobbyUtils::getCurrentNetworkLobbyName();
  sight->space = lookAtConfiguredSpace(options);
  // Who cannot be seen has not gone.
  if (!isSeen(sight->space) && before && before->space.folder == sight->space.folder) {
    sight->space.people = before->space.people;
    sight->space.locks = before->space.locks;
  }
  sight->time = Clock::now();
  return sight;
}

}  // namespace

std::vector<Event> eventsBetween(const Sight* before, const Sight& now, const Watched& watched) {
  std::vector<Event> events;
  if (watched.space) {
    const bool same = before && before->space.folder == now.space.folder;
    const bool seen = isSeen(now.space), seenBefore = same && isSeen(before->space);
    if (before && isSeen(before->space) && !(same && seen)) {
      events.push_back(spaceEvent("space_went", *before));
    }
    if (seen && !seenBefore) events.push_back(spaceEvent("space_came", now));
    // Of another space everybody is new, and nobody has left the one before.
    addSpaceEvents(events, same ? before->space : Space(), now.space);
  }
  if (watched.drives) addDriveEvents(events, before, now);
  return events;
}

Observing::Observing(const Options& options, const Watched& watched, Wakeup& wakeup)
    : options_(options), watched_(watched), wakeup_(wakeup), thread_([this] { run(); }) {}

std::shared_ptr<const Sight> Observing::latest() {
  const std::lock_guard lock(mutex_);
  return latest_;
}

std::vector<Event> Observing::takeEvents() {
  const std::lock_guard lock(mutex_);
  if (failure_ && events_.empty()) std::rethrow_exception(failure_);
  changed_.notify_one();
  return std::exchange(events_, {});
}

bool Observing::stop() {
  {
    std::unique_lock lock(mutex_);
    ending_ = true;
    changed_.notify_all();
    news_.wake();
    if (!changed_.wait_for(lock, kPatience, [this] { return ended_; })) {
      thread_.detach();
      return false;
    }
  }
  thread_.join();
  return true;
}

void Observing::post(std::vector<Event> events, std::shared_ptr<const Sight> sight) {
  {
    std::unique_lock lock(mutex_);
    std::move(events.begin(), events.end(), std::back_inserter(events_));
    if (sight) latest_ = std::move(sight);
  }
  wakeup_.wake();
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return ending_ || events_.size() < kMostEvents; });
}

void Observing::look() {
  const auto before = latest();
  auto sight = lookAround(options_, before.get());
  auto events = eventsBetween(before.get(), *sight, watched_);
  post(std::move(events), std::move(sight));
}

// Hears the others, in the space in which it is made.
class Observing::Ear {
 public:
  explicit Ear(Wakeup& news) : follower_([&news] { news.wake(); }) {}

  // What has come in, and how the messenger is when that has changed.
  std::vector<Event> news() {
    std::vector<Event> events;
    const host::MessengerFacts facts = host::messengerFacts();
    const std::string state = asJson(facts).dump();
    if (state != state_) events.push_back(messengerEvent(facts));
    state_ = state;
    connected_ = facts.connected;
    for (const CacheEvent& event : follower_.apply()) {
      if (event.kind != CacheEvent::Kind::kIgnored) events.push_back(fileEvent(event));
    }
    return events;
  }

  bool connected() const { return connected_; }

 private:
  Notifications notifications_;
  CacheFollower follower_;  // goes first
  std::string state_;
  bool connected_ = false;
};

bool Observing::isEnding() {
  const std::lock_guard lock(mutex_);
  return ending_;
}

void Observing::run() {
  std::exception_ptr failure;
  try {
    observe();
  } catch (...) {
    failure = std::current_exception();
  }
  {
    const std::lock_guard lock(mutex_);
    failure_ = failure;
    ended_ = true;
    changed_.notify_all();
  }
  if (failure) wakeup_.wake();
}

void Observing::observe() {
  std::optional<Ear> ear;
  for (auto nextLook = Clock::now(); !isEnding();) {
    if (Clock::now() >= nextLook) {
      look();
      if (watched_.files && !ear) ear.emplace(news_);
      nextLook = Clock::now() + kBeat;
    }
    if (ear) {
      auto events = ear->news();
      if (!events.empty()) post(std::move(events), nullptr);
    }
    const auto until =
        ear && !ear->connected() ? std::min(nextLook, Clock::now() + kShortBeat) : nextLook;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    pollfd asked{news_.descriptor(), POLLIN, 0};
    poll(&asked, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    news_.calm();
  }
}

}  // namespace console
