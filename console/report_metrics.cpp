#include <algorithm>
#include <utility>

#include "console/report.h"

namespace console {
namespace {

using Labels = std::vector<std::pair<const char*, std::string>>;

std::string quoted(const std::string& value) {
  std::string text = "\"";
  for (const char c : value) {
    if (c == '\\' || c == '"') text += '\\';
    text += c == '\n' ? "\\n" : std::string(1, c);
  }
  return text + "\"";
}

// The samples of one metric, under its name and help; nothing at all while there are none.
class Gauge {
 public:
  Gauge(const char* name, const char* help) : name_(std::string("miscdisc_") + name), help_(help) {}

  void add(const Labels& labels, uint64_t value) {
    samples_ += name_;
    const char* before = "{";
    for (const auto& [label, text] : labels) {
      samples_ += before + (label + ("=" + quoted(text)));
      before = ",";
    }
    samples_ += (labels.empty() ? " " : "} ") + std::to_string(value) + "\n";
  }

  std::string text() const {
    if (samples_.empty()) return {};
    return "# HELP " + name_ + " " + help_ + "\n# TYPE " + name_ + " gauge\n" + samples_;
  }

 private:
  const std::string name_;
  const std::string help_;
  std::string samples_;
};

// Drives.  While one is away its name is not known, and its series must stay the same: they go
// without it.
Labels placeOf(const Drive& drive) {
  return {{"drive", drive.label}, {"path", asUtf8(drive.path)}};
}

Labels labelsOf(const Drive& drive) {
  return {{"drive", drive.label}, {"name", asUtf8(drive.name)}, {"path", asUtf8(drive.path)}};
}

std::string answers(const Status& status) {
  Gauge up("drive_up", "Whether the drive is there.");
  Gauge answered("volume_answered", "Whether the file system of the drive answered in time.");
  for (const DriveView& view : status.drives) {
    const Drive& drive = *view.drive;
    up.add(placeOf(drive), drive.present());
    const bool silent = drive.state.answer == host::VolumeState::Answer::kNotAnswering;
    answered.add(placeOf(drive), !silent);
  }
  return up.text() + answered.text();
}

std::string rooms(const Status& status) {
  Gauge size("drive_size_bytes", "How much the drive holds.");
  Gauge free("drive_free_bytes", "How much this user may still write to the drive.");
  Gauge seconds("drive_recording_seconds",
                "How long can be recorded in the format, in whole minutes; 0 on a full drive.");
  for (const DriveView& view : status.drives) {
    const Drive& drive = *view.drive;
    if (!drive.present()) continue;
    if (drive.state.space) {
      size.add(labelsOf(drive), drive.state.space->totalBytes);
      free.add(labelsOf(drive), drive.state.space->freeBytes);
    }
    for (size_t i = 0; i < view.minutes.size(); ++i) {
      if (!view.minutes[i] && !view.full.value_or(false)) continue;
      Labels labels = labelsOf(drive);
      labels.emplace_back("format", asUtf8(Qx::WStringFromUTF8(status.formats[i].name)));
      seconds.add(labels, uint64_t{60} * view.minutes[i].value_or(0));
    }
  }
  return size.text() + free.text() + seconds.text();
}

// People and locks.

constexpr Held kHeldStates[] = {Held::kYes, Held::kNo, Held::kUnknown};

template <typename Item, typename Counted>
uint64_t count(const std::vector<Item>& items, Counted counted) {
  return static_cast<uint64_t>(std::count_if(items.begin(), items.end(), counted));
}

std::string occupancy(const Status& status) {
  const Space& space = status.space;
  const bool seen = space.answer == Space::Answer::kThere;
  Gauge answered("space_answered", "Whether the lobby, or the local project space, was read.");
  Gauge people("lobby_people", "Who is in the lobby; stale: a login that nobody holds.");
  Gauge locks("locks", "Locks of projects and rooms; stale: one that nobody holds.");
  answered.add({{"lobby", asUtf8(status.lobby)}, {"path", asUtf8(space.folder)}}, seen);
  if (!seen) return answered.text();
  for (const Held held : kHeldStates) {
    const auto matches = [&](const Person& person) { return person.held == held; };
    if (status.networkMode) people.add({{"state", stateOf(held)}}, count(space.people, matches));
  }
  for (const auto kind : {SpaceLock::Kind::kProject, SpaceLock::Kind::kRoom}) {
    for (const Held held : kHeldStates) {
      const auto matches = [&](const SpaceLock& lock) {
        return lock.kind == kind && lock.held == held;
      };
      locks.add({{"kind", kindOf(kind)}, {"state", stateOf(held)}}, count(space.locks, matches));
    }
  }
  return answered.text() + people.text() + locks.text();
}

std::string aboutItself(const Report& report) {
  const Status& status = report.status;
  Gauge connected("messenger_connected", "Whether texts reach the other machines of the lobby.");
  if (status.networkMode) {
    connected.add({{"engine", status.messenger.engine}}, status.messenger.connected);
  }
  Gauge warnings("warnings", "How many warnings the status page has.");
  warnings.add({}, status.warnings.size());
  Gauge complete("report_complete", "Whether all could be seen; what could not is left out.");
  complete.add({}, status.exit == kDone);
  Gauge made("report_timestamp_seconds", "When this was written, since 1970.");
  made.add({}, static_cast<uint64_t>(report.made / 1'000'000'000));
  return connected.text() + warnings.text() + complete.text() + made.text();
}

}  // namespace

std::string reportMetrics(const Report& report) {
  const Status& status = report.status;
  return answers(status) + rooms(status) + occupancy(status) + aboutItself(report);
}

}  // namespace console
