#include "miscdisc/dircache/directory_cache.h"

#include "miscdisc/platform/fsys.h"

directory_cache::directory_cache(const directory_spec& spec, const directory_criteria& how,
                                 volume_cache* owner)
    : directory_spec(spec),
      lock("directory_cache"),
      listing(nullptr),
      volume(owner),
      criteria(how) {
  invalidate();
}

directory_cache::~directory_cache() = default;

void directory_cache::validate() {
  const EasyCrit hold(lock);
  if (listing) return;
  listing = new FsysDirectory(fullName(path.empty() ? L'\0' : path[0]), criteria.flags,
                              criteria.option, Directory::eLocked);
}

void directory_cache::invalidate() {
  const EasyCrit hold(lock);
  Directory* old = listing.exchange(nullptr);
  if (!old) return;
  // A listing is destroyed as a plain Directory, whatever it was built as.
  old->Directory::~Directory();
  ::operator delete(old);
}

file_info* directory_cache::find(const WString& name) {
  const EasyCrit hold(lock);
  validate();
  Directory* current = listing;
  return current ? current->find(name) : nullptr;
}

unsigned int directory_cache::count() {
  const EasyCrit hold(lock);
  Directory* current = listing;
  return current ? current->getcount() : 0;
}

bool directory_cache::addFile(const WString& filePath) {
  const EasyCrit hold(lock);
  Directory* current = listing;
  if (!current) return false;
  Directory onDisk(FsysFilenameToWin32Filename(filePath), 1, 0, Directory::eLocked);
  const file_info* entry = *DirectoryIterator(&onDisk);
  return entry && current->addFile(entry);
}

bool directory_cache::removeFile(const WString& filePath) {
  const EasyCrit hold(lock);
  Directory* current = listing;
  if (!current) return false;
  Directory onDisk(FsysFilenameToWin32Filename(filePath), Directory::eLocked);
  const file_info* entry = *DirectoryIterator(&onDisk);
  return entry && current->removeFile(entry);
}
