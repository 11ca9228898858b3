#include "host/project_folders.h"

#include <mutex>
#include <optional>

#include "host/messenger/messenger_core.h"
#include "host/places.h"
#include "host/state_file.h"
#include "miscdisc/platform/project_folders.h"

namespace {

const char kSection[] = "Folders";
const char kLocalProjects[] = "local projects";

WString withSeparator(WString folder) {
  while (!folder.empty() && folder.back() == L'/') folder.pop_back();
  return folder + L'/';
}

// Never destroyed, as the folders are asked for to the last.
struct Folders {
  std::mutex mutex;
  std::optional<WString> base;          // of this process, once it is known
  std::optional<WString> unsavedLocal;  // set, but could not be stored
};

Folders& folders() {
  static Folders& instance = *new Folders;
  return instance;
}

WString defaultLocal() {
  return withSeparator(Qx::WStringFromUTF8(host::places().data + "/projects"));
}

WString localProjects(const Folders& known) {
  if (known.unsavedLocal) return *known.unsavedLocal;
  const auto stored = host::StateFile::instance().value(kSection, kLocalProjects);
  return stored && !stored->empty() ? withSeparator(Qx::WStringFromUTF8(*stored)) : defaultLocal();
}

// The base directory is the local folder of the process's start, whatever becomes local later.
const WString& base(Folders& known) {
  if (!known.base) known.base = localProjects(known);
  return *known.base;
}

}  // namespace

bool host::localProjectsDirIsStored() {
  Folders& known = folders();
  const std::lock_guard lock(known.mutex);
  return !known.unsavedLocal;
}

WString getProjectsBaseDirectory() {
  Folders& known = folders();
  const std::lock_guard lock(known.mutex);
  return base(known);
}

void setProjectsBaseDirectory(const WString& folder) {
  {
    Folders& known = folders();
    const std::lock_guard lock(known.mutex);
    known.base = folder.empty() ? localProjects(known) : withSeparator(folder);
  }
  host::updateMessengerGroup();
}

WString getLocalProjectsDir() {
  Folders& known = folders();
  const std::lock_guard lock(known.mutex);
  return localProjects(known);
}

void setLocalProjectsDir(const WString& folder) {
  {
    Folders& known = folders();
    const std::lock_guard lock(known.mutex);
    base(known);
    const WString local = folder.empty() ? defaultLocal() : withSeparator(folder);
    const bool stored =
        host::StateFile::instance().setValue(kSection, kLocalProjects, Qx::UTF8FromWString(local));
    known.unsavedLocal.reset();
    if (!stored) known.unsavedLocal = local;
  }
  host::updateMessengerGroup();
}

WString getDefaultLocalProjectsDir() { return defaultLocal(); }

WString getMediaLocationsFilename() { return L"DefNetDrive.txt"; }

WString getDumpFolder() { return withSeparator(Qx::WStringFromUTF8(host::places().state)); }
