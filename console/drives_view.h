// How drives are shown: on the status page, in the lists and in documents.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/drives.h"

namespace console {

// A drive with what has been measured and worked out for showing it.
struct DriveView {
  const Drive* drive;
  std::vector<std::optional<uint32_t>> minutes;  // by chosen format
  std::optional<bool> full;
  std::string state;  // "ok", "low", "full", "not present", "not answering" or "not answering 3 s"
};

// What minutes are shown for.
using Formats = std::vector<host::RecordingFormat>;

// The formats of these names, or of the settings when there are none; nothing, after saying what
// there is, when a name is unknown.
std::optional<Formats> chooseFormats(const std::vector<std::string>& names);
const host::RecordingFormat* formatNamed(const Formats& formats, const std::string& name);
std::string namesOf(const Formats& formats);  // "dv25, dv50"

DriveView viewOf(const Drive& drive, const Formats& formats);
std::vector<DriveView> viewsOf(const DriveList& list, const Formats& formats);

Json asJson(const DriveView& view, const Formats& formats);
Json asJson(const std::vector<HiddenVolume>& hidden);

// Unknown figures are "-".
std::string bytesCell(const Drive& drive, uint64_t VOLUME_INFO::*which, bool people);
std::string minutesCell(std::optional<uint32_t> minutes, bool people);

// The columns, with a bar for people only; and a drive's cells in them.
std::vector<std::string> driveHeading(const Formats& formats, bool people);
std::vector<std::string> driveCells(const DriveView& view, bool people);
std::vector<std::string> hiddenCells(const HiddenVolume& hidden, const Formats& formats,
                                     bool people);

// Says what is wrong with the lists and the drives; kIncomplete when anything is.
Exit reportProblems(const DriveList& list, const Options& options);

}  // namespace console
