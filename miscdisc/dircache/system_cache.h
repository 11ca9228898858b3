// The cached volumes of the machine, in the order in which they were first seen.
//
// Threads as for volume_cache.
#pragma once

#include "miscdisc/dircache/volume_cache.h"

class MISCDISC_EXPORT system_cache : public DLList {
 public:
  // The criteria are those of every volume made here; they must outlive the cache.  The first
  // cache of the process also registers the console command "debugFileSystemCache".
  explicit system_cache(const directory_criteria& criteria);

  bool valid() const;  // every volume is; true without any

  // Selects the volume of that letter, 0 for every one, and in it the directory with exactly this
  // path, empty for every one.  Every selected volume is visited.
  //
  // validate() is true unless a selected volume is absent or has no such directory: with no
  // volume selected it is true.  invalidate() is true when at least one directory was selected.
  bool validate(wchar_t volume, const WString& dir);
  bool invalidate(wchar_t volume, const WString& dir);

  // Adds the directory to the volume that the path's first character names, which is made at
  // first sight.  Only while no other thread uses the cache.
  void add(const directory_spec& spec);

  unsigned int count();  // modulo 2^32; reads nothing

  // The first volume that has the file, for letter 0; else what the volume of that letter has.
  // Reads directories on the way that are not valid.
  file_info* find(const WString& name, wchar_t volume);

  // Patch the listing that holds the file of this full path, a layer file name or a network path.
  // The letter counts as it is written; false for a volume or directory that is not cached.
  bool addFile(const WString& path);
  bool removeFile(const WString& path);

 private:
  void init_();

  const directory_criteria* criteria;
};
