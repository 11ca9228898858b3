#include "host/files/file_manager.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "host/files/lock_file.h"
#include "host/files/mark.h"
#include "host/files/mount_facts.h"
#include "host/files/native_path.h"
#include "host/files/new_list.h"
#include "host/files/open_file.h"
#include "host/places.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/string_compare.h"

namespace host {
namespace {

constexpr unsigned kRead = 0, kWrite = 1, kReadWrite = 2;    // access
constexpr unsigned kKeep = 0, kExisting = 1, kTruncate = 4;  // creation
constexpr unsigned kProbeSharing = 1, kLockSharing = 3;      // with kLockFlag
constexpr unsigned kLockFlag = 32;
constexpr uint32_t kMarked = 2;

// A remove locks a login file for an instant; a login that meets one waits for its end.
constexpr std::chrono::milliseconds kLoginPatience{2000};
constexpr std::chrono::milliseconds kLoginPause{2};

// Without a destructor: static objects of the application may still open files when those of a
// thread are gone.
struct Failure {
  char path[PATH_MAX];  // as much of it as fits
  size_t length;
  int error;
};
static_assert(std::is_trivially_destructible_v<Failure>);
thread_local constinit Failure lastFailure{};

std::nullptr_t failed(const std::string& path, int error) {
  lastFailure.length = path.copy(lastFailure.path, sizeof lastFailure.path);
  lastFailure.error = error;
  errno = error;
  return nullptr;
}

class OpenFile final : public iFile {
 public:
  explicit OpenFile(Descriptor file) : file_(std::move(file)) {}

  bool valid() const override { return true; }

  int64_t size() override { return sizeOf(file_.number()); }

  size_t read(void* bytes, size_t count) override {
    return readFully(file_.number(), bytes, count);
  }

  bool write(const void* bytes, size_t count) override {
    return writeFully(file_.number(), bytes, count);
  }

 private:
  Descriptor file_;
};

class LockHandle final : public iFile {
 public:
  explicit LockHandle(FileLock lock) : lock_(std::move(lock)) {}

  bool valid() const override { return lock_.held(); }

  int64_t size() override {
    int64_t bytes = 0;
    lock_.withDescriptor([&](int file) { bytes = sizeOf(file); });
    return bytes;
  }

  size_t read(void* bytes, size_t count) override {
    size_t done = 0;
    lock_.withDescriptor([&](int file) { done = readFully(file, bytes, count); });
    return done;
  }

  bool write(const void* bytes, size_t count) override {
    bool done = false;
    lock_.withDescriptor([&](int file) { done = writeFully(file, bytes, count); });
    return done;
  }

