// Which directory is cached.
#pragma once

#include "miscdisc/platform/values/text.h"

class directory_spec {
 public:
  // The full path as a layer file name, from the volume's letter to the last separator, taken as
  // it stands.
  directory_spec(const WString& directoryPath) : path(directoryPath) {}

  // The path with the mask under which the directory is listed.  The volume is not asked: its
  // letter is the first character of the path already.
  WString fullName(wchar_t) const { return path + L"????????.*"; }

  WString path;
};
