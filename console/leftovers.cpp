// Logins, locks and files of saving that nobody uses any more.
#include <fcntl.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "console/changes.h"
#include "console/doctor.h"
#include "console/folders.h"
#include "console/lock_files.h"
#include "host/files/lock_file.h"
#include "host/files/mount_facts.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/netshare/net_lock.h"
#include "miscdisc/platform/paths.h"

namespace console {
namespace {

// Saving takes seconds at most, so what is older was left by a machine that died.
constexpr time_t kSavingIsOver = 3600;

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return {};
  return status;
}

bool isOrdinary(const std::optional<struct stat>& status) {
  return status && S_ISREG(status->st_mode);
}

bool isOld(const std::optional<struct stat>& status) {
  return status && status->st_mtim.tv_sec < std::time(nullptr) - kSavingIsOver;
}

// Of an information file.
WString lockBeside(const WString& path) {
  return path.substr(0, path.size() - WString(kInformationEnding).size());
}

// Removing: each of these returns why it did not.

std::string userName(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry ? entry->pw_name : "user " + std::to_string(user);
}

// Where other users alone may remove it; empty where the folder lets everybody who may write in it.
std::string whySticky(const WString& path) {
  const auto folder = statusOf(Qx::UTF8FromWString(getPath(path)));
  const auto file = statusOf(Qx::UTF8FromWString(path));
  if (!folder || !file || (folder->st_mode & S_ISVTX) == 0) return {};
  if (file->st_uid == geteuid() || folder->st_uid == geteuid()) return {};
  const std::string owner = userName(file->st_uid), ofFolder = userName(folder->st_uid);
  return printable(path) + " could not be removed: its folder is sticky, and the file belongs to " +
         printable(owner) + ".  Do this as " + printable(owner) + ", as root" +
         (ofFolder == owner || ofFolder == "root" ? "" : " or as " + printable(ofFolder)) +
         ", or take the bit off the folder with chmod -t";
}

// In sticky folders, too, as root mostly has it.
bool hasRightOverOwners() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capget, &header, sets) == 0 && (sets[0].effective & (1u << CAP_FOWNER)) != 0;
}

std::string whyNotRemoved(const WString& path) {
  const std::string why = whySticky(path);
  return why.empty() ? whyNotWritten(path) : why;
}

std::string whyLeft(const WString& path) {
  if (host::lockState(Qx::UTF8FromWString(path)) == host::LockState::kHeld) {
    return "somebody took it meanwhile, so it was left";
  }
  const std::string why = whySticky(path + kInformationEnding);
  return why.empty() ? whyNotRemoved(path) : why;
}

bool isThere(const WString& path) {
  return fileExists(path) || statusOf(Qx::UTF8FromWString(path));
}

// Looked at first: whoever takes a lock gives its file a new time.
bool mayBeTaken(const WString& path) {
  const std::string folder = Qx::UTF8FromWString(getPath(path));
  const bool isSticky = !(whySticky(path) + whySticky(path + kInformationEnding)).empty();
  if (isSticky && !hasRightOverOwners()) return false;
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 &&
         host::lockState(Qx::UTF8FromWString(path)) != host::LockState::kHeld;
}

// With its information file.  Whoever holds the lock keeps both.
std::string removeLock(const WString& path) {
  const WString information = path + kInformationEnding;
  if (!isThere(path) && !isThere(information)) return {};
  // Before the lock, which takes away what a former holder has written there.
  if (isForeignInformation(information)) {
    return printable(information) + " beside it names nobody.  Look at it with ls -l";
  }
  constexpr char kNotEmpty[] = "it is not empty any more";
  if (isForeignFile(path)) return kNotEmpty;
  NetLock lock(path);
  if (!mayBeTaken(path) || !lock.Lock()) return whyLeft(path);
  if (!isEmptyFile(path)) return kNotEmpty;
  lock.Unlock();
  return isThere(path) || isThere(information) ? whyLeft(path) : std::string();
}

// Lists are saved under their guard: while it is held, no temporary is in use.
std::string removeTemporary(const WString& path, const WString& guard) {
  NetLock saving(guard);
  if (!saving.Lock()) return whyLeft(guard);
  const bool removed = unlink(Qx::UTF8FromWString(path).c_str()) == 0 || errno == ENOENT;
  const std::string why = removed ? std::string() : whyNotRemoved(path);
  saving.Unlock();
  return why;
}

// Finding: on the mount's thread.

// Why nobody can tell whether it is held.
std::string whyUnknown(const WString& path) {
  const std::string native = Qx::UTF8FromWString(path);
  const auto status = statusOf(native);
  if (!status) return "it is gone";
  const auto facts = host::mountFacts(Qx::UTF8FromWString(getPath(path)), status->st_dev);
  if (facts.locksStayLocal) {
    return "its mount keeps locks to itself: " + printable(facts.name) +
           ".  Run miscdisc doctor where this storage is local, or mount it with locks";
  }
  if (faccessat(AT_FDCWD, native.c_str(), R_OK, AT_EACCESS) != 0) {
    return std::string(std::strerror(errno)) + ".  Look at it with ls -l, or ask as its owner";
  }
  return "the server gives no answer about locks.  Look at its lock service, and try \"miscdisc "
         "doctor share\" here";
}

Finding blocked(const WString& path) {
  return {"blocked-name", path,
          "is no ordinary file, so that nobody can use it as what its name says.  It is left as "
          "it is: look at it with ls -ld, and move it away"};
}

