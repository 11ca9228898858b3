// The cached directories of one volume, in the order in which they were added.
//
// Records are only ever added, and only while no other thread uses the cache; everything else may
// be called from several threads.
#pragma once

#include "miscdisc/dircache/directory_cache.h"

class MISCDISC_EXPORT volume_cache : public DLListRec {
 public:
  volume_cache(wchar_t volumeLetter, const directory_criteria& criteria);
  ~volume_cache() override;

  // The first directory that has the file answers; those asked are read if they are not valid.
  file_info* find(const WString& name);

  // The directory with exactly this path, or every one for an empty path: true when there was
  // one.  validate() of a volume that is not present is false and reads nothing; what is valid
  // stays so.  invalidate() does not ask.
  bool validate(const WString& dir);
  bool invalidate(const WString& dir);

  bool valid() const;  // every directory is, as they are at this moment; true without any

  void add(const directory_spec& spec);  // reads nothing; a path that is there already: nothing
  unsigned int count();                  // files of the valid directories, modulo 2^32

  // Patch the listing of the directory that the full path names; false when none does.
  bool addFile(const WString& path);     // letter case of the directory does not count
  bool removeFile(const WString& path);  // letter case counts

  DLList directories;  // of directory_cache; owns them
  wchar_t letter;

 private:
  void init_();

  directory_criteria criteria;
};
