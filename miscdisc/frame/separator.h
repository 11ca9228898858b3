// The path separator, and folders that end in it.
#pragma once

#include "miscdisc/platform/os.h"
#include "miscdisc/platform/string_compare.h"

inline wchar_t pathSeparator() { return OS()->fileManager().getPathSeparator(); }

inline WString withSeparator(WString folder) {
  if (!Qx::endsWith(folder, pathSeparator(), true)) folder += pathSeparator();
  return folder;
}
