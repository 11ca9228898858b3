// What recordings find room, and which drives have less than somebody wants.
#include <fmt/core.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <iostream>
#include <map>
#include <sstream>

#include "console/drives_commands.h"
#include "console/drives_view.h"
#include "console/folders.h"
#include "console/not_answering.h"
#include "console/text_files.h"
#include "miscdisc/media/recording_space.h"

namespace console {
namespace {

constexpr double kBytesPerMebibyte = 1024.0 * 1024.0;
constexpr double kMostMinutes = 1e9;

std::optional<double> positiveNumber(std::string_view text) {
  double number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  const bool whole = result.ec == std::errc() && result.ptr == end;
  return whole && number > 0 && number <= 1e18 ? std::optional(number) : std::nullopt;
}

struct Duration {
  double minutes;
  host::RecordingFormat format;

  // Within what an integer takes.
  double bytes() const { return std::min(minutes * bytesPerMinute(format), 0x1p63); }
};

// "30@dv25"; nothing, with what was expected instead, for any other text.
std::optional<Duration> durationFrom(const std::string& text, std::string& expected) {
  const Formats formats = host::recordingFormats();
  const size_t at = text.find('@');
  const auto minutes = positiveNumber(text.substr(0, at));
  if (at == std::string::npos || !minutes) {
    expected = "minutes, \"@\" and a format were expected, such as 30@dv25, not \"" +
               printable(text) + "\"";
    return {};
  }
  if (*minutes > kMostMinutes) {
    expected = "at most 1000000000 minutes were expected, not \"" + printable(text) + "\"";
    return {};
  }
  const host::RecordingFormat* format = formatNamed(formats, text.substr(at + 1));
  if (!format) {
    expected = "a known format was expected, not \"" + printable(text.substr(at + 1)) +
               "\"; the formats are " + namesOf(formats);
    return {};
  }
  return Duration{*minutes, *format};
}

// Without an exponent, and without zeros at the end.
std::string shown(double minutes) {
  std::string text = fmt::format("{:.2f}", minutes);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

// Planning.

struct Recording {
  Duration duration;
  std::string name;
  const Drive* drive = nullptr;  // null: it fits nowhere
};

struct PlanArguments {
  std::string file;
  std::string fit = "most";
};

// Nothing while its mount does not answer.
std::optional<FileText> readRecordings(const std::string& file, const Options& options) {
  if (file != "-") {
    return readFileOrPipe(absoluteFolder(Qx::WStringFromUTF8(file)), options.deadline());
  }
  std::ostringstream text;
  text << std::cin.rdbuf();
  return FileText{text.str()};
}

// Nothing for a line to be skipped; what was expected for one that cannot be understood.
std::optional<Recording> recordingFrom(const std::string& line, std::string& expected) {
  constexpr const char* kBlank = " \t";
  const size_t from = line.find_first_not_of(kBlank);
  if (from == std::string::npos || line[from] == '#') return {};
  const size_t end = std::min(line.find_first_of(kBlank, from), line.size());
  const auto duration = durationFrom(line.substr(from, end - from), expected);
  if (!duration) return {};
  const size_t name = line.find_first_not_of(kBlank, end);
  if (name == std::string::npos) {
    expected = "a name was expected after " + line.substr(from, end - from);
    return {};
  }
  return Recording{*duration, line.substr(name), nullptr};
}

std::optional<std::vector<Recording>> recordingsFrom(const std::string& file,
                                                     const std::string& text) {
  std::vector<Recording> recordings;
  std::string problems;
  size_t number = 0;
  for (const std::string& line : linesOf(text)) {
    ++number;
    std::string expected;
    if (auto recording = recordingFrom(line, expected)) recordings.push_back(*recording);
    if (!expected.empty()) {
      problems += printable(file) + ":" + std::to_string(number) + ": " + expected + "\n";
    }
  }
  if (problems.empty()) return recordings;
  complain(problems + "Nothing was planned.  A line reads MINUTES@FORMAT NAME.");
  return {};
}

Json asJson(const std::vector<Recording>& recordings) {
  Json document{{"schema", "miscdisc.plan/1"}, {"fits", true}, {"recordings", Json::array()}};
  for (const Recording& recording : recordings) {
    Json entry;
    addText(entry, "name", Qx::WStringFromUTF8(recording.name));
    entry["minutes"] = recording.duration.minutes;
    entry["format"] = recording.duration.format.name;
    entry["bytes"] = static_cast<uint64_t>(recording.duration.bytes());
    entry["drive"] = nullptr;
    entry["path"] = nullptr;
    if (recording.drive) {
      entry["drive"] = recording.drive->label;
      addText(entry, "path", recording.drive->path);
    } else {
      document["fits"] = false;
    }
    document["recordings"].push_back(std::move(entry));
  }
  return document;
}

void show(Context& context, const std::vector<Recording>& recordings) {
  const bool people = context.output.forPeople(context.options);
  std::vector<std::vector<std::string>> rows;
  for (const Recording& recording : recordings) {
    const auto bytes = static_cast<uint64_t>(recording.duration.bytes());
    rows.push_back({recording.drive ? recording.drive->label : "-",
                    recording.drive ? printable(recording.drive->name) : "does not fit",
                    shown(recording.duration.minutes), recording.duration.format.name,
                    people ? withUnit(bytes) : std::to_string(bytes), printable(recording.name)});
  }
  context.output.printTable(context.options,
                            {"DRIVE", "NAME", "MINUTES", "FORMAT", "SIZE", "RECORDING"}, rows);
}

// Of the nearest folder that is there: the others are made in it.
std::optional<dev_t> deviceOf(const WString& folder, const Options& options) {
  using Found = std::optional<dev_t>;
  const auto found =
      within<Found>(options.deadline(), folder, [path = Qx::UTF8FromWString(folder)]() -> Found {
        struct stat status {};
        std::filesystem::path there = path;
        while (stat(there.c_str(), &status) != 0) {
          if (errno != ENOENT || !there.has_relative_path()) return {};
          there = there.parent_path();
        }
        return status.st_dev;
      });
  return found.value_or(std::nullopt);
}

// Each drive of a file system shows all of its room.
void tellSharedRoom(const DriveList& list, const Options& options) {
  std::map<dev_t, std::vector<const Drive*>> byDevice;
  for (const Drive& drive : list.drives) {
    const auto device = drive.present() ? deviceOf(drive.path, options) : std::nullopt;
    if (device) byDevice[*device].push_back(&drive);
  }
  for (const auto& [device, drives] : byDevice) {
    if (drives.size() < 2) continue;
    std::string names;
    for (const Drive* drive : drives) names += (names.empty() ? "" : ", ") + drive->label;
    remark(options, names +
                        " lie on one file system: its room is there once, and is counted for each "
                        "of them.");
  }
}

Exit plan(Context& context, const DriveList& list, const PlanArguments& arguments) {
  const auto text = readRecordings(arguments.file, context.options);
  if (!text) {
    complain(notAnswering(Qx::WStringFromUTF8(arguments.file), context.options));
    return kIncomplete;
  }
  if (text->error != 0) {
    complain(printable(arguments.file) + " could not be read: " + reasonNotRead(text->error) +
             ".  It has a line per recording: MINUTES@FORMAT NAME, such as "
             "\"30@dv25 Interview Ann\"; \"-\" is standard input.");
    return text->error == ENOENT ? kNotFound : kFailed;
  }
  auto recordings =
      recordingsFrom(arguments.file == "-" ? "standard input" : arguments.file, text->bytes);
  if (!recordings) return kUsage;
  reportProblems(list, context.options);  // which are not among those to choose from
  tellSharedRoom(list, context.options);

  SpaceMap map(nullptr);
  bool everythingFits = true;
  for (Recording& recording : *recordings) {
    const double mebibytes = recording.duration.bytes() / kBytesPerMebibyte;
    recording.drive =
        driveWithId(list, map.useSpace(mebibytes, arguments.fit == "best" ? eBestFit : eMostSpace));
    if (recording.drive) continue;
    everythingFits = false;
    complain(printable(recording.name) + " does not fit: no drive has " +
             withUnit(static_cast<uint64_t>(recording.duration.bytes())) +
             " left after what was planned before it.");
  }
  if (context.options.json) {
    context.output.printDocument(asJson(*recordings));
  } else {
    show(context, *recordings);
  }
  return everythingFits ? kDone : kThreshold;
}

// Checking.

struct CheckArguments {
  std::vector<std::string> minutes;
  std::string free;
  std::vector<std::string> drives;
};

struct Limits {
  std::vector<Duration> minutes;
  std::optional<uint64_t> free;
};

// "20GiB", "500 MB", "1000"; nothing for any other text.
std::optional<uint64_t> bytesFrom(const std::string& text) {
  static const std::pair<const char*, double> kUnits[] = {
      {"", 1},         {"B", 1},        {"KiB", 0x1p10}, {"MiB", 0x1p20}, {"GiB", 0x1p30},
      {"TiB", 0x1p40}, {"PiB", 0x1p50}, {"kB", 1e3},     {"KB", 1e3},     {"MB", 1e6},
      {"GB", 1e9},     {"TB", 1e12},    {"PB", 1e15},
  };
  const size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
  const auto number = positiveNumber(text.substr(0, end));
  const size_t from = std::min(text.find_first_not_of(' ', end), text.size());
  for (const auto& [unit, factor] : kUnits) {
    if (number && text.substr(from) == unit && *number * factor < 0x1p63) {
      return static_cast<uint64_t>(*number * factor);
    }
  }
  return {};
}

std::optional<Limits> limitsFrom(const CheckArguments& arguments) {
  Limits limits;
  for (const std::string& text : arguments.minutes) {
    std::string expected;
    const auto duration = durationFrom(text, expected);
    if (!duration) {
      complain("--min-minutes: " + expected + ".");
      return {};
    }
    limits.minutes.push_back(*duration);
  }
  if (!arguments.free.empty()) {
    limits.free = bytesFrom(arguments.free);
    if (!limits.free) {
      complain("--min-free: a size was expected, such as 20GiB or 500MB, not \"" +
               printable(arguments.free) + "\".");
      return {};
    }
  }
  if (!limits.minutes.empty() || limits.free) return limits;
  complain(
      "nothing says how much is enough: --min-minutes 30@dv25 or --min-free 20GiB was expected.");
  return {};
}

struct Shortage {
  std::string what;  // "dv25", or "free"
  double least;      // minutes, or bytes
  std::optional<double> left;
};

// What the drive has too little of.  A full one has too little of everything.
std::vector<Shortage> shortagesOf(const Drive& drive, const Limits& limits) {
  std::vector<Shortage> shortages;
  for (const Duration& limit : limits.minutes) {
    const auto left = minutesLeft(drive, limit.format);
    if (left.value_or(0) < limit.minutes) {
      shortages.push_back({limit.format.name, limit.minutes, left});
    }
  }
  if (!limits.free) return shortages;
  std::optional<double> left;
  if (drive.state.space) left = static_cast<double>(drive.state.space->freeBytes);
  const auto least = static_cast<double>(*limits.free);
  if (left.value_or(0) < least || isFull(drive).value_or(false)) {
    shortages.push_back({"free", least, left});
  }
  return shortages;
}

std::string sentence(const Shortage& shortage) {
  const double left = shortage.left.value_or(0);
  if (shortage.what != "free") {
    return fmt::format("{} min of {} left, not {}", shown(left), shortage.what,
                       shown(shortage.least));
  }
  return withUnit(static_cast<uint64_t>(left)) + " free, not " +
         withUnit(static_cast<uint64_t>(shortage.least));
}

Json asJson(const Shortage& shortage) {
  Json left;
  if (shortage.left) left = static_cast<uint64_t>(*shortage.left);
  if (shortage.what == "free") {
    return {{"free", left}, {"least", static_cast<uint64_t>(shortage.least)}};
  }
  return {{"format", shortage.what}, {"minutes", left}, {"least", shortage.least}};
}

Json asJson(const DriveView& view, const std::vector<Shortage>& shortages) {
  Json object{{"id", view.drive->label}};
  addText(object, "name", view.drive->name);
  addText(object, "path", view.drive->path);
  object["state"] = view.state;
  object["below"] = Json::array();
  for (const Shortage& shortage : shortages) object["below"].push_back(asJson(shortage));
  return object;
}

Exit checkDrives(Context& context, const DriveList& list, const CheckArguments& arguments) {
  const auto limits = limitsFrom(arguments);
  const auto formats = chooseFormats({});
  if (!limits || !formats) return kUsage;
  std::vector<const Drive*> checked;
  for (const std::string& text : arguments.drives) {
    Exit exit;
    const Drive* drive = chooseDrive(list, text, context.options, exit);
    if (!drive) return exit;
    if (std::find(checked.begin(), checked.end(), drive) == checked.end()) {
      checked.push_back(drive);
    }
  }
  if (arguments.drives.empty()) {
    for (const Drive& drive : list.drives) checked.push_back(&drive);
  }

  bool below = false, complete = list.faults.empty();
  for (const std::string& fault : list.faults) complain(fault);
  Json document{{"schema", "miscdisc.check/1"}, {"drives", Json::array()}};
  std::vector<std::vector<std::string>> rows;
  for (const Drive* drive : checked) {
    const auto shortages =
        drive->present() ? shortagesOf(*drive, *limits) : std::vector<Shortage>();
    document["drives"].push_back(asJson(viewOf(*drive, *formats), shortages));
    for (const Shortage& shortage : shortages) {
      rows.push_back(
          {drive->label, printable(drive->name), sentence(shortage), printable(drive->path)});
    }
    below = below || !shortages.empty();
    if (drive->present()) continue;
    complete = false;
    complain(problemOf(*drive, context.options));
  }
  if (context.options.json) {
    context.output.printDocument(document);
  } else {
    context.output.printTable(context.options, {"DRIVE", "NAME", "TOO LITTLE", "PATH"}, rows);
  }
  if (below) return kThreshold;
  return complete ? kDone : kIncomplete;
}

}  // namespace

void addDrivePlanning(CLI::App& drives, Context& context, Command& chosen) {
  const auto planned = std::make_shared<PlanArguments>();
  CLI::App* planning = addDriveCommand(
      drives, context, chosen, "plan", "Which drive takes which recording",
      [&context, planned](DriveList& list) { return plan(context, list, *planned); });
  planning
      ->add_option("FILE", planned->file, "A recording per line: MINUTES@FORMAT NAME; or - (input)")
      ->required();
  planning
      ->add_option(
          "--fit", planned->fit,
          "The drive with the most space (unless set), or the best: what fits most closely")
      ->type_name("HOW")
      ->check(CLI::IsMember({"best", "most"}));

  const auto checked = std::make_shared<CheckArguments>();
  CLI::App* checking = addDriveCommand(
      drives, context, chosen, "check", "Whether drives have enough room: exit 8",
      [&context, checked](DriveList& list) { return checkDrives(context, list, *checked); });
  checking->add_option("--min-minutes", checked->minutes, "For example 30@dv25; may be repeated")
      ->type_name("MINUTES@FORMAT")
      ->allow_extra_args(false);
  checking->add_option("--min-free", checked->free, "20GiB, 500MB, or a number of bytes")
      ->type_name("SIZE");
  checking->add_option("DRIVE", checked->drives, "Ids (E, '#1'), names or paths; all unless given");
}

}  // namespace console
