#include "miscdisc/dircache/system_cache_iterator.h"

namespace {

// The record after current, or the first one for null; null past the last, and for a record that
// is not in the list.
DLListRec* following(const DLList& list, const DLListRec* current) {
  DLListIterator i(list);
  if (!current) return *i;
  while (*i && *i != current) ++i;
  return *++i;
}

}  // namespace

SystemCacheIterator::SystemCacheIterator(system_cache* systemCache)
    : cache(systemCache), volume(nullptr), directory(nullptr), file(nullptr) {
  // Position first, read afterwards: a cache that nobody has read has no first file, and the walk
  // is over before it began.
  file = next();
  if (cache) cache->validate(0, WString());
}

file_info* SystemCacheIterator::next() {
  file = getNextFile_(file);
  while (!file) {
    directory = getNextDirectory_(directory);
    if (!directory) {
      volume = getNextVolume_(volume);
      if (!volume) return nullptr;
      directory = getNextDirectory_(nullptr);
    }
    file = getNextFile_(nullptr);
  }
  return file;
}

file_info* SystemCacheIterator::getNextFile_(file_info* current) {
  if (!directory) return nullptr;
  if (current) return files.next();
  files.set(directory->currentListing());
  return files.first();
}

directory_cache* SystemCacheIterator::getNextDirectory_(directory_cache* current) {
  if (!volume) return nullptr;
  return static_cast<directory_cache*>(following(volume->directories, current));
}

volume_cache* SystemCacheIterator::getNextVolume_(volume_cache* current) {
  if (!cache) return nullptr;
  return static_cast<volume_cache*>(following(*cache, current));
}
