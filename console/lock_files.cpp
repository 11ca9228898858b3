#include "console/lock_files.h"

#include <sys/stat.h>

#include <optional>

#include "miscdisc/platform/paths.h"

namespace console {
namespace {

// Longer than any user name.
constexpr off_t kMostInformation = 255;

std::optional<struct stat> statusOf(const WString& path) {
  struct stat status {};
  if (lstat(Qx::UTF8FromWString(path).c_str(), &status) != 0) return {};
  return status;
}

}  // namespace

bool endsExactly(const WString& path, const WString& ending) {
  return path.ends_with(ending) && stripPath(path).size() > ending.size();
}

bool isLockName(const WString& path) {
  return stripPath(path) == kProjectLock || endsExactly(path, kLockEnding);
}

bool isEmptyFile(const WString& path) {
  const auto status = statusOf(path);
  return status && S_ISREG(status->st_mode) && status->st_size == 0;
}

bool isForeignFile(const WString& path) {
  const auto status = statusOf(path);
  return status && S_ISREG(status->st_mode) && status->st_size > 0;
}

bool isForeignInformation(const WString& path) {
  const auto status = statusOf(path);
  return status && (!S_ISREG(status->st_mode) || status->st_size > kMostInformation);
}

}  // namespace console
