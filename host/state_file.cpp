#include "host/state_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "host/files/open_file.h"
#include "host/files/replace_file.h"
#include "host/places.h"
#include "host/read_file.h"
#include "host/toml.h"
#include "miscdisc/platform/values/text.h"

namespace host {
namespace {

constexpr auto kGuardPatience = std::chrono::seconds(5);
constexpr auto kGuardPause = std::chrono::milliseconds(2);
constexpr int64_t kClockGrain = 50'000'000;  // ns; coarser than any local file system's times

int64_t nanoseconds(const timespec& time) { return time.tv_sec * 1'000'000'000 + time.tv_nsec; }

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         nanoseconds(a.st_mtim) == nanoseconds(b.st_mtim) &&
         nanoseconds(a.st_ctim) == nanoseconds(b.st_ctim);
}

// A file that was written just now may be written again without any change of its identity.
bool writtenJustNow(const struct stat& file) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return nanoseconds(now) - nanoseconds(file.st_mtim) < kClockGrain;
}

bool isUtf8(const std::string& text) {
  for (wchar_t c : Qx::WStringFromUTF8(text)) {
    if (c >= 0xDC80 && c <= 0xDCFF) return false;
  }
  return true;
}

std::string hexadecimal(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text;
}

std::optional<std::string> bytesFromHexadecimal(const std::string& text) {
  if (text.size() % 2 != 0) return {};
  std::string bytes;
  for (size_t i = 0; i < text.size(); i += 2) {
    unsigned char byte = 0;
    const char* end = text.data() + i + 2;
    if (std::from_chars(text.data() + i, end, byte, 16).ptr != end) return {};
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

std::optional<std::string> textOf(const toml::node& node) {
  if (auto text = node.value_exact<std::string>()) return text;
  const toml::table* table = node.as_table();
  if (!table) return {};
  const auto digits = (*table)["bytes"].value_exact<std::string>();
  return digits ? bytesFromHexadecimal(*digits) : std::nullopt;
}

using Sections = std::map<std::string, std::map<std::string, std::string>>;

// Everything in the file must be what we write: else a change would be made on a misunderstanding.
// The result is the problem, empty when there is none.
std::string understand(const std::string& file, const toml::table& root, Sections& sections) {
  for (const auto& [name, section] : root) {
    const toml::table* entries = section.as_table();
    if (!entries) {
      return describeProblem(file, section.source().begin, "a section of keys was expected");
    }
    auto& values = sections[std::string(name.str())];
    for (const auto& [key, node] : *entries) {
      const auto text = textOf(node);
      if (!text) return describeProblem(file, node.source().begin, "a text in quotes was expected");
      values[std::string(key.str())] = *text;
    }
  }
  return "";
}

// A lock of the open file description, so that threads exclude each other as processes do.  The
// lock file is hidden and never deleted: whoever waits for it and whoever comes later must mean
// the same file.
bool takeGuard(const Descriptor& guard) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  const auto deadline = std::chrono::steady_clock::now() + kGuardPatience;
  while (fcntl(guard.number(), F_OFD_SETLK, &lock) != 0) {
    const bool held = errno == EAGAIN || errno == EACCES || errno == EINTR;
    if (!held || std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kGuardPause);
  }
  return true;
}

// A TOML string on one line; keys are written the same way.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += {'\\', c};
    } else if (byte < 0x20 || byte == 0x7F) {
      result += "\\u00" + hexadecimal({c});
    } else {
      result += c;
    }
  }
  return result + "\"";
}

// By hand, for the library's formatter does not escape a line end in a key.
std::string formatted(const Sections& sections) {
  std::string text = "# Written by miscdisc; what people write is in config.toml.\n";
  for (const auto& [name, values] : sections) {
    text += "\n[" + quoted(name) + "]\n";
    for (const auto& [key, value] : values) {
      text += quoted(key) + " = ";
      text += isUtf8(value) ? quoted(value) : "{ bytes = " + quoted(hexadecimal(value)) + " }";
      text += "\n";
    }
  }
  return text;
}

}  // namespace