 private:
  FileLock lock_;
};

// What a probe gives: the answer, without a file behind it.
class ProbeHandle final : public iFile {
 public:
  bool valid() const override { return true; }
  int64_t size() override { return 0; }
  size_t read(void*, size_t) override { return 0; }
  bool write(const void*, size_t) override { return false; }
};

bool mayReadAndWrite(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0;
}

Qx::Ptr<iFile> probe(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) return failed(path, EINVAL);
    if (!mayReadAndWrite(path)) return failed(path, errno);
    return new ProbeHandle;
  }
  if (errno != ENOENT) return failed(path, errno);
  const std::optional<Folder> folder = folderOf(path);
  if (!folder) {
    // The lock itself would make it, and a probe makes nothing.
    if (errno == ENOENT && inDefaultFolder(path)) return new ProbeHandle;
    return failed(path, errno);
  }
  if (faccessat(AT_FDCWD, folder->path.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    return failed(path, errno);
  }
  return new ProbeHandle;
}

Qx::Ptr<iFile> openLock(const std::string& path, LockKind kind) {
  const auto patience = kind == LockKind::kShared ? kLoginPatience : std::chrono::milliseconds(0);
  const auto end = std::chrono::steady_clock::now() + patience;
  int error = 0;
  FileLock lock = FileLock::take(path, kind, error);
  while (!lock.held() && error == EAGAIN && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(kLoginPause);
    lock = FileLock::take(path, kind, error);
  }
  if (!lock.held()) return failed(path, error);
  if (kind == LockKind::kShared && isMarked(path, true)) {
    lock.withDescriptor([](int file) { setMark(file, false); });
  }
  return new LockHandle(std::move(lock));
}

// Also where a list is there already: another machine may have made it a moment ago.
Qx::Ptr<iFile> openList(const std::string& path) {
  if (!openExisting(path, O_WRONLY) && errno != ENOENT) return failed(path, errno);
  const std::optional<Folder> folder = folderToWrite(path);
  if (!folder) return failed(path, errno);
  Qx::Ptr<iFile> list = openNewList(path, *folder);
  return list ? list : failed(path, errno);
}

Qx::Ptr<iFile> openPlain(const std::string& path, int access, unsigned creation) {
  if (creation == kTruncate) noteInformationWritten(path);

  const bool creates = creation != kExisting || access != O_RDONLY;
  Descriptor file = openExisting(path, access);
  // Between the two opens others may make the file or take it away.
  for (int attempt = 0; !file && errno == ENOENT && creates && attempt < 100; ++attempt) {
    const std::optional<Folder> folder = folderToWrite(path);
    if (!folder) break;
    file = createNew(path, access, *folder);
    if (!file && errno == EEXIST) file = openExisting(path, access);
  }
  if (!file) return failed(path, errno);

  if (creation == kTruncate) {
    struct stat status;
    if (fstat(file.number(), &status) != 0) return failed(path, errno);
    if (status.st_size > 0 && ftruncate(file.number(), 0) != 0) return failed(path, errno);
  }
  return new OpenFile(std::move(file));
}

// Empty for what names nothing.
WString inBase(const WString& path) {
  return path.empty() || path[0] == L'/' ? path : getProjectsBaseDirectory() + path;
}

std::string pathInBase(const WString& path) { return nativePath(inBase(path)); }

// '*' stands for any characters, '?' for one.
bool matches(std::wstring_view name, std::wstring_view pattern) {
  size_t afterStar = std::wstring_view::npos, resume = 0, n = 0, p = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == L'*') {
      afterStar = ++p;
      resume = n;
    } else if (p < pattern.size() &&
               (pattern[p] == L'?' || pattern[p] == name[n] ||
                Qx::compareCaseInsensitive(WString(1, pattern[p]), WString(1, name[n])))) {
      ++p;
      ++n;
    } else if (afterStar != std::wstring_view::npos) {
      p = afterStar;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == L'*') ++p;
  return p == pattern.size();
}

bool isOrdinary(int folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_REG;
  struct stat status;
  return fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode);
}

