// How much recording a drive takes, and planning several recordings over the drives.
#pragma once

#include <vector>

#include "miscdisc/media/media_drive.h"
#include "miscdisc/platform/media.h"

// Minutes of material that one gibibyte holds.  For most compressed formats these are the program's
// chosen figures (6, 3 or 1.5; by the bit rate for MPEG), not measurements; others are worked out
// from the bytes of a frame.  1.0 for a format that nobody knows, and where those bytes are 0.
MISCDISC_EXPORT double getMinutesPerGigabyte(const CompressionFormat& format,
                                             const ShotVideoMetadata& shot);

enum SpaceMapMatch : int {
  eBestFit = 0,    // the least space that still exceeds the request
  eMostSpace = 1,  // the most space
};

// A snapshot of the drives, from which recordings take space while the drives stay as they are.
// It owns its copies.
class MISCDISC_EXPORT SpaceMap {
 public:
  // Measures all drives, then copies the one given, or all of them in the list's order when it is
  // null.  Like any measuring this may send "disk manager update".
  explicit SpaceMap(MediaDrive* drive);

  // Takes so many mebibytes from a drive that has more than that, and returns its id; of equals the
  // first.  0 when nothing fits, and for any other match.
  wchar_t useSpace(double amount, SpaceMapMatch match);

 private:
  std::vector<MediaDrive> drives_;
};