class Search {
 public:
  explicit Search(const Space& space) : space_(space) {}

  std::vector<Finding> run() {
    for (const Person& person : space_.people) {
      addHeld(person.path, person.held, person.foreign, "stale-login",
              "the login of " + printable(person.user) + ", of " + rfc3339(person.since));
    }
    for (const SpaceLock& lock : space_.locks) addLock(lock);
    addNamed(space_.folder);
    std::sort(findings_.begin(), findings_.end(), [](const Finding& a, const Finding& b) {
      return std::tie(a.path, a.kind) < std::tie(b.path, b.kind);
    });
    return std::move(findings_);
  }

 private:
  void addLock(const SpaceLock& lock) {
    if (!lock.ordinary) {
      findings_.push_back(blocked(lock.path));
      return;
    }
    const bool project = lock.kind == SpaceLock::Kind::kProject;
    addHeld(lock.path, lock.held, lock.foreign, project ? "stale-project-lock" : "stale-room-lock",
            "the lock of " + std::string(project ? "project " : "room ") + printable(lock.name) +
                ", by " + holder(lock));
  }

  void addHeld(const WString& path, Held held, bool foreign, const std::string& kind,
               const std::string& what) {
    if (held == Held::kYes) return;
    if (held == Held::kUnknown) {
      findings_.push_back(
          {"unknown-holder", path,
           "whether anybody holds " + what + ", is not known: " + whyUnknown(path)});
      return;
    }
    const std::string native = Qx::UTF8FromWString(path);
    if (!statusOf(native)) return;  // let go and removed meanwhile
    if (foreign) {
      findings_.push_back({"foreign-file", path,
                           "is named like a lock or login, but was made by another program.  It "
                           "counts as one: move it away, or give it another name"});
      return;
    }
    addRemovable(kind, path, what + ", is held by nobody");
  }

  void addRemovable(const std::string& kind, const WString& path, const std::string& text) {
    findings_.push_back({kind, path, text, [path] { return removeLock(path); }, "remove the file"});
  }

  // The space's own folder, which ends in the separator, and then the folders in it.
  void addNamed(const WString& folder) {
    const bool top = folder == space_.folder;
    std::error_code gone;  // said already, by whoever looked at the space
    for (const auto& [name, isFolder] : namesIn(Qx::UTF8FromWString(folder), gone)) {
      const WString path = folder + Qx::WStringFromUTF8(name);
      const bool inner = top && isFolder && !name.starts_with('.') && path != folder + kMediaFolder;
      if (inner) addNamed(path + pathSeparator());
      addName(path, top);
    }
  }

  void addName(const WString& path, bool top) {
    if (stripPath(path) == L".lockspace" || (top && endsExactly(path, kLoginEnding))) {
      const auto status = statusOf(Qx::UTF8FromWString(path));
      if (status && !isOrdinary(status)) findings_.push_back(blocked(path));
    } else if (endsExactly(path, kInformationEnding) && isLockName(lockBeside(path))) {
      addInformation(path);
    } else if (top) {
      for (const char* list : {"DefNetDrive.txt", "UnmountedDrives.txt"}) addSaving(path, list);
    }
  }

  // Beside a lock it goes with it.  The lock is asked for on both sides of the file: it may be
  // taken or let go meanwhile, and the file comes and goes with it.
  void addInformation(const WString& path) {
    const WString lock = lockBeside(path);
    if (isThere(lock) || !isThere(path) || isThere(lock)) return;
    if (isForeignInformation(path)) {
      findings_.push_back(blocked(path));
      return;
    }
    findings_.push_back({"lost-information", path, "names the holder of a lock that is not there",
                         [lock] { return removeLock(lock); }, "remove the file"});
  }

  void addSaving(const WString& path, const std::string& list) {
    const std::string native = Qx::UTF8FromWString(path);
    const std::string name = native.substr(native.rfind('/') + 1);
    const WString guard = space_.folder + Qx::WStringFromUTF8("." + list + ".lk");
    const auto status = statusOf(native);
    if (!isOrdinary(status) || !isOld(status)) return;
    const auto held = host::lockState(Qx::UTF8FromWString(guard));
    if (path == guard && held == host::LockState::kFree && isEmptyFile(path)) {
      addRemovable("stale-guard", path, "nobody saves " + list + " any more");
    } else if (name.starts_with("." + list + ".") && name.ends_with(".tmp") &&
               (held == host::LockState::kFree || held == host::LockState::kMissing)) {
      findings_.push_back({"stale-temporary", path,
                           "was to become " + list + ", by a machine that died an hour ago or more",
                           [path, guard] { return removeTemporary(path, guard); },
                           "remove the file"});
    }
  }

  const Space& space_;
  std::vector<Finding> findings_;
};

}  // namespace

void findLeftovers(const Space& space, const Options& options, Diagnosis& diagnosis) {
  for (const std::string& fault : space.faults) diagnosis.unseen.push_back(fault);
  if (space.answer == Space::Answer::kMissing) return;
  if (space.answer != Space::Answer::kThere) {
    diagnosis.unseen.push_back(problemOf(space, options));
    return;
  }
  const auto found = within<std::vector<Finding>>(options.deadline(), space.folder,
                                                  [space] { return Search(space).run(); });
  if (!found) {
    diagnosis.unseen.push_back(printable(space.folder) +
                               " stopped answering.  Try again with --timeout 5");
    return;
  }
  for (const Finding& finding : *found) diagnosis.add(finding);
}

}  // namespace console