bool copyContents(int from, int to) {
  std::vector<char> bytes(1 << 16);
  while (true) {
    const ssize_t got = ::read(from, bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    if (!writeFully(to, bytes.data(), static_cast<size_t>(got))) return false;
  }
}

class FileManager final : public iFileManager {
 public:
  wchar_t getPathSeparator() override { return L'/'; }

  Qx::Ptr<iFile> open(const WString& wide, unsigned access, unsigned sharing, unsigned creation,
                      unsigned flags) override {
    const std::string path = pathInBase(wide);
    if (path.empty()) return failed(path, ENOENT);
    if (flags == kLockFlag) {
      if (access != kReadWrite) return failed(path, EINVAL);
      rememberLock(path);
      if (sharing == kProbeSharing) return probe(path);
      if (sharing != kLockSharing) return failed(path, EINVAL);
      if (creation == kKeep) return openLock(path, LockKind::kExclusive);
      if (creation == kTruncate) return openLock(path, LockKind::kShared);
      return failed(path, EINVAL);
    }
    const bool known = creation == kKeep || creation == kExisting || creation == kTruncate;
    if (flags != 0 || !known) return failed(path, EINVAL);
    if (access == kWrite && creation == kExisting) return openList(path);
    switch (access) {
      case kRead:
        return openPlain(path, O_RDONLY, creation);
      case kWrite:
        return openPlain(path, O_WRONLY, creation);
      case kReadWrite:
        return openPlain(path, O_RDWR, creation);
      default:
        return failed(path, EINVAL);
    }
  }

  bool createDirectory(const WString& wide) override {
    std::string path = pathInBase(wide);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    if (path.empty()) return false;
    const std::optional<Folder> parent = folderToWrite(path);
    return parent && createFolder(path, *parent);
  }

  bool copy(const WString& wideSource, const WString& wideDestination, unsigned, unsigned,
            unsigned) override {
    const std::string source = pathInBase(wideSource);
    const std::string destination = pathInBase(wideDestination);
    if (source.empty() || destination.empty()) return false;
    // A list may be a link, as it may for TextFile.
    const Descriptor from = openExisting(linkedFile(source), O_RDONLY);
    if (!from) return false;
    const std::optional<Folder> folder = folderToWrite(destination);
    if (!folder) return false;
    Descriptor to = createNew(destination, O_WRONLY, *folder);
    if (!to) return false;
    const bool copied = copyContents(from.number(), to.number());
    if (to.close() && copied) return true;
    unlink(destination.c_str());
    return false;
  }

  bool remove(const WString& wide) override {
    const std::string path = pathInBase(wide);
    if (path.empty()) return false;
    const Removal guarded = removeGuarded(path);
    if (guarded != Removal::kPlain) return guarded == Removal::kRemoved;
    return unlink(path.c_str()) == 0;
  }

  bool list(const WString& given, Vector<DirectoryItem>& items, unsigned, unsigned) override {
    items.clear();
    const WString pattern = inBase(given);
    const size_t nameStart = pattern.rfind(L'/') + 1;
    const WString mask = pattern.substr(nameStart);
    const std::string folder = nativePath(pattern.substr(0, nameStart));

    // Opened anew each time: this is what makes a network client ask the server.
    const Listing directory(opendir(folder.c_str()));
    if (!directory) return false;
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
      const std::string name = entry->d_name;
      if (name.ends_with(".tmp")) continue;  // a file that is still being written
      if (!matches(Qx::WStringFromUTF8(name), mask)) continue;
      if (isOrdinary(dirfd(directory.get()), *entry)) names.push_back(name);
      errno = 0;
    }
    const bool complete = errno == 0;
    std::sort(names.begin(), names.end());

    struct stat status = {};
    const bool modesTell =
        fstat(dirfd(directory.get()), &status) == 0 && mountFacts(folder, status.st_dev).ownModes;
    for (const std::string& name : names) {
      const bool marked = isMarked(folder + name, modesTell);
      items.add({Qx::WStringFromUTF8(name), marked ? kMarked : 0});
    }
    return complete;
  }

  bool mark(const WString& wide, unsigned value) override {
    const std::string path = pathInBase(wide);
    return !path.empty() && setMark(path, value & kMarked);
  }

  bool directoryUsable(const WString& wide) override {
    const std::string path = pathInBase(wide);
    const Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder && faccessat(AT_FDCWD, path.c_str(), R_OK | X_OK, AT_EACCESS) == 0;
  }

  WString getDefaultNetworkMaterialFolder() override {
    return Qx::WStringFromUTF8(places().data + "/network/material/");
  }
};

// Built before any code runs and never destroyed.
constinit FileManager theFileManager;

}  // namespace

iFileManager& fileManager() { return theFileManager; }

std::string lastOpenFailure() {
  return std::string(lastFailure.path, lastFailure.length) + ": " +
         std::strerror(lastFailure.error);
}

int lastOpenError() { return lastFailure.error; }

}  // namespace host
