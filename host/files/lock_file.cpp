#include "host/files/lock_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "host/files/mount_facts.h"
#include "host/files/open_file.h"
#include "host/fnv1a.h"
#include "host/settings.h"
#include "miscdisc/platform/log.h"

namespace host {

// A lock file by its place, which stays the same while files come and go under the name.
struct LockName {
  FileId folder;
  std::string name;

  auto operator<=>(const LockName&) const = default;
};

struct HeldLock {
  LockName name;
  std::string path;
  LockKind kind;
  Descriptor file;
  FileId id;
  std::optional<off_t> byte;  // of the folder's .lockspace
};

namespace {

constexpr char kAnchorName[] = ".lockspace";
constexpr char kInfoEnding[] = ".inf";

// A lock that is refused this often because its file was replaced each time counts as held.
constexpr int kMostReplacements = 200;

struct flock oneByte(short type, off_t byte) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  return lock;
}

bool setLock(int descriptor, short type, off_t byte) {
  struct flock lock = oneByte(type, byte);
  if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0) return true;
  if (errno == EACCES) errno = EAGAIN;  // SMB says it that way
  return false;
}

// Whether others hold the byte, through whatever descriptor but this one.  Takes nothing.
LockState stateOfByte(int descriptor, off_t byte) {
  struct flock lock = oneByte(F_WRLCK, byte);
  if (fcntl(descriptor, F_OFD_GETLK, &lock) != 0) return LockState::kUnknown;
  return lock.l_type == F_UNLCK ? LockState::kFree : LockState::kHeld;
}

short lockType(LockKind kind) { return kind == LockKind::kShared ? F_RDLCK : F_WRLCK; }

// Every machine must find the same byte for a name, in the range that all servers take.
off_t byteOf(const std::string& name) {
  return static_cast<off_t>(fnv1a(name) & 0x3FFFFFFFFFFFFFFF);
}

// The open file is the one that carries the name.
bool carriesName(const std::string& path, const Descriptor& file, FileId& id) {
  struct stat open, named;
  if (fstat(file.number(), &open) != 0 || lstat(path.c_str(), &named) != 0) return false;
  id = {open.st_dev, open.st_ino};
  return open.st_nlink > 0 && id == FileId{named.st_dev, named.st_ino};
}

// The name changed hands while we looked, which is no answer yet.
bool passing(int error) {
  return error == ENOENT || error == ESTALE || error == EEXIST || error == EBUSY;
}

bool hasLockspace(const Folder& folder) {
  return fileNamed(folder.path + "/" + kAnchorName).has_value();
}

struct LockedFile {
  Descriptor file;  // none: refused
  FileId id;
  bool created = false;
  bool joined = false;  // others share the lock since before
};

// Opens, makes if asked to, locks, and proves that what was locked still carries the name: a
// holder deletes its file while it holds it, and whoever waits for that file must not take the
// lock of a file that has no name any more.
LockedFile openLocked(const std::string& path, const Folder& folder, LockKind kind, bool create,
                      int& error) {
  for (int attempt = 0; attempt < kMostReplacements; ++attempt) {
    LockedFile locked;
    error = EAGAIN;
    locked.file = openExisting(path, O_RDWR);
    if (!locked.file && errno == ENOENT && create) {
      locked.file = createNew(path, O_RDWR, folder);
      locked.created = bool(locked.file);
    }
    if (!locked.file) {
      error = errno;
      if (passing(error) && create) continue;
      if (error == ESTALE || error == EBUSY) continue;
      return {};
    }
    while (true) {
      // Asked before: of two that come at once, the first one then knows that it is the first.
      locked.joined = kind == LockKind::kShared && !locked.created &&
                      stateOfByte(locked.file.number(), 0) != LockState::kFree;
      if (!setLock(locked.file.number(), lockType(kind), 0)) {
        error = errno;
        return {};
      }
      if (!create) break;
      // A client's cache answers a question for the name; a wish to create it goes to the server.
      Descriptor successor = createNew(path, O_RDWR, folder);
      if (!successor) break;
      locked.file = std::move(successor);
      locked.created = true;
    }
    if (carriesName(path, locked.file, locked.id)) return locked;
  }
  // A folder that has vanished is no answer of a holder.
  if (error != ENOENT) error = EAGAIN;
  return {};
}

}  // namespace

