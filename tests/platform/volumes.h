// The volumes that the layer walks.
#pragma once

#include "miscdisc/platform/fsys.h"

// Their ids, in the order of the walk.
inline WString allVolumes() {
  WString ids;
  wchar_t id = 0;
  for (bool more = FsysGetFirstMaterialVolume(&id); more; more = FsysGetNextMaterialVolume(&id)) {
    ids += id;
  }
  return ids;
}

// Empty: there is no such volume.
inline WString folderOf(wchar_t id) {
  WString path;
  return FsysGetMaterialVolumeName(id, path, false);
}
