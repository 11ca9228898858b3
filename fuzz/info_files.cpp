// The small files that name somebody or something: who holds a lock, who is logged in, what a
// drive is called.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "miscdisc/media/disk_manager.h"
#include "miscdisc/netshare/project_share.h"
#include "miscdisc/platform/os.h"
#include "miscdisc/platform/project_folders.h"

namespace {

using fuzz::claim;

void makeFolders() {
  for (const char* folder : {"lobby", "e/Material", "e/Sound"}) fuzz::makeFolderInHome(folder);
  fuzz::settleVolume("[machine]\nuser = \"ann\"\n");
  setProjectsBaseDirectory(fuzz::wideFileInHome("lobby/"));
  DiskManager::init();
}

void lockInformation(const std::string& bytes) {
  constexpr size_t kLongestName = 200;
  fuzz::writeInHome("lobby/Edit.lck.inf", bytes);
  const String counted = bytes.substr(0, std::min(bytes.find('\0'), kLongestName));
  claim(ProjectShare::getLockOwner(fuzz::wideFileInHome("lobby/Edit")) ==
            Qx::WStringFromUTF8(counted),
        "a holder is the first bytes of the file beside the lock");
}

// What a file of that name says is a user.
void login(const std::string& bytes) {
  constexpr size_t kLongestName = 251;
  std::string user = bytes.substr(0, std::min(bytes.find_first_of({"\0/", 2}), kLongestName));
  if (user.empty() || user[0] == '.') return;
  const std::string name = "lobby/" + user + ".cli";
  fuzz::writeInHome(name, "");
  iFileManager& files = OS()->fileManager();
  claim(files.mark(fuzz::wideFileInHome(name), 2), "a login file can be marked");

  char other[1024];
  std::memset(other, '#', sizeof other);
  claim(ProjectShare::otherUsersInLobby(L"lobby", other), "one login file is nobody else");
  claim(user == other, "a user is the name of the login file");
  claim(files.mark(fuzz::wideFileInHome(name), 1), "a mark can be taken away");
  ProjectShare::otherUsersInLobby(L"lobby", other);
  claim(other[0] == '\0', "a login without a mark is in a room");
  claim(files.remove(fuzz::wideFileInHome(name)), "a login file can be removed");
}

// At the end of a line that is written anew they belong to the line's end.
WString withoutReturns(WString name) {
  if (name.ends_with(L'\r')) name.pop_back();
  return name;
}

void driveName(const std::string& bytes) {
  fuzz::writeInHome("e/Material/MediaSpaceInfo.txt", bytes);
  const WString found = DiskManager::getMediaLocationUserName(L'E');
  claim(found.size() <= bytes.size(), "a name is not longer than its file");

  MediaDrive* drive = DiskManager::get_drive_with_id(L'E');
  claim(drive != nullptr, "a volume that is there has a drive");
  claim(DiskManager::renameMediaLocation(*drive, found), "a drive can be renamed");
  claim(DiskManager::getMediaLocationUserName(L'E') == withoutReturns(found),
        "a name that was read is kept");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  [[maybe_unused]] static const bool made = (makeFolders(), true);
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  lockInformation(bytes);
  login(bytes);
  driveName(bytes);
  fuzz::forgetLog();
  return 0;
}
