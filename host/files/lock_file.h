// Locks between machines: an open lock file, and the guarded ways to remove it.
//
// The lock is a lock of the open file description on byte 0 of the lock file, so it ends with
// the process, however that dies.  On remote storage, and wherever the file is there already, one
// byte of ".lockspace" in the same folder is locked first: it is never deleted, so what it
// excludes does not depend on which file carries the lock's name at the moment.
//
// A process never has a lock file open twice: closing the second descriptor would drop the
// first one's lock on SMB.  A table of what this process holds answers instead.
//
// A child made by fork holds nothing: its copies of the descriptors are closed before fork
// returns, or the parent's locks would last as long as the child.
//
// The modification time of a lock file, by the storage's clock, says since when it is held: it is
// set when the lock is taken, and of a shared one by the first who takes it.
//
// A remembered lock (rememberLock) has an information file, "<lock>.inf", that names its holder.
// Under the exclusive lock it can only be a former holder's until we write it: it is removed when
// a lock file is taken that was there, and whenever the lock file is removed.
//
// From any thread; one attempt at a time in a process.  Paths are native bytes.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "miscdisc/platform/values/export.h"

namespace host {

enum class LockKind { kExclusive, kShared };

class LockTable;
struct HeldLock;

// A lock as its holder sees it.  An exclusive lock ends with its handle, and its file stays.  A
// shared one is kept by the process until the file is removed: a login whose handle was closed
// by a second login must not look dead.
class FileLock {
 public:
  FileLock();
  FileLock(FileLock&&) noexcept;
  FileLock& operator=(FileLock&&) noexcept;
  ~FileLock();

  // One attempt, which makes the file when it is missing.  Not held, with the reason in error:
  // EAGAIN when somebody else has it, ENOLCK where locks exclude no other machine.
  static FileLock take(const std::string& path, LockKind kind, int& error);

  bool held() const;

  // Calls with the open descriptor, or not at all when the lock is not held any more.
  void withDescriptor(const std::function<void(int)>& use) const;

  // Deletes the file while it is locked, and lets go.
  void removeFile();

 private:
  explicit FileLock(std::shared_ptr<HeldLock> held);
  void letGo();

  std::shared_ptr<HeldLock> held_;
};

// Notes that this process opens, or asks for, a lock of that path.  From then on, to the end of the
// process, a remove of the path or of its information file is a guarded one: the library removes a
// lock that it did not get, and one that it has removed before, and by then another machine may
// hold it.  The memory is bounded by the distinct lock paths that a process ever uses, and by how
// often their folders are made anew; it is never given back.
void rememberLock(const std::string& path);

// Notes that this process is about to write the information file of a lock, "<lock>.inf"; any
// other path is left out of account.
void noteInformationWritten(const std::string& path);

enum class Removal {
  kPlain,    // no remembered lock, nor its information file: nothing was done
  kRemoved,  // gone
  kLeft      // left alone: somebody else's by now
};
Removal removeGuarded(const std::string& path);

// Whether somebody holds a lock, or is just removing it.  Takes nothing and makes nothing, so that
// asking never makes a Lock fail.
enum class LockState { kMissing, kFree, kHeld, kUnknown };
MISCDISC_EXPORT LockState lockState(const std::string& path);

}  // namespace host
