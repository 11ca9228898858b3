// The rules on a platform of one's own: lists the media in a folder, finds files among them, and
// takes a lock.
//
//   own_platform FOLDER NAME...
#include <cstdio>

#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/dircache/system_cache_iterator.h"
#include "miscdisc/netshare/net_lock.h"
#include "platform.h"

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  mediaFolder() = argv[1];

  validate_directory_cache();
  SystemCacheIterator files(getSystemCache());
  for (; files.file; files.next()) {
    std::printf("%s\n", Qx::UTF8FromWString(files.file->nameView()).c_str());
  }
  for (int i = 2; i < argc; ++i) {
    const file_info* file = getSystemCache()->find(Qx::WStringFromUTF8(argv[i]), L'E');
    std::printf("%s is %s\n", argv[i], file ? "there" : "nowhere");
  }

  const WString path = Qx::WStringFromUTF8((mediaFolder() / "Edit 1.lck").native());
  NetLock ours(path), theirs(path);
  std::printf("the lock is %s", ours.Lock() && ours.SetLockInfo(L"ann") ? "ours" : "not ours");
  std::printf(" and %s\n", theirs.Lock() ? "theirs" : "not theirs");
  ours.Unlock();
}
