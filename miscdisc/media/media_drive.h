// A place where media is kept: a lettered volume, or a folder mounted as a media location.
//
// A plain value: copying it copies the identity, the name and the figures of the last measurement.
// Asking it for its path asks the file-system layer each time.  Names are compared exactly, letter
// case included.  Not thread-safe.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/id_stamp.h"
#include "miscdisc/platform/values/text.h"

class MISCDISC_EXPORT MediaDrive {
 public:
  // The file-system layer's key of the volume: 'A' to 'Z', above 'Z' for media locations.  '*' and
  // '?' are placeholders: they stand for no volume and are never measured.
  MediaDrive(wchar_t id, const WString& name);
  explicit MediaDrive(const MediaDrive* other);  // the figures too: nothing is measured

  // Takes the figures from the file system; those of a volume that cannot be measured are what the
  // layer gave for it, 0 when it gave nothing.
  void update() const;

  int64_t getSpaceBytes() const;     // whole mebibytes, as bytes
  int64_t getCapacityBytes() const;  // the same

  // Makes the volume's media folders, and lets the directory cache know of them.  False when the
  // layer could not.
  bool prepareForMedia() const;

  // What people call the drive: its name or, while it has none, the volume's path, without a
  // separator added.  The flag is reserved and has no effect.
  WString getUserName(bool flag) const;
  bool is_unnamed() const;  // no name, or "Unnamed"

  // A named drive goes by its name alone, one without a name by its volume's path.
  bool has_name(const WString& name) const;

  // Mebibytes, measured now, less a margin of 2; zero or less is no room.
  double getSpaceForRecording() const;

  // The volume's path with a separator at its end; empty when the layer does not know the volume.
  WString getLocation() const;

  IdStamp uniqueId;  // IdStamp(id, id, id): two records of one volume are the same drive
  wchar_t driveId;
  WString name;
  // Free and total space in whole mebibytes, as last measured.  Always set together.
  mutable double space = 0.0;
  mutable double capacity = 0.0;
};
