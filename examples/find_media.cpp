// Is a media file there, and how large is it?  Asks the directory cache for each name given.
//
//   find_media A001C002.mxf B004.wav
#include <cstdio>

#include "miscdisc/dircache/global_cache.h"

int main(int argc, char** argv) {
  validate_directory_cache();  // reads every media folder; later calls answer from memory
  std::printf("%u files\n", getSystemCache()->count());
  for (int i = 1; i < argc; ++i) {
    const file_info* file = getSystemCache()->find(Qx::WStringFromUTF8(argv[i]), 0);
    if (file) {
      std::printf("%s: %llu bytes\n", argv[i], static_cast<unsigned long long>(file->size));
    } else {
      std::printf("%s: nowhere\n", argv[i]);
    }
  }
}
