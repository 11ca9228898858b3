// The path of a volume, as the file-system layer gives it: without a separator added.
#pragma once

#include "miscdisc/platform/fsys.h"

inline WString volumePath(wchar_t id) {
  WString path;
  return FsysGetMaterialVolumeName(id, path, false);
}
