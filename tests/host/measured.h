// The room on a volume, as the host tells it.
#pragma once

#include <gmock/gmock.h>

#include <utility>

#include "miscdisc/platform/fsys.h"

namespace test {

// Whether the figures are of now, and the figures; 7 and 9 where none are told.
inline std::pair<bool, VOLUME_INFO> measured(wchar_t id) {
  VOLUME_INFO info{7, 9};
  const bool now = FsysGetVolInfo(id, &info);
  return {now, info};
}

MATCHER_P2(Has, free, total, "") { return arg.freeBytes == free && arg.totalBytes == total; }

}  // namespace test
