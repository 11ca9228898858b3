#include "miscdisc/dircache/global_cache.h"

#include <vector>

#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/netshare/notify_server.h"
#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/values/net_message.h"

namespace {

std::vector<wchar_t> mediaVolumes() {
  std::vector<wchar_t> letters;
  wchar_t letter = 0;
  for (bool more = FsysGetFirstMaterialVolume(&letter); more;
       more = FsysGetNextMaterialVolume(&letter)) {
    letters.push_back(letter);
  }
  return letters;
}

void tellOthers(NetMessage::Type type, const WString& path, bool notify) {
  if (!notify || !LobbyUtils::machineIsInNetworkMode()) return;
  const String networkPath = Qx::UTF8FromWString(FsysConvertLocalToUNC(path));
  SendNotify(NetMessage(type, networkPath).asString());
}

}  // namespace

system_cache* getSystemCache() {
  static const directory_criteria cacheCriteria(L"*.*", 0, false);
  static system_cache systemCache(cacheCriteria);
  return &systemCache;
}

void initialise_directory_caches(bool force) {
  static bool directoryCachesInitialised = false;
  if (directoryCachesInitialised && !force) return;

  const WString separator(1, pathSeparator());
  const std::vector<wchar_t> letters = mediaVolumes();
  for (wchar_t letter : letters) {
    const WString root = FsysFilenameToWin32Filename(letter + (L":" + separator));
    LogBoth("Added media location : %s\n", Qx::UTF8FromWString(root).c_str());
  }
  WString material = L"X:" + separator + L"Material" + separator;
  WString sound = L"X:" + separator + L"Sound" + separator;
  for (wchar_t letter : letters) {
    material[0] = sound[0] = letter;
    getSystemCache()->add(directory_spec(material));
    getSystemCache()->add(directory_spec(sound));
  }
  directoryCachesInitialised = true;
  getSystemCache()->validate(0, WString());
}

void validate_directory_cache() {
  initialise_directory_caches(false);
  getSystemCache()->validate(0, WString());
}

void invalidate_directory_cache() { getSystemCache()->invalidate(0, WString()); }

void invalidate_directory_cache(wchar_t volume) { getSystemCache()->invalidate(volume, WString()); }

// Whether the local patch worked is no reason to keep the others in the dark: they may cache a
// folder that this machine does not.
bool add_file_to_directory_cache(const WString& path, bool notify) {
  initialise_directory_caches(false);
  const bool result = getSystemCache()->addFile(path);
  tellOthers(NetMessage::FileAdded, path, notify);
  return result;
}

bool remove_file_from_directory_cache(const WString& path, bool notify) {
  initialise_directory_caches(false);
  const bool result = getSystemCache()->removeFile(path);
  tellOthers(NetMessage::FileRemoved, path, notify);
  return result;
}