struct StateFile::Contents {
  std::mutex mutex;
  bool read = false;       // the rest is what the file held when it was last read
  bool uncertain = false;  // it may have been written again since without a trace
  struct stat identity {};
  Sections sections;
  std::string problem;
};

StateFile::StateFile() : contents_(new Contents) {}

StateFile& StateFile::instance() {
  static StateFile& file = *new StateFile;
  return file;
}

std::string StateFile::path() const { return places().state + "/state.toml"; }

StateFile::Contents& StateFile::newest() {
  Contents& known = *contents_;
  const std::string file = path();
  struct stat now {};
  if (stat(file.c_str(), &now) != 0) now = {};
  if (known.read && !known.uncertain && sameFile(now, known.identity)) return known;

  const FileContents contents = readFile(file);
  known.read = true;
  known.identity = contents.identity;
  known.uncertain = contents.error == 0 && writtenJustNow(contents.identity);
  known.sections.clear();
  known.problem.clear();
  if (contents.error == ENOENT || contents.error == ENOTDIR) return known;
  if (contents.error != 0) {
    known.uncertain = true;
    known.problem = describeUnreadable(file, contents.error);
    return known;
  }
  TomlFile parsed = parseToml(file, contents.bytes);
  known.problem = parsed.problem;
  if (known.problem.empty()) known.problem = understand(file, parsed.table, known.sections);
  if (!known.problem.empty()) known.sections.clear();
  return known;
}

std::optional<std::string> StateFile::value(const std::string& section, const std::string& key) {
  const std::lock_guard lock(contents_->mutex);
  const Sections& sections = newest().sections;
  const auto values = sections.find(section);
  if (values == sections.end()) return {};
  const auto found = values->second.find(key);
  return found == values->second.end() ? std::nullopt : std::optional(found->second);
}

std::map<std::string, std::string> StateFile::values(const std::string& section) {
  const std::lock_guard lock(contents_->mutex);
  const Sections& sections = newest().sections;
  const auto found = sections.find(section);
  return found == sections.end() ? std::map<std::string, std::string>() : found->second;
}

std::vector<std::string> StateFile::sections() {
  const std::lock_guard lock(contents_->mutex);
  std::vector<std::string> names;
  for (const auto& [name, values] : newest().sections) names.push_back(name);
  return names;
}

bool StateFile::setValue(const std::string& section, const std::string& key,
                         const std::string& value) {
  return change(section, key, [&](std::optional<std::string>& stored) {
    stored = value;
    return true;
  });
}

bool StateFile::removeValue(const std::string& section, const std::string& key) {
  if (!this->value(section, key) && problem().empty()) return true;
  return change(section, key, [](std::optional<std::string>& stored) {
    stored.reset();
    return true;
  });
}

bool StateFile::replaceValue(const std::string& section, const std::string& key,
                             const std::optional<std::string>& expected, const std::string& value) {
  return change(section, key, [&](std::optional<std::string>& stored) {
    if (stored != expected) return false;
    stored = value;
    return true;
  });
}

std::string StateFile::problem() {
  const std::lock_guard lock(contents_->mutex);
  return newest().problem;
}

bool StateFile::change(const std::string& section, const std::string& key, const Change& change) {
  if (!isUtf8(section) || !isUtf8(key)) return false;
  std::error_code error;
  std::filesystem::create_directories(places().state, error);
  // What a link in its place leads to, so that a rename replaces the right file.
  const std::string file = linkedFile(path());
  if (file.empty()) return false;

  const std::optional<Folder> folder = folderOf(file);
  if (!folder) return false;
  const std::string guardPath = folder->path + "/.state.toml.lk";
  const Descriptor guard(open(guardPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
  if (!guard || !takeGuard(guard)) return false;

  const std::lock_guard lock(contents_->mutex);
  contents_->uncertain = true;
  const Contents& old = newest();
  if (!old.problem.empty()) return false;

  Sections sections = old.sections;
  auto& values = sections[section];
  const auto found = values.find(key);
  std::optional<std::string> value;
  if (found != values.end()) value = found->second;
  if (!change(value)) return false;
  if (value) {
    values[key] = *value;
  } else {
    values.erase(key);
  }
  contents_->uncertain = true;
  return replaceFile(file, *folder, formatted(sections));
}

}  // namespace host