// What this process holds and has locked.  Everything happens under the one mutex.
class LockTable {
 public:
  static LockTable& ofProcess() {
    static LockTable& table = *new LockTable;  // login handles are released by static destructors
    return table;
  }

  std::mutex mutex;

  std::shared_ptr<HeldLock> take(const std::string& path, LockKind kind, int& error);
  void release(HeldLock& lock);
  void removeHeld(HeldLock& lock);
  void remember(const std::string& path);
  void noteInformationWritten(const std::string& path);
  Removal remove(const std::string& path);
  LockState state(const std::string& path);

 private:
  // The one open descriptor on a folder's .lockspace, and the bytes locked through it.
  struct Anchor {
    Descriptor file;
    FileId id;
    std::set<off_t> bytes;
  };

  LockTable();
  void forgetInChild();

  std::shared_ptr<HeldLock> find(const LockName& name, const std::string& path) const;
  bool locksWork(const Folder& folder);
  bool lockByte(const Folder& folder, off_t byte, LockKind kind, int& error);
  void unlockByte(const FileId& folder, off_t byte);
  bool anchored(const Folder& folder) const;

  // The lock file and, where the folder has a .lockspace, first its byte.  No file: refused, and
  // no byte is locked.
  LockedFile lock(const std::string& path, const Folder& folder, LockKind kind, bool create,
                  std::optional<off_t>& byte, int& error);

  // Of a lock whose file is free: a remover has closed that by the time it deletes it, and has
  // only the byte.
  LockState stateInLockspace(const Folder& folder, off_t byte) const;

  bool remembered(const std::string& path, const LockName& name) const;
  Removal removeLock(const std::string& path, const Folder& folder, const LockName& name);
  Removal removeInformation(const std::string& path, const Folder& folder, const LockName& lock);

  // Has the lock of that path for a moment, made if asked to, and unlinks meanwhile.
  Removal underLock(const std::string& path, const Folder& folder, bool create,
                    const std::function<void(bool created)>& unlinkFiles);

  std::map<LockName, std::shared_ptr<HeldLock>> held_;
  // The locks of rememberLock(): as they were written, since their folder may be made, or made
  // anew, between two uses; and by their place, which other ways to the folder lead to as well.
  std::set<std::string> rememberedPaths_;
  std::set<LockName> rememberedNames_;
  // Their information files were written here, and not removed yet: their remove without the lock
  // file is ours.
  std::set<LockName> informed_;
  std::map<FileId, Anchor> anchors_;
  std::set<dev_t> complained_;
};

LockTable::LockTable() {
  // fork must not catch the table half changed; the mounts' own handlers come first, so that
  // the two mutexes are taken in the order in which a lock takes them.
  mountFacts("/", 0);
  pthread_atfork([] { ofProcess().mutex.lock(); }, [] { ofProcess().mutex.unlock(); },
                 [] {
                   ofProcess().forgetInChild();
                   ofProcess().mutex.unlock();
                 });
}

void LockTable::forgetInChild() {
  for (auto& [name, lock] : held_) lock->file.close();
  held_.clear();
  informed_.clear();
  anchors_.clear();
}

std::shared_ptr<HeldLock> LockTable::find(const LockName& name, const std::string& path) const {
  if (held_.empty()) return nullptr;
  const auto own = held_.find(name);
  if (own != held_.end()) return own->second;
  // The same file by another name: a hard link, or other letter case where that is the same.
  const std::optional<FileId> id = fileNamed(path);
  if (!id) return nullptr;
  for (const auto& [otherName, lock] : held_) {
    if (lock->id == *id) return lock;
  }
  return nullptr;
}

