#include "console/drives_view.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "host/settings.h"

namespace console {
namespace {

using Answer = host::VolumeState::Answer;

std::string stateOf(const DriveView& view) {
  switch (view.drive->state.answer) {
    case Answer::kAbsent:
      return "not present";
    case Answer::kNotAnswering: {
      // Since the first question, which is as old as the deadline: less than half a second says
      // nothing.
      const auto seconds = std::chrono::round<std::chrono::seconds>(view.drive->state.age).count();
      return seconds < 1 ? "not answering" : fmt::format("not answering {} s", seconds);
    }
    case Answer::kPresent:
      break;
  }
  if (view.full.value_or(false)) return "full";
  const bool low =
      !view.minutes.empty() && view.minutes[0] && *view.minutes[0] < host::settings()->lowMinutes;
  return low ? "low" : "ok";
}

// How much is taken.
std::string bar(const Drive& drive) {
  constexpr int kWidth = 10;
  if (!drive.state.space || drive.state.space->totalBytes == 0) return "-";
  const auto total = static_cast<double>(drive.state.space->totalBytes);
  const double taken = 1 - static_cast<double>(drive.state.space->freeBytes) / total;
  const int filled = std::clamp(static_cast<int>(std::lround(taken * kWidth)), 0, kWidth);
  std::string text;
  for (int i = 0; i < kWidth; ++i) text += i < filled ? "\u2588" : "\u2591";
  return text;
}

}  // namespace

std::string bytesCell(const Drive& drive, uint64_t VOLUME_INFO::*which, bool people) {
  if (!drive.state.space) return "-";
  const uint64_t bytes = (*drive.state.space).*which;
  return people ? withUnit(bytes) : std::to_string(bytes);
}

std::string minutesCell(std::optional<uint32_t> minutes, bool people) {
  if (!minutes) return "-";
  return std::to_string(*minutes) + (people ? " min" : "");
}

const host::RecordingFormat* formatNamed(const Formats& formats, const std::string& name) {
  const auto found = std::find_if(formats.begin(), formats.end(),
                                  [&](const auto& format) { return format.name == name; });
  return found == formats.end() ? nullptr : &*found;
}

std::string namesOf(const Formats& formats) {
  std::string names;
  for (const auto& format : formats) names += (names.empty() ? "" : ", ") + format.name;
  return names;
}

std::optional<Formats> chooseFormats(const std::vector<std::string>& names) {
  const Formats known = host::recordingFormats();
  Formats chosen;
  for (const std::string& name : names.empty() ? host::settings()->drivesFormats : names) {
    const host::RecordingFormat* format = formatNamed(known, name);
    if (!format) {
      complain("there is no format " + printable(name) + ".  The formats are " + namesOf(known) +
               ".");
      return {};
    }
    if (!formatNamed(chosen, name)) chosen.push_back(*format);
  }
  return chosen;
}

DriveView viewOf(const Drive& drive, const Formats& formats) {
  DriveView view{&drive, {}, isFull(drive), {}};
  for (const auto& format : formats) view.minutes.push_back(minutesLeft(drive, format));
  view.state = stateOf(view);
  return view;
}

std::vector<DriveView> viewsOf(const DriveList& list, const Formats& formats) {
  std::vector<DriveView> views;
  for (const Drive& drive : list.drives) views.push_back(viewOf(drive, formats));
  return views;
}

Json asJson(const DriveView& view, const Formats& formats) {
  const Drive& drive = *view.drive;
  Json object{{"id", drive.label}};
  addText(object, "name", drive.name);
  object["label"] = nullptr;
  if (drive.storedName) addText(object, "label", *drive.storedName);
  addText(object, "path", drive.path);
  object["location"] = drive.location;
  object["free"] = nullptr;
  object["capacity"] = nullptr;
  if (drive.state.space) {
    object["free"] = drive.state.space->freeBytes;
    object["capacity"] = drive.state.space->totalBytes;
  }
  object["minutes"] = Json::object();
  for (size_t i = 0; i < formats.size(); ++i) {
    object["minutes"][formats[i].name] = nullptr;
    if (view.minutes[i]) object["minutes"][formats[i].name] = *view.minutes[i];
  }
  object["full"] = nullptr;
  if (view.full) object["full"] = *view.full;
  object["state"] = view.state;
  return object;
}

Json asJson(const std::vector<HiddenVolume>& hidden) {
  Json volumes = Json::array();
  for (const HiddenVolume& volume : hidden) {
    Json entry{{"id", nullptr}};
    if (!volume.label.empty()) entry["id"] = volume.label;
    addText(entry, "path", volume.line);
    volumes.push_back(std::move(entry));
  }
  return volumes;
}

std::vector<std::string> driveHeading(const Formats& formats, bool people) {
  std::vector<std::string> heading{"DRIVE", "NAME", "FREE", "CAPACITY"};
  if (people) heading.insert(heading.begin() + 2, "USED");
  for (const auto& format : formats) heading.push_back(format.name);
  heading.insert(heading.end(), {"STATE", "PATH"});
  return heading;
}

std::vector<std::string> driveCells(const DriveView& view, bool people) {
  const Drive& drive = *view.drive;
  std::vector<std::string> cells{drive.label, printable(drive.name),
                                 bytesCell(drive, &VOLUME_INFO::freeBytes, people),
                                 bytesCell(drive, &VOLUME_INFO::totalBytes, people)};
  if (people) cells.insert(cells.begin() + 2, bar(drive));
  for (const auto& minutes : view.minutes) cells.push_back(minutesCell(minutes, people));
  cells.insert(cells.end(), {view.state, printable(drive.path)});
  return cells;
}

std::vector<std::string> hiddenCells(const HiddenVolume& hidden, const Formats& formats,
                                     bool people) {
  std::vector<std::string> cells(driveHeading(formats, people).size(), "-");
  if (!hidden.label.empty()) cells.front() = hidden.label;
  cells[cells.size() - 2] = "hidden";
  cells.back() = printable(hidden.line);
  return cells;
}

Exit reportProblems(const DriveList& list, const Options& options) {
  Exit exit = kDone;
  std::vector<std::string> problems = list.faults;
  for (const Drive& drive : list.drives) problems.push_back(problemOf(drive, options));
  for (const std::string& problem : problems) {
    if (problem.empty()) continue;
    complain(problem);
    exit = kIncomplete;
  }
  return exit;
}

}  // namespace console
