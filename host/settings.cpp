#include "host/settings.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <map>
#include <mutex>
#include <set>

#include "host/nearest.h"
#include "host/os.h"
#include "host/places.h"
#include "host/read_file.h"
#include "host/state_file.h"
#include "host/toml.h"

namespace host {
namespace {

struct Problem {
  std::string text;
};

// Turns the tables of config.toml into settings; throws the first Problem it meets.
class SettingsReader {
 public:
  SettingsReader(const std::string& file, const toml::table& root) : file_(file), root_(root) {}

  Settings read() const {
    Settings found;
    readVolumes(found);
    readShares(found);
    readMachine(found);
    found.shortNamesOnly = flag("listing", "short_names_only", false);
    found.allowLocalOnly = flag("locks", "allow_local_only", false);
    readRemoteFolders(found);
    readMessenger(found.messenger);
    readFormats(found);
    readDrives(found);
    return found;
  }

  // After read(): what stands in the file that nobody has looked for, in its order.
  std::vector<std::string> unknown() const {
    std::vector<Unknown> found;
    findUnknown(root_, "", found);
    std::sort(found.begin(), found.end(),
              [](const Unknown& a, const Unknown& b) { return a.where < b.where; });
    std::vector<std::string> lines;
    for (const auto& [where, what] : found) lines.push_back(describeProblem(file_, where, what));
    return lines;
  }

 private:
  [[noreturn]] void expected(const toml::source_region& where, const std::string& what) const {
    throw Problem{describeProblem(file_, where.begin, what)};
  }

  // Null when there is no such section.
  const toml::table* section(const char* name) const {
    const toml::node* node = lookFor(root_, name);
    if (node && !node->is_table()) {
      expected(node->source(), std::string(name) + " is a section: [" + name + "] was expected");
    }
    return node ? node->as_table() : nullptr;
  }

  const toml::node* entry(const char* sectionName, const char* key) const {
    const toml::table* table = section(sectionName);
    return table ? lookFor(*table, key) : nullptr;
  }

  bool flag(const char* sectionName, const char* key, bool otherwise) const {
    const toml::node* node = entry(sectionName, key);
    if (!node) return otherwise;
    const auto value = node->value_exact<bool>();
    if (!value) expected(node->source(), std::string(key) + ": true or false was expected");
    return *value;
  }

  std::string fullPath(const toml::node& node, const std::string& name, const char* what) const {
    const auto value = node.value_exact<std::string>();
    if (!value || value->empty() || value->front() != '/' || hasZero(*value)) {
      expected(node.source(), name + ": the full path of a " + what + ", in quotes, was expected");
    }
    return *value;
  }

  std::string folder(const toml::node& node, const std::string& name) const {
    std::string path = fullPath(node, name, "folder");
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
  }

  static bool hasZero(const std::string& text) { return text.find('\0') != std::string::npos; }

  char letter(std::string_view text, const toml::source_region& where) const {
    if (text.size() != 1 || text[0] < 'A' || text[0] > 'Z') {
      expected(where, "a volume's letter from A to Z was expected, not " + std::string(text));
    }
    return text[0];
  }

  void readVolumes(Settings& found) const {
    const toml::table* volumes = section("volumes");
    if (!volumes) return;
    found.discoverVolumes = flag("volumes", "discover", true);
    readQuotaVolumes(found);
    for (const auto& [key, node] : *volumes) {
      const std::string_view name = key.str();
      if (name == "discover" || name == "quota") continue;
      lookFor(*volumes, name);
      const char id = letter(name, key.source());
      found.volumes.push_back({id, folder(node, "volume " + std::string(name))});
    }
    std::sort(found.volumes.begin(), found.volumes.end(),
              [](const auto& a, const auto& b) { return a.letter < b.letter; });
  }

  void readQuotaVolumes(Settings& found) const {
    const toml::node* quota = entry("volumes", "quota");
    if (!quota) return;
    const char* const what = "quota: a list of volume letters in [ ] was expected, as in [\"E\"]";
    if (!quota->is_array()) expected(quota->source(), what);
    for (const toml::node& node : *quota->as_array()) {
      const auto text = node.value_exact<std::string>();
      if (!text) expected(node.source(), what);
      found.quotaVolumes += letter(*text, node.source());
    }
  }