bool LockTable::locksWork(const Folder& folder) {
  const MountFacts facts = mountFacts(folder.path, folder.id.device);
  if (!facts.locksStayLocal || settings()->allowLocalOnly) return true;
  if (complained_.insert(folder.id.device).second) {
    Log("%s: locks exclude no other machine here, so none are taken: %s; "
        "[locks] allow_local_only takes them all the same\n",
        folder.path.c_str(), facts.name.c_str());
  }
  return false;
}

bool LockTable::anchored(const Folder& folder) const {
  return mountFacts(folder.path, folder.id.device).remote || hasLockspace(folder);
}

LockedFile LockTable::lock(const std::string& path, const Folder& folder, LockKind kind,
                           bool create, std::optional<off_t>& byte, int& error) {
  bool made = false;
  for (bool anchor = anchored(folder);; anchor = true) {
    if (anchor) {
      const off_t own = byteOf(lastComponent(path));
      if (!lockByte(folder, own, kind, error)) return {};
      byte = own;
    }
    LockedFile locked = openLocked(path, folder, kind, create, error);
    locked.created |= made;
    if (!locked.file && byte) unlockByte(folder.id, *std::exchange(byte, std::nullopt));
    // Asked again under the lock: a machine to which the folder is remote may have come meanwhile,
    // and one that removes a lock has closed its file and goes by the byte alone.
    if (!locked.file || byte || !hasLockspace(folder)) return locked;
    made = locked.created;
  }
}

bool LockTable::lockByte(const Folder& folder, off_t byte, LockKind kind, int& error) {
  const std::string path = folder.path + "/" + kAnchorName;
  Anchor& anchor = anchors_[folder.id];
  for (int attempt = 0; attempt < kMostReplacements; ++attempt) {
    if (!anchor.file) anchor.file = openExisting(path, O_RDWR);
    if (!anchor.file && errno == ENOENT) anchor.file = createNew(path, O_RDWR, folder);
    if (!anchor.file) {
      error = errno;
      if (passing(error)) continue;
      break;
    }
    // Two names of one hash: one descriptor cannot exclude itself.
    if (anchor.bytes.contains(byte)) {
      error = EAGAIN;
      break;
    }
    if (!setLock(anchor.file.number(), lockType(kind), byte)) {
      error = errno;
      break;
    }
    if (carriesName(path, anchor.file, anchor.id)) {
      anchor.bytes.insert(byte);
      return true;
    }
    // Somebody deleted it by hand.  What we hold through it stays; nothing is added to it.
    setLock(anchor.file.number(), F_UNLCK, byte);
    error = EAGAIN;
    if (!anchor.bytes.empty()) break;
    anchor.file.close();
  }
  if (anchor.bytes.empty()) anchors_.erase(folder.id);
  return false;
}

void LockTable::unlockByte(const FileId& folder, off_t byte) {
  const auto found = anchors_.find(folder);
  if (found == anchors_.end()) return;
  Anchor& anchor = found->second;
  setLock(anchor.file.number(), F_UNLCK, byte);
  anchor.bytes.erase(byte);
  if (anchor.bytes.empty()) anchors_.erase(found);
}

std::shared_ptr<HeldLock> LockTable::take(const std::string& path, LockKind kind, int& error) {
  const std::optional<Folder> folder = folderToWrite(path);
  if (!folder) {
    error = errno;
    return nullptr;
  }
  const LockName name{folder->id, lastComponent(path)};
  if (rememberedPaths_.contains(path)) rememberedNames_.insert(name);

  if (const std::shared_ptr<HeldLock> own = find(name, path)) {
    const bool bothShared = kind == LockKind::kShared && own->kind == LockKind::kShared;
    if (bothShared && own->id == fileNamed(path)) return own;
    if (!bothShared) {
      error = EAGAIN;
      return nullptr;
    }
    release(*own);  // its file was deleted by hand: that login announces nothing any more
  }
  if (!locksWork(*folder)) {
    error = ENOLCK;
    return nullptr;
  }

  std::optional<off_t> byte;
  LockedFile locked = lock(path, *folder, kind, true, byte, error);
  if (!locked.file) return nullptr;
  if (!locked.created && !locked.joined) {
    // Somebody left it who does not hold it any more: from now on its time says since when we do,
    // and nobody is to be taken for the holder before we say who we are.
    futimens(locked.file.number(), nullptr);
    if (kind == LockKind::kExclusive && remembered(path, name)) {
      unlink((path + kInfoEnding).c_str());
      informed_.erase(name);
    }
  }
  auto held = std::make_shared<HeldLock>(
      HeldLock{name, path, kind, std::move(locked.file), locked.id, byte});
  held_[name] = held;
  return held;
}

