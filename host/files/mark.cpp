#include "host/files/mark.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>

#include "host/files/open_file.h"

namespace host {
namespace {

constexpr char kAttribute[] = "user.miscdisc.mark";

}  // namespace

bool setMark(int file, bool marked) {
  const std::string path = pathOfOpen(file);
  if (setxattr(path.c_str(), kAttribute, marked ? "2" : "0", 1, 0) == 0) return true;
  if (errno != ENOTSUP) return false;

  struct stat status;
  if (fstat(file, &status) != 0) return false;
  const mode_t mode =
      (status.st_mode & 07777 & ~static_cast<mode_t>(S_IXOTH)) | (marked ? S_IXOTH : 0);
  return mode == (status.st_mode & 07777) || chmod(path.c_str(), mode) == 0;
}

bool setMark(const std::string& path, bool marked) {
  const Descriptor file = nameWithoutOpening(path);
  struct stat status;
  if (!file || fstat(file.number(), &status) != 0) return false;
  return S_ISREG(status.st_mode) && setMark(file.number(), marked);
}

bool isMarked(const std::string& path, bool modesTell) {
  char value = 0;
  if (lgetxattr(path.c_str(), kAttribute, &value, 1) == 1) return value == '2';
  struct stat status;
  return modesTell && lstat(path.c_str(), &status) == 0 && (status.st_mode & S_IXOTH);
}

}  // namespace host
