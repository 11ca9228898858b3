// What else can be asked about the folders of project spaces.
#pragma once

#include "miscdisc/platform/values/export.h"

namespace host {

// False while the local projects folder that was set last could not be stored, so that only this
// process has it.  From any thread.
MISCDISC_EXPORT bool localProjectsDirIsStored();

}  // namespace host
