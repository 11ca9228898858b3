#include "miscdisc/netshare/net_lock.h"

#include "miscdisc/frame/open_modes.h"

NetLock::NetLock(const WString& path) : lockPath(path) { init(); }

NetLock::~NetLock() = default;

bool NetLock::init() {
  const Qx::Ptr<iFile> probe = openFile(lockPath, kProbeLock);
  if (!opened(probe)) OS()->reportFailure();  // while the handle that failed is still there
  return true;
}

bool NetLock::Lock() {
  if (bypass) return true;
  lockFile = openFile(lockPath, kHoldLock);
  return opened(lockFile);
}

bool NetLock::Unlock() {
  if (bypass) return true;
  lockFile = nullptr;
  OS()->fileManager().remove(lockPath);
  if (!infoPath.empty()) OS()->fileManager().remove(infoPath);
  return true;
}

bool NetLock::SetLockInfo(const WString& info) {
  if (!opened(lockFile)) return false;

  infoPath = lockPath + L".inf";
  infoFile = openFile(infoPath, kWriteInfo);
  if (!opened(infoFile)) {
    OS()->reportFailure();
    return false;
  }
  const String name = Qx::UTF8FromWString(info);
  if (!infoFile->write(name.data(), name.size())) return false;

  infoFile = nullptr;  // only the lock file stays open while the lock is held
  return true;
}