  void readShares(Settings& found) const {
    const toml::table* shares = section("shares");
    if (!shares) return;
    for (const auto& [key, node] : *shares) {
      std::string network(key.str());
      lookFor(*shares, network);
      while (!network.empty() && network.back() == '/') network.pop_back();
      const size_t slash = network.find('/', 2);
      const bool wellFormed = network.compare(0, 2, "//") == 0 && slash != std::string::npos &&
                              slash > 2 && network[slash + 1] != '/' && !hasZero(network) &&
                              network.find('\\') == std::string::npos;
      if (!wellFormed) {
        expected(key.source(), "a share as '//server/share' was expected, not " + network);
      }
      found.shares.push_back({network, folder(node, network)});
    }
  }

  void readMachine(Settings& found) const {
    const toml::node* user = entry("machine", "user");
    if (!user) return;
    const auto name = user->value_exact<std::string>();
    if (!name || !validUserName(*name)) {
      expected(user->source(),
               "user: a name in quotes was expected, without '/' and not starting with '.'");
    }
    found.user = *name;
  }

  void readMessenger(Settings::Messenger& found) const {
    const toml::table* messenger = section("messenger");
    if (!messenger) return;
    const auto text = [&](const char* key, std::string& value) {
      const toml::node* node = lookFor(*messenger, key);
      if (!node) return;
      const auto read = node->value_exact<std::string>();
      if (!read || read->empty() || hasZero(*read)) {
        expected(node->source(), std::string(key) + ": a text in quotes was expected");
      }
      value = *read;
    };
    text("engine", found.engine);
    if (found.engine != "dbus" && found.engine != "nats" && found.engine != "none") {
      expected(placeOf(*messenger, "engine"),
               "engine: \"dbus\", \"nats\" or \"none\" was expected, not " + found.engine);
    }
    text("url", found.url);
    if (found.engine == "nats" && found.url.empty()) {
      expected(
          placeOf(*messenger, "engine"),
          "engine: the url of a server was expected with it, such as url = \"tls://nas:4222\"");
    }
    for (auto [key, path] : {std::pair("credentials", &found.credentials), {"ca", &found.ca}}) {
      if (const toml::node* node = lookFor(*messenger, key)) *path = fullPath(*node, key, "file");
    }
  }

  void readRemoteFolders(Settings& found) const {
    const toml::node* remote = entry("locks", "remote");
    if (!remote) return;
    if (!remote->is_array()) {
      expected(remote->source(), "remote: a list of folders in [ ] was expected");
    }
    for (const toml::node& node : *remote->as_array()) {
      found.remoteFolders.push_back(folder(node, "remote"));
    }
  }

  // Of an entry that is missing, the section that lacks it.
  static const toml::source_region& placeOf(const toml::table& table, const char* key) {
    const toml::node* node = table.get(key);
    return node ? node->source() : table.source();
  }

  uint32_t wholeNumber(const toml::table& table, const char* key, uint32_t from,
                       uint32_t to) const {
    const toml::node* node = lookFor(table, key);
    const auto value = node ? node->value_exact<int64_t>() : std::nullopt;
    if (!value || *value < from || *value > to) {
      expected(placeOf(table, key), std::string(key) + ": a whole number from " +
                                        std::to_string(from) + " to " + std::to_string(to) +
                                        " was expected");
    }
    return static_cast<uint32_t>(*value);
  }

  static bool validFormatName(std::string_view name) {
    const auto fits = [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
             c == '-' || c == '_' || c == '.';
    };
    return !name.empty() && std::all_of(name.begin(), name.end(), fits);
  }

  void readFormats(Settings& found) const {
    const toml::table* formats = section("formats");
    if (!formats) return;
    for (const auto& [key, node] : *formats) {
      const std::string name(key.str());
      lookFor(*formats, name);
      if (!validFormatName(name)) {
        expected(key.source(),
                 "a format's name of letters, digits, '-', '_' and '.' was expected, not " + name);
      }
      if (!node.is_table()) {
        expected(node.source(), name + " is a format: [formats." + name + "] was expected");
      }
      found.formats.push_back(recordingFormat(name, *node.as_table()));
    }
  }

