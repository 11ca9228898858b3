// Paths between the library's wide texts and the system's bytes.
#pragma once

#include <string>

#include "miscdisc/platform/values/text.h"

namespace host {

// Empty, which names nothing, for a path that no file can have: one with a zero in it.
inline std::string nativePath(const WString& path) {
  if (path.find(L'\0') != WString::npos) return {};
  return Qx::UTF8FromWString(path);
}

}  // namespace host
