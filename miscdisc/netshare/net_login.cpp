#include "miscdisc/netshare/net_login.h"

#include "miscdisc/frame/open_modes.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/platform/fsys.h"

Qx::Ptr<iFile> lockFilehandle;
int glib_pid = 0;

namespace {

WString ProjectInUseFile;  // of the current login; empty while logged out

}  // namespace

WString getNetLoginLockFileName(const WString& folder) {
  return withSeparator(folder) + OS()->getUserName() + L".cli";
}

bool NetLogin(const WString& folder) {
  const WString name = getNetLoginLockFileName(folder);
  lockFilehandle = openFile(name, kHoldLogin);
  if (!opened(lockFilehandle)) return false;

  // Store first, then log out: NetLogout() releases lockFilehandle, so a second login leaves its
  // file closed.
  NetLogout();
  ProjectInUseFile = name;
  FsysSetFileOwner(name);
  return true;
}

bool NetLogout() {
  if (ProjectInUseFile.empty()) return true;
  lockFilehandle = nullptr;
  OS()->fileManager().remove(ProjectInUseFile);
  ProjectInUseFile.clear();
  return true;
}