  RecordingFormat recordingFormat(const std::string& name, const toml::table& table) const {
    // The bits of the largest picture still fit 32 bits, in which the library counts them.
    constexpr uint32_t kLargestSide = 8192, kMostBits = 48;
    const std::string code = fourcc(table);
    RecordingFormat read{name, "", {imageFormatOf(code), 0}, {}};
    read.shot.picture.width = wholeNumber(table, "width", 1, kLargestSide);
    read.shot.picture.height = wholeNumber(table, "height", 1, kLargestSide);
    read.shot.picture.bitsPerPixel =
        static_cast<uint16_t>(wholeNumber(table, "bits", 1, kMostBits));
    read.shot.frameRate = frameRate(table);
    readMegabits(table, code, read);
    read.description = description(table, code + ", " + describePicture(read.shot));
    return read;
  }

  std::string fourcc(const toml::table& table) const {
    const toml::node* node = lookFor(table, "fourcc");
    const auto code = node ? node->value_exact<std::string>() : std::nullopt;
    const auto printable = [](char c) { return c >= ' ' && c <= '~'; };
    if (!code || code->size() != 4 || !std::all_of(code->begin(), code->end(), printable)) {
      expected(placeOf(table, "fourcc"),
               "fourcc: a code of four characters, in quotes, was expected, such as \"UYVY\"");
    }
    return *code;
  }

  Qx::FrameRate frameRate(const toml::table& table) const {
    const toml::node* node = lookFor(table, "rate");
    const double rate = node && node->is_number() ? *node->value<double>() : 0.0;
    if (!(rate >= 1 && rate <= 1000)) {
      expected(placeOf(table, "rate"),
               "rate: frames per second from 1 to 1000 were expected, such as 25 or 29.97");
    }
    return Qx::FrameRate{static_cast<uint32_t>(std::lround(rate * 1000))};
  }

  // What an MPEG or VC-3 format takes hangs on its rate; with other codes a rate would be a
  // promise that nobody keeps.
  void readMegabits(const toml::table& table, const std::string& code,
                    RecordingFormat& read) const {
    const bool vc3 = code == "AVdn" || code == "AVdx";
    if (!vc3 && code != "MPEG") {
      if (!lookFor(table, "megabits")) return;
      expected(placeOf(table, "megabits"),
               "megabits: a fourcc of \"MPEG\", \"AVdn\" or \"AVdx\" was expected with it");
    }
    read.format.mpegRate = wholeNumber(table, "megabits", 1, 10000);
    if (vc3 && CompressionFormat::getFrameSize(read.format, read.shot) == 0) {
      expected(placeOf(table, "megabits"), "megabits: the rate of a VC-3 class for " +
                                               describePicture(read.shot) +
                                               " was expected; formats.md lists the classes");
    }
  }

  std::string description(const toml::table& table, const std::string& otherwise) const {
    const toml::node* node = lookFor(table, "description");
    if (!node) return otherwise;
    const auto text = node->value_exact<std::string>();
    if (!text) expected(node->source(), "description: a text in quotes was expected");
    return *text;
  }

  void readDrives(Settings& found) const {
    const toml::table* drives = section("drives");
    if (!drives) return;
    if (const toml::node* formats = lookFor(*drives, "formats")) {
      found.drivesFormats = drivesFormats(*formats, found.formats);
    }
    if (lookFor(*drives, "low_minutes")) {
      constexpr uint32_t kMostMinutes = 100000;
      found.lowMinutes = wholeNumber(*drives, "low_minutes", 0, kMostMinutes);
    }
  }

