#include "host/read_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace host {
namespace {

int readAll(int descriptor, FileContents& contents) {
  if (fstat(descriptor, &contents.identity) != 0) return errno;
  if (S_ISDIR(contents.identity.st_mode)) return EISDIR;
  if (!S_ISREG(contents.identity.st_mode)) return EINVAL;
  char block[16384];
  for (;;) {
    const ssize_t count = read(descriptor, block, sizeof block);
    if (count == 0) return 0;
    if (count > 0) {
      contents.bytes.append(block, static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

}  // namespace

FileContents readFile(const std::string& path) {
  FileContents contents;
  // Not blocking, for a FIFO in the file's place would wait for its writer.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) {
    contents.error = errno;
    return contents;
  }
  contents.error = readAll(descriptor, contents);
  close(descriptor);
  return contents;
}

}  // namespace host
