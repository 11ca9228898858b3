#include "miscdisc/dircache/cache_dump.h"

#include <cwchar>

#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/dircache/system_cache_iterator.h"
#include "miscdisc/frame/open_modes.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/project_folders.h"

void debugFileSystemCache(void*) {
  static int num = 0;

  // People know the command by this line; where the file really lies is the platform's choice.
  tolv_printf("Dumping system cache to c:\\cache%d.txt", num);
  wchar_t name[256];
  swprintf(name, std::size(name), L"cache%d.txt", num++);
  const Qx::Ptr<iFile> dump = openFile(getDumpFolder() + name, kWriteDump);
  if (!opened(dump)) return;

  SystemCacheIterator walk(getSystemCache());
  for (const file_info* file = walk.file; file; file = walk.next()) {
    const String line = '<' + Qx::UTF8FromWString(file->nameView()) + ">\n";
    dump->write(line.data(), line.size());
  }
  tolv_printf("Finished cache dump\n");
}
