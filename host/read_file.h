// A small file, read whole.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace host {

struct FileContents {
  std::string bytes;
  int error = 0;            // errno; 0 when everything was read
  struct stat identity {};  // of the file that was read
};

// Follows symbolic links; anything but an ordinary file is EISDIR or EINVAL, and is not waited for;
// one of more than mostBytes is EFBIG.
FileContents readFile(const std::string& path, size_t mostBytes = SIZE_MAX);

}  // namespace host
