// Folders as people spell them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "host/volumes.h"
#include "miscdisc/platform/values/text.h"

namespace console {

// "/mnt/a" for "/mnt//a/", "/mnt/./a" and "/mnt/b/../a": by spelling alone.  Only the root ends in
// a separator.
WString plainFolder(const WString& folder);

// The same, from the working directory when it is relative.
WString absoluteFolder(const WString& folder);

// In any letter case, as the library compares folders.  REQUIRES: both are plain.
bool isSameSpelling(const WString& a, const WString& b);
bool isInside(const WString& inner, const WString& outer);  // not the folder itself

// One folder, whatever its names.
struct FolderId {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const FolderId&) const = default;
};

// Looks at a mount on its worker; nothing when that takes too long.  The job owns what it uses: it
// may run on while nobody waits for it any more.
template <typename Result>
std::optional<Result> within(std::chrono::milliseconds deadline, const WString& path,
                             std::function<Result()> look) {
  const auto result = std::make_shared<std::optional<Result>>();
  const auto job = [result, look] { *result = look(); };
  if (!host::askMount(Qx::UTF8FromWString(path), deadline, job)) return {};
  return *result;
}

// Nothing when there is no such folder, or its mount does not answer.
std::optional<FolderId> idOf(const WString& folder, std::chrono::milliseconds deadline);

// False also while its mount does not answer.
bool isFolder(const WString& path, std::chrono::milliseconds deadline);

// The names in a folder, with whether they are folders; those found until then when there is an
// error.  Of what is in it nothing is asked: it may be a mount that hangs.
std::map<std::string, bool> namesIn(const std::string& folder, std::error_code& error);

// One folder of a list of locations, with the lines that spell it.
struct Listed {
  WString folder;  // plain
  std::vector<WString> lines;
};

std::vector<Listed> distinctFolders(const std::vector<WString>& lines);

// Lines of a list of folders: blank ones count for nothing, and no folder spans two.
bool isBlank(const WString& line);
bool hasLineEnd(const WString& text);

}  // namespace console
