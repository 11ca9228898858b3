#include "miscdisc/dircache/volume_cache.h"

#include "miscdisc/platform/fsys.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/string_compare.h"

namespace {

directory_cache* directoryAt(const DLListIterator& i) { return static_cast<directory_cache*>(*i); }

// Does visit for every directory that dir selects; true when there was one.
template <typename Visit>
bool forSelected(const DLList& directories, const WString& dir, Visit visit) {
  bool any = false;
  for (DLListIterator i(directories); *i; ++i) {
    directory_cache* directory = directoryAt(i);
    if (!dir.empty() && dir != directory->path) continue;
    visit(*directory);
    any = true;
  }
  return any;
}

}  // namespace

volume_cache::volume_cache(wchar_t volumeLetter, const directory_criteria& how) : criteria(how) {
  init_();
  letter = volumeLetter;
}

volume_cache::~volume_cache() = default;

void volume_cache::init_() {
  letter = 0;
  directories.ownsRecords(true);
}

file_info* volume_cache::find(const WString& name) {
  for (DLListIterator i(directories); *i; ++i) {
    if (file_info* file = directoryAt(i)->find(name)) return file;
  }
  return nullptr;
}

bool volume_cache::validate(const WString& dir) {
  if (!FsysIsVolumePresent(letter)) return false;
  return forSelected(directories, dir, [](directory_cache& directory) { directory.validate(); });
}

bool volume_cache::invalidate(const WString& dir) {
  return forSelected(directories, dir, [](directory_cache& directory) { directory.invalidate(); });
}

bool volume_cache::valid() const {
  for (DLListIterator i(directories); *i; ++i) {
    if (!directoryAt(i)->currentListing()) return false;
  }
  return true;
}

void volume_cache::add(const directory_spec& spec) {
  for (DLListIterator i(directories); *i; ++i) {
    if (directoryAt(i)->path == spec.path) return;
  }
  directories.append(new directory_cache(spec, criteria, this));
}

unsigned int volume_cache::count() {
  unsigned int files = 0;
  for (DLListIterator i(directories); *i; ++i) files += directoryAt(i)->count();
  return files;
}

// Adding looks for the directory without letter case, removing with it: a file recorded under
// another spelling of its folder is listed, but only the folder's own spelling takes one out.
bool volume_cache::addFile(const WString& path) {
  const WString folder = getPath(path);
  for (DLListIterator i(directories); *i; ++i) {
    directory_cache* directory = directoryAt(i);
    if (Qx::compareCaseInsensitive(directory->path, folder)) return directory->addFile(path);
  }
  return false;
}

bool volume_cache::removeFile(const WString& path) {
  const WString folder = getPath(path);
  for (DLListIterator i(directories); *i; ++i) {
    directory_cache* directory = directoryAt(i);
    if (directory->path == folder) return directory->removeFile(path);
  }
  return false;
}
