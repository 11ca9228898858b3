// The drives of the configured project space, as people see them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/context.h"
#include "host/formats.h"
#include "host/volumes.h"
#include "miscdisc/media/media_drive.h"

namespace console {

struct Drive {
  std::string label;  // "E"; "#2" for the second folder of the space's list of locations
  wchar_t id = 0;     // in the file-system layer; 0: a location that is not mounted now
  bool location = false;
  WString path;  // native, without a separator at its end
  host::VolumeState state;
  WString name;                       // what people call it
  std::optional<WString> storedName;  // on the drive; nothing also while it cannot be read
  std::vector<WString> lines;         // of the list of locations that stand for this folder

  bool present() const { return state.answer == host::VolumeState::Answer::kPresent; }
};

struct HiddenVolume {
  std::string label;  // empty: a path that is no volume of this machine
  WString line;       // as the list of hidden volumes has it
};

// A folder of the list of locations that takes a number there.
struct Numbered {
  std::string label;  // of its drive; a lettered volume's own folder takes a number, too
  WString path;       // native, without a separator at its end
};

struct DriveList {
  std::vector<Drive> drives;         // by letter, then the locations by number
  std::vector<HiddenVolume> hidden;  // no line twice
  std::vector<Numbered> numbered;    // from number 1 on
  std::vector<std::string> faults;   // printable: why the lists themselves could not be read
};

// True, after saying what is wrong, while a configuration file cannot be used.
bool configurationIsBroken();

// Works where the configuration says and looks at what is there, in memory only: nobody is logged
// in, and the letters of discovered volumes stay provisional.  Every mount is asked at the same
// time, within the deadline of the options.
//
// From then on the layer knows the lettered volumes that are not hidden and the locations that
// could be mounted, and the library's list of drives has those that are there, in this order.
DriveList enterConfiguredSpace(const Options& options);

// Whether folders answer that are or might be drives, with their media folders; the room is that of
// the folder.
std::vector<host::VolumeState> askDriveFolders(const std::vector<WString>& folders,
                                               std::chrono::milliseconds deadline);

// A file that lists folders.
struct FolderList {
  std::vector<WString> lines;
  std::string fault;  // printable: why it could not be read
};

// A missing one lists nothing.
FolderList readFolderList(const WString& file, std::chrono::milliseconds deadline);

// "Not present" or "not answering", why, and what to try; empty for a drive that is there.
std::string problemOf(const Drive& drive, const Options& options);

// Which drives people may mean by an id, a name (exactly, else in any letter case) or a path; of
// these the first kind that fits anything.
std::vector<const Drive*> drivesMeant(const DriveList& list, const std::string& text,
                                      const Options& options);

// The one drive that is meant; null, after saying what there is, when it is none or several.  The
// exit code is then "incomplete" while what cannot be asked may be it, otherwise "not found".
const Drive* chooseDrive(const DriveList& list, const std::string& text, const Options& options,
                         Exit& exit);

const Drive* driveWithId(const DriveList& list, wchar_t id);

// The library's record of a drive that is there; dies when the library's list changes.
MediaDrive& mediaDrive(const Drive& drive);  // REQUIRES: drive.present()

// The library reads the folders of every volume that the process knows when one comes or goes; no
// command needs them, and one may hang.  In memory only; mediaDrive() is for the kept one then.
void forgetVolumesBut(wchar_t kept);

// The drive as it stands in a sentence: "E (Rushes A)".
std::string called(const Drive& drive);

// Bytes in a minute of a format.
double bytesPerMinute(const host::RecordingFormat& format);

// Nothing when there is no room at all, or nobody knows.
std::optional<uint32_t> minutesLeft(const Drive& drive, const host::RecordingFormat& format);
std::optional<bool> isFull(const Drive& drive);

}  // namespace console
