// An application that knows the library from its installed files alone, and calls every family of
// what it exports.
#include <cstdio>
#include <fstream>

#include "miscdisc/dircache/cache_dump.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/dircache/system_cache_iterator.h"
#include "miscdisc/frame/version.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/media/recording_space.h"
#include "miscdisc/netshare/net_login.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace {

void say(const char* what, bool holds) { std::printf("%s: %s\n", what, holds ? "yes" : "no"); }

void drives() {
  disk_manager_init();
  MediaDrive* drive = theDiskMgr.get_drive_with_id(L'E');
  say("a drive", drive != nullptr);
  DiskManager::update_drive(*drive);
  say("room", MediaDrive(*drive).getSpaceForRecording() > 0 && DiskManager::find_best_disk());
  say("space for a recording", SpaceMap(drive).useSpace(1, eMostSpace) == L'E');
  say("minutes", getMinutesPerGigabyte({}, {}) > 0);
}

void listings() {
  initialise_directory_caches(false);
  validate_directory_cache();
  say("a listed file", getSystemCache()->find(L"A001.mxf", L'E') != nullptr);
  std::ofstream(Qx::UTF8FromWString(FsysFilenameToWin32Filename(L"E:/Material/new.mxf"))) << "new";
  say("a new file", add_file_to_directory_cache(L"E:/Material/new.mxf", true));
  int files = 0;
  for (SystemCacheIterator i(getSystemCache()); i.file; i.next()) ++files;
  std::printf("files: %d\n", files);
  debugFileSystemCache(nullptr);
  say("a removed file", remove_file_from_directory_cache(L"E:/Material/new.mxf", true));
  invalidate_directory_cache();
  say("forgotten", getSystemCache()->count() == 0);
}

void spaces() {
  say("local", !LobbyUtils::machineIsInNetworkMode() && LobbyUtils::setupQXProjDirectory());
  LobbyUtils::setRoomName(L"Edit 1");
  say("a room", LobbyUtils::getRoomName() == L"Edit 1");
  say("project folders", LobbyUtils::createDefaultProjectFolders(getLocalProjectsDir()));
}

void sharing() {
  const WString folder = getLocalProjectsDir();
  say("a login", NetLogin(folder) && lockFilehandle->valid() && glib_pid == 0);
  say("its file", OS()->fileManager().remove(getNetLoginLockFileName(folder)));
  say("a logout", NetLogout() && !lockFilehandle);
  NetLock lock(folder + L"Edit 1.lck");
  say("a lock", lock.Lock() && lock.SetLockInfo(L"ann") && lock.Unlock());
  say("a room's lock", ProjectShare::lockRoom(folder + L"Edit 2"));
  ProjectShare::unlockCurrentRoom();
  say("given back", ProjectShare::lockRoom(folder + L"Edit 2"));
}

void texts() {
  BeginNotify();
  DisableNetNotify();
  SendNotify("8 nobody hears this");
  EnableNetNotify();
  say("a server", getNetMessageServer() == NotifyServer::instance());
  EndNotify();
}

}  // namespace

int main() {
  std::printf("library %s\n", miscdiscDllVersionStr());
  drives();
  listings();
  spaces();
  sharing();
  texts();
  disk_manager_exit();
}
