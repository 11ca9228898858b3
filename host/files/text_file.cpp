#include "miscdisc/platform/text_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "host/files/list_guard.h"
#include "host/files/mount_facts.h"
#include "host/files/native_path.h"
#include "host/files/open_file.h"
#include "host/files/replace_file.h"
#include "host/read_file.h"

namespace host {
namespace {

using Lines = std::vector<String>;

constexpr size_t kMostBytes = 64 << 20;  // a list of drives is never that long
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// One change to a list.  A removal says what the line reads and which of the lines that read so
// it is, since others may have moved it meanwhile.
struct Edit {
  enum class Kind { kAppend, kRemove } kind;
  String text;
  size_t occurrence;
};

Lines splitLines(std::string_view bytes) {
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  Lines lines;
  while (!bytes.empty()) {
    const size_t end = std::min(bytes.find('\n'), bytes.size());
    std::string_view line = bytes.substr(0, end);
    const bool ended = end < bytes.size();
    if (ended && line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    bytes.remove_prefix(ended ? end + 1 : end);
  }
  return lines;
}

// The lines of a file; none for a missing one; nothing when it is there and cannot be read.
std::optional<Lines> readLines(const std::string& path) {
  const FileContents contents = readFile(path, kMostBytes);
  if (contents.error == ENOENT) return Lines();
  if (contents.error != 0) return std::nullopt;
  return splitLines(contents.bytes);
}

std::string joinLines(const Lines& lines) {
  std::string bytes;
  for (const String& line : lines) bytes.append(line).append(1, '\n');
  return bytes;
}

void apply(const std::vector<Edit>& edits, Lines& lines) {
  for (const Edit& edit : edits) {
    if (edit.kind == Edit::Kind::kAppend) {
      lines.push_back(edit.text);
      continue;
    }
    auto chosen = lines.end();
    size_t seen = 0;
    for (auto line = lines.begin(); line != lines.end(); ++line) {
      if (*line != edit.text) continue;
      if (chosen == lines.end() || seen == edit.occurrence) chosen = line;
      if (seen++ == edit.occurrence) break;
    }
    if (chosen != lines.end()) lines.erase(chosen);
  }
}

}  // namespace
}  // namespace host

struct TextFile::Contents {
  std::string path;
  bool loaded;
  bool saveable = true;
  host::Lines lines;
  std::vector<host::Edit> edits;
};

TextFile::TextFile(const WString& path, bool load)
    : contents_(std::make_unique<Contents>(Contents{host::nativePath(path), load, true, {}, {}})) {
  if (!load) return;
  std::optional<host::Lines> lines = host::readLines(contents_->path);
  contents_->saveable = lines.has_value();
  if (lines) contents_->lines = std::move(*lines);
}

TextFile::~TextFile() = default;

size_t TextFile::getNumLines() const { return contents_->lines.size(); }

const String& TextFile::operator[](size_t line) const { return contents_->lines[line]; }

void TextFile::appendLine(const String& line) {
  contents_->lines.push_back(line);
  contents_->edits.push_back({host::Edit::Kind::kAppend, line, 0});
}

void TextFile::removeLine(size_t line) {
  host::Lines& lines = contents_->lines;
  if (line >= lines.size()) return;
  const auto removed = lines.begin() + static_cast<std::ptrdiff_t>(line);
  const auto before = std::count(lines.begin(), removed, *removed);
  contents_->edits.push_back({host::Edit::Kind::kRemove, *removed, static_cast<size_t>(before)});
  lines.erase(removed);
}

bool TextFile::save(const WString& path, eEOLStyle) {
  if (!contents_->saveable) return false;
  const std::string asked = path.empty() ? contents_->path : host::nativePath(path);
  const bool own = asked == contents_->path;
  const std::string target = host::linkedFile(asked);
  if (target.empty() || host::lastComponent(target).empty()) return false;
  const std::optional<host::Folder> folder = host::folderToWrite(target);
  if (!folder) return false;

  host::FileLock guard = host::takeListGuard(*folder, host::lastComponent(target));
  if (!guard.held()) return false;

  // A network client may believe for a while that the name is free, or still the file of before;
  // wishing to create it asks the server.  What this makes reads like a missing file.
  bool placeholder = false;
  if (host::mountFacts(folder->path, folder->id.device).remote) {
    placeholder = bool(host::createNew(target, O_WRONLY, *folder));
  }
  std::optional<host::Lines> newest = host::readLines(target);
  if (!newest) {
    guard.removeFile();
    return false;
  }
  const bool merges = own && contents_->loaded;
  if (merges) host::apply(contents_->edits, *newest);
  const bool saved =
      host::replaceFile(target, *folder, host::joinLines(merges ? *newest : contents_->lines));
  if (saved && own) contents_->edits.clear();
  if (!saved && placeholder) unlink(target.c_str());
  guard.removeFile();
  return saved;
}
