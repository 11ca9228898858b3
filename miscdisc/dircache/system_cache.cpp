#include "miscdisc/dircache/system_cache.h"

#include <memory>

#include "miscdisc/dircache/cache_dump.h"
#include "miscdisc/platform/command_map.h"
#include "miscdisc/platform/fsys.h"

namespace {

volume_cache* volumeAt(const DLListIterator& i) { return static_cast<volume_cache*>(*i); }

volume_cache* volumeWithLetter(const DLList& volumes, wchar_t letter) {
  for (DLListIterator i(volumes); *i; ++i) {
    if (volumeAt(i)->letter == letter) return volumeAt(i);
  }
  return nullptr;
}

wchar_t volumeLetter(const WString& path) { return path.empty() ? L'\0' : path[0]; }

WString layerFilename(const WString& path) {
  return path.starts_with(L"\\\\") ? FsysConvertUNCtoFsysFilename(path) : path;
}

}  // namespace

system_cache::system_cache(const directory_criteria& how) : criteria(&how) { init_(); }

void system_cache::init_() {
  static bool init = false;
  if (!init) {
    CommandMap::theCommandMap().registerCommand("debugFileSystemCache", debugFileSystemCache,
                                                nullptr, 1, 999999, 999999, MapItem());
    init = true;
  }
  ownsRecords(true);
}

bool system_cache::valid() const {
  for (DLListIterator i(*this); *i; ++i) {
    if (!volumeAt(i)->valid()) return false;
  }
  return true;
}

bool system_cache::validate(wchar_t volume, const WString& dir) {
  bool all = true;
  for (DLListIterator i(*this); *i; ++i) {
    if (volume != 0 && volume != volumeAt(i)->letter) continue;
    all &= volumeAt(i)->validate(dir);
  }
  return all;
}

bool system_cache::invalidate(wchar_t volume, const WString& dir) {
  bool any = false;
  for (DLListIterator i(*this); *i; ++i) {
    if (volume != 0 && volume != volumeAt(i)->letter) continue;
    any |= volumeAt(i)->invalidate(dir);
  }
  return any;
}

void system_cache::add(const directory_spec& spec) {
  const wchar_t letter = volumeLetter(spec.path);
  if (volume_cache* known = volumeWithLetter(*this, letter)) {
    known->add(spec);
    return;
  }
  auto volume = std::make_unique<volume_cache>(letter, *criteria);
  volume->add(spec);
  append(volume.release());  // only now: a volume in the list always has its directory
}

unsigned int system_cache::count() {
  unsigned int files = 0;
  for (DLListIterator i(*this); *i; ++i) files += volumeAt(i)->count();
  return files;
}

file_info* system_cache::find(const WString& name, wchar_t volume) {
  if (volume != 0) {
    volume_cache* asked = volumeWithLetter(*this, volume);
    return asked ? asked->find(name) : nullptr;
  }
  for (DLListIterator i(*this); *i; ++i) {
    if (file_info* file = volumeAt(i)->find(name)) return file;
  }
  return nullptr;
}

bool system_cache::addFile(const WString& path) {
  const WString local = layerFilename(path);
  volume_cache* volume = volumeWithLetter(*this, volumeLetter(local));
  return volume && volume->addFile(local);
}

bool system_cache::removeFile(const WString& path) {
  const WString local = layerFilename(path);
  volume_cache* volume = volumeWithLetter(*this, volumeLetter(local));
  return volume && volume->removeFile(local);
}