  std::vector<std::string> drivesFormats(const toml::node& formats,
                                         const std::vector<RecordingFormat>& configured) const {
    const toml::array* list = formats.as_array();
    if (!list || list->empty()) {
      expected(formats.source(),
               "formats: names of recording formats in [ ] were expected, such as [\"dv25\"]");
    }
    std::vector<RecordingFormat> known = builtInFormats();
    known.insert(known.end(), configured.begin(), configured.end());
    std::vector<std::string> names;
    for (const toml::node& node : *list) {
      const auto name = node.value_exact<std::string>();
      if (!name) expected(node.source(), "formats: a format's name in quotes was expected");
      const bool isKnown = std::any_of(known.begin(), known.end(),
                                       [&](const auto& format) { return format.name == *name; });
      if (!isKnown) {
        expected(node.source(),
                 "formats: a built-in format or one of [formats] was expected, not " + *name +
                     "; formats.md lists the built-in ones");
      }
      names.push_back(*name);
    }
    return names;
  }

  // What is looked for in a table is what it may have.
  const toml::node* lookFor(const toml::table& table, std::string_view key) const {
    known_[&table].emplace(key);
    return table.get(key);
  }

  struct Unknown {
    toml::source_position where;
    std::string what;
  };

  void findUnknown(const toml::table& table, const std::string& section,
                   std::vector<Unknown>& found) const {
    const std::set<std::string>& known = known_[&table];
    for (const auto& [key, node] : table) {
      const std::string name(key.str());
      if (!known.contains(name)) {
        found.push_back({key.source().begin, describeUnknown(node, name, section, known)});
      } else if (const toml::table* inner = node.as_table()) {
        findUnknown(*inner, section.empty() ? name : section + "." + name, found);
      }
    }
  }

  static std::string describeUnknown(const toml::node& node, const std::string& name,
                                     const std::string& section,
                                     const std::set<std::string>& known) {
    const bool isSection = node.is_table() || node.is_array_of_tables();
    if (section.empty() && !isSection) {
      return "there is no setting \"" + name + "\" outside the sections";
    }
    const char* const before = section.empty() ? "[" : "\"";
    const char* const behind = section.empty() ? "]" : "\"";
    const std::string meant =
        didYouMean(nearest(name, {known.begin(), known.end()}), before, behind);
    if (section.empty()) return "there is no section [" + name + "]" + meant;
    return "there is no setting \"" + name + "\" in [" + section + "]" + meant;
  }

  const std::string& file_;
  const toml::table& root_;
  mutable std::map<const toml::table*, std::set<std::string>> known_;  // to be in a table
};

struct Loaded {
  std::shared_ptr<const Settings> settings = std::make_shared<Settings>();
  std::string problem;
  std::vector<std::string> unknown;
};

Loaded load() {
  const std::string file = places().config + "/config.toml";
  const FileContents contents = readFile(file);
  Loaded loaded;
  if (contents.error == ENOENT || contents.error == ENOTDIR) return loaded;
  if (contents.error != 0) {
    loaded.problem = describeUnreadable(file, contents.error);
    return loaded;
  }
  TomlFile parsed = parseToml(file, contents.bytes);
  loaded.problem = parsed.problem;
  if (!loaded.problem.empty()) return loaded;
  try {
    const SettingsReader reader(file, parsed.table);
    loaded.settings = std::make_shared<const Settings>(reader.read());
    loaded.unknown = reader.unknown();
  } catch (const Problem& problem) {
    loaded.problem = problem.text;
  }
  return loaded;
}

// Never destroyed: settings are asked for by other libraries' last words too.
struct Current {
  std::mutex mutex;
  Loaded loaded = load();
};

Current& current() {
  static Current& instance = *new Current;
  return instance;
}

}  // namespace

std::shared_ptr<const Settings> settings() {
  Current& now = current();
  const std::lock_guard lock(now.mutex);
  return now.loaded.settings;
}

void reloadSettings() {
  Loaded fresh = load();
  Current& now = current();
  const std::lock_guard lock(now.mutex);
  now.loaded = std::move(fresh);
}

std::string settingsProblem() {
  std::string problem;
  {
    Current& now = current();
    const std::lock_guard lock(now.mutex);
    problem = now.loaded.problem;
  }
  const std::string stateProblem = StateFile::instance().problem();
  if (!problem.empty() && !stateProblem.empty()) problem += "\n";
  return problem + stateProblem;
}

std::vector<std::string> unknownSettings() {
  Current& now = current();
  const std::lock_guard lock(now.mutex);
  return now.loaded.unknown;
}

}  // namespace host
