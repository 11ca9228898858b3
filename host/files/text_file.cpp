#include "miscdisc/platform/text_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host/files/lock_file.h"
#include "host/files/mount_facts.h"
#include "host/files/native_path.h"
#include "host/files/open_file.h"
#include "miscdisc/platform/log.h"

namespace host {
namespace {

using Lines = std::vector<String>;

constexpr off_t kMostBytes = 64 << 20;  // a list of drives is never that long
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr int kMostLinks = 40;  // as many as the kernel follows

constexpr std::chrono::seconds kGuardPatience{5};
constexpr std::chrono::seconds kRenamePatience{1};
constexpr time_t kTemporaryLife = 60 * 60;  // seconds; no writer takes that long

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
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) {
    if (errno == ENOENT) return Lines();
    return std::nullopt;
  }
  struct stat status;
  if (fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size > kMostBytes) return std::nullopt;

  // Until a read gives nothing: a failed one must not pass for the end of the file.
  std::string bytes;
  std::vector<char> block(1 << 16);
  while (true) {
    const ssize_t got = ::read(file.number(), block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return splitLines(bytes);
    bytes.append(block.data(), static_cast<size_t>(got));
    if (bytes.size() > static_cast<size_t>(kMostBytes)) return std::nullopt;
  }
}

// What a symbolic link stands for; the path itself when it is none.  Empty for a ring of links.
std::string linkedFile(std::string path) {
  for (int links = 0; links < kMostLinks; ++links) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof(target));
    if (length < 0) return path;
    const std::string next(target, static_cast<size_t>(length));
    path = next.starts_with('/') ? next : path.substr(0, path.rfind('/') + 1) + next;
  }
  return {};
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

std::string unique() {
  uint64_t random = 0;
  if (getrandom(&random, sizeof(random), 0) != sizeof(random)) random = std::random_device()();
  char text[64];
  std::snprintf(text, sizeof(text), "%x-%016llx", static_cast<unsigned>(getpid()),
                static_cast<unsigned long long>(random));
  return text;
}

// Rights as the old file has them, as far as this user may give them.
void keepRights(const std::string& old, int file) {
  struct stat before, now;
  if (stat(old.c_str(), &before) != 0 || fstat(file, &now) != 0) return;
  if (before.st_uid != now.st_uid || before.st_gid != now.st_gid) {
    (void)!fchown(file, before.st_uid, before.st_gid);
  }
  (void)!fchmod(file, before.st_mode & 07777);

  constexpr char kAccessList[] = "system.posix_acl_access";
  char list[4096];
  const ssize_t size = getxattr(old.c_str(), kAccessList, list, sizeof(list));
  if (size > 0) (void)!fsetxattr(file, kAccessList, list, static_cast<size_t>(size), 0);
}

bool renamePatiently(const std::string& from, const std::string& to) {
  const auto end = std::chrono::steady_clock::now() + kRenamePatience;
  while (rename(from.c_str(), to.c_str()) != 0) {
    // An SMB server refuses while anybody has the file open, and readers are quick.
    if (errno != EACCES && errno != EBUSY) return false;
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// The name of the file is on the disk, too.
void syncFolder(const std::string& folder) {
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const bool synced = opened && fsync(opened.number()) == 0;
  // Some servers know no such request, for they answer a rename only when it is on the disk.
  if (!synced && errno != EINVAL && errno != ENOTSUP && errno != EACCES) {
    Log("%s: the folder could not be synced: %s\n", folder.c_str(), std::strerror(errno));
  }
}

// What crashed writers left.  The clock is the server's, by the file that was just written.
void removeOldTemporaries(const std::string& folder, const std::string& name, time_t now) {
  const Listing listing(opendir(folder.c_str()));
  if (!listing) return;
  const std::string prefix = "." + name + ".";
  while (const dirent* entry = readdir(listing.get())) {
    const std::string_view found = entry->d_name;
    if (!found.starts_with(prefix) || !found.ends_with(".tmp")) continue;
    struct stat status;
    if (fstatat(dirfd(listing.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (S_ISREG(status.st_mode) && status.st_mtime < now - kTemporaryLife) {
      unlinkat(dirfd(listing.get()), entry->d_name, 0);
    }
  }
}

// The whole file at once: whoever reads meanwhile, or after a crash, finds the old lines or the
// new ones.
bool replaceFile(const std::string& path, const Folder& folder, const Lines& lines) {
  const std::string name = lastComponent(path);
  const std::string temporary = folder.path + "/." + name + "." + unique() + ".tmp";
  Descriptor file = createNew(temporary, O_WRONLY, folder);
  if (!file) return false;
  keepRights(path, file.number());

  std::string bytes;
  for (const String& line : lines) bytes.append(line).append(1, '\n');
  struct stat status = {};
  const bool written = writeFully(file.number(), bytes.data(), bytes.size()) &&
                       fsync(file.number()) == 0 && fstat(file.number(), &status) == 0;
  if (!file.close() || !written || !renamePatiently(temporary, path)) {
    unlink(temporary.c_str());
    return false;
  }
  syncFolder(folder.path);
  removeOldTemporaries(folder.path, name, status.st_mtime);
  return true;
}

// Of two writers that met, one must come again later than the other.
void pause() {
  thread_local std::minstd_rand random{std::random_device()()};
  std::this_thread::sleep_for(
      std::chrono::microseconds(std::uniform_int_distribution<>(1000, 5000)(random)));
}

FileLock takeGuard(const std::string& path) {
  const auto end = std::chrono::steady_clock::now() + kGuardPatience;
  while (true) {
    int error = 0;
    FileLock guard = FileLock::take(path, LockKind::kExclusive, error);
    if (guard.held() || error != EAGAIN || std::chrono::steady_clock::now() >= end) return guard;
    pause();
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
  const std::string asked = path.empty() ? contents_->path : host::nativePath(path);
  const bool own = asked == contents_->path;
  if (own && !contents_->saveable) return false;
  const std::string target = host::linkedFile(asked);
  if (target.empty() || host::lastComponent(target).empty()) return false;
  const std::optional<host::Folder> folder = host::folderToWrite(target);
  if (!folder) return false;

  // The lock is on a file beside the list: an SMB server refuses to rename over one that we hold.
  host::FileLock guard = host::takeGuard(folder->path + "/." + host::lastComponent(target) + ".lk");
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
  const bool saved = host::replaceFile(target, *folder, merges ? *newest : contents_->lines);
  if (saved && own) contents_->edits.clear();
  if (!saved && placeholder) unlink(target.c_str());
  guard.removeFile();
  return saved;
}
