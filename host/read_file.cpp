#include "host/read_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/files/open_file.h"

namespace host {
namespace {

int readAll(int descriptor, size_t mostBytes, FileContents& contents) {
  if (fstat(descriptor, &contents.identity) != 0) return errno;
  if (S_ISDIR(contents.identity.st_mode)) return EISDIR;
  if (!S_ISREG(contents.identity.st_mode)) return EINVAL;
  if (static_cast<size_t>(contents.identity.st_size) > mostBytes) return EFBIG;
  char block[16384];
  // Until a read gives nothing: a failed one must not pass for the end of the file.
  for (;;) {
    const ssize_t count = read(descriptor, block, sizeof block);
    if (count == 0) return 0;
    if (count > 0) {
      contents.bytes.append(block, static_cast<size_t>(count));
      if (contents.bytes.size() > mostBytes) return EFBIG;
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

}  // namespace

FileContents readFile(const std::string& path, size_t mostBytes) {
  FileContents contents;
  // Not blocking, for a FIFO in the file's place would wait for its writer.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  contents.error = file ? readAll(file.number(), mostBytes, contents) : errno;
  return contents;
}

}  // namespace host