void LockTable::release(HeldLock& lock) {
  const auto entry = held_.find(lock.name);
  if (entry == held_.end() || entry->second.get() != &lock) return;
  const std::shared_ptr<HeldLock> alive = std::move(entry->second);
  held_.erase(entry);
  alive->file.close();
  if (alive->byte) unlockByte(alive->name.folder, *alive->byte);
}

void LockTable::removeHeld(HeldLock& lock) {
  const auto entry = held_.find(lock.name);
  if (entry == held_.end() || entry->second.get() != &lock) return;
  const std::shared_ptr<HeldLock> alive = entry->second;
  // An open file that is deleted lingers on as ".nfs…" or, on SMB, blocks its name; the byte
  // keeps others out meanwhile.
  if (alive->byte) alive->file.close();
  unlink(alive->path.c_str());
  release(*alive);
}

void LockTable::remember(const std::string& path) { rememberedPaths_.insert(path); }

bool LockTable::remembered(const std::string& path, const LockName& name) const {
  return rememberedNames_.contains(name) || rememberedPaths_.contains(path);
}

void LockTable::noteInformationWritten(const std::string& path) {
  if (!path.ends_with(kInfoEnding) || held_.empty()) return;
  const std::optional<Folder> folder = folderOf(path);
  if (!folder) return;
  std::string lockName = lastComponent(path);
  lockName.resize(lockName.size() - std::string(kInfoEnding).size());
  const LockName name{folder->id, lockName};
  if (held_.contains(name)) informed_.insert(name);
}

Removal LockTable::remove(const std::string& path) {
  if (rememberedPaths_.empty()) return Removal::kPlain;
  const std::optional<Folder> folder = folderOf(path);
  if (!folder) return Removal::kPlain;

  const LockName name{folder->id, lastComponent(path)};
  if (remembered(path, name)) return removeLock(path, *folder, name);
  if (!path.ends_with(kInfoEnding)) return Removal::kPlain;
  const std::string lockPath = path.substr(0, path.size() - std::string(kInfoEnding).size());
  const LockName lock{folder->id, lastComponent(lockPath)};
  if (!remembered(lockPath, lock)) return Removal::kPlain;
  return removeInformation(path, *folder, lock);
}

Removal LockTable::removeLock(const std::string& path, const Folder& folder, const LockName& name) {
  if (const std::shared_ptr<HeldLock> own = find(name, path)) {
    if (own->kind == LockKind::kExclusive) return Removal::kLeft;
    // Let go first, then ask for the exclusive lock like anybody else: of several machines of
    // one user that log out at once, the last one to let go gets it.
    release(*own);
  }
  if (!locksWork(folder)) return Removal::kLeft;

  return underLock(path, folder, false, [&](bool) {
    // Whoever wrote it does not hold the lock any more: that excludes all holders but us.
    unlink((path + kInfoEnding).c_str());
    informed_.erase(name);
    unlink(path.c_str());
  });
}

Removal LockTable::removeInformation(const std::string& path, const Folder& folder,
                                     const LockName& lock) {
  const bool written = informed_.erase(lock) > 0;
  if (held_.contains(lock)) {
    if (!written) return Removal::kLeft;
    return unlink(path.c_str()) == 0 ? Removal::kRemoved : Removal::kLeft;
  }
  if (!fileNamed(path)) return Removal::kRemoved;
  // Removed with the lock already: what is there now is the next holder's.
  if (!written || !locksWork(folder)) return Removal::kLeft;

  const std::string lockPath = folder.path + "/" + lock.name;
  return underLock(lockPath, folder, true, [&](bool lockCreated) {
    unlink(path.c_str());
    if (lockCreated) unlink(lockPath.c_str());
  });
}

Removal LockTable::underLock(const std::string& path, const Folder& folder, bool create,
                             const std::function<void(bool created)>& unlinkFiles) {
  std::optional<off_t> byte;
  int error = 0;
  LockedFile locked = lock(path, folder, LockKind::kExclusive, create, byte, error);
  if (!locked.file) return Removal::kLeft;
  if (byte) locked.file.close();  // see removeHeld
  unlinkFiles(locked.created);
  locked.file.close();
  if (byte) unlockByte(folder.id, *byte);
  return Removal::kRemoved;
}

LockState LockTable::state(const std::string& path) {
  const std::optional<Folder> folder = folderOf(path);
  if (!folder) return errno == ENOENT ? LockState::kMissing : LockState::kUnknown;
  const std::shared_ptr<HeldLock> own = find({folder->id, lastComponent(path)}, path);
  // A file that was deleted by hand, or replaced, is asked for as others ask.
  if (own && own->id == fileNamed(path)) return LockState::kHeld;
  const Descriptor file = openExisting(path, O_RDONLY);
  if (!file) return errno == ENOENT ? LockState::kMissing : LockState::kUnknown;
  if (mountFacts(folder->path, folder->id.device).locksStayLocal) return LockState::kUnknown;

  const LockState ofFile = stateOfByte(file.number(), 0);
  if (ofFile != LockState::kFree) return ofFile;
  return stateInLockspace(*folder, byteOf(lastComponent(path)));
}

LockState LockTable::stateInLockspace(const Folder& folder, off_t byte) const {
  // Our own descriptor, for closing another one would drop what we hold by it on SMB.
  const auto own = anchors_.find(folder.id);
  if (own != anchors_.end()) return stateOfByte(own->second.file.number(), byte);
  const Descriptor anchor = openExisting(folder.path + "/" + kAnchorName, O_RDONLY);
  if (!anchor) return errno == ENOENT ? LockState::kFree : LockState::kUnknown;
  return stateOfByte(anchor.number(), byte);
}

FileLock::FileLock() = default;
FileLock::FileLock(std::shared_ptr<HeldLock> held) : held_(std::move(held)) {}
FileLock::FileLock(FileLock&&) noexcept = default;

FileLock& FileLock::operator=(FileLock&& other) noexcept {
  std::swap(held_, other.held_);
  other.letGo();
  return *this;
}

FileLock::~FileLock() { letGo(); }

void FileLock::letGo() {
  if (!held_) return;
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  if (held_->kind == LockKind::kExclusive) table.release(*held_);
  held_ = nullptr;
}

FileLock FileLock::take(const std::string& path, LockKind kind, int& error) {
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  return FileLock(table.take(path, kind, error));
}

bool FileLock::held() const {
  if (!held_) return false;
  const std::lock_guard guard(LockTable::ofProcess().mutex);
  return bool(held_->file);
}

void FileLock::withDescriptor(const std::function<void(int)>& use) const {
  if (!held_) return;
  const std::lock_guard guard(LockTable::ofProcess().mutex);
  if (held_->file) use(held_->file.number());
}

void FileLock::removeFile() {
  if (!held_) return;
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  table.removeHeld(*held_);
  held_ = nullptr;
}

void rememberLock(const std::string& path) {
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  table.remember(path);
}

void noteInformationWritten(const std::string& path) {
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  table.noteInformationWritten(path);
}

Removal removeGuarded(const std::string& path) {
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  return table.remove(path);
}

LockState lockState(const std::string& path) {
  LockTable& table = LockTable::ofProcess();
  const std::lock_guard guard(table.mutex);
  return table.state(path);
}

}  // namespace host
