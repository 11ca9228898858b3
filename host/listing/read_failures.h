// Whether listings can be trusted to be whole.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/export.h"

namespace host {

// How many reads of this process stopped early or could not begin, though what they asked for
// is there or may be: no permission, a device or server that fails.  A folder that is missing,
// or goes away while it is read, is no failure.  Each is in the log too.  From any thread.
MISCDISC_EXPORT uint64_t listingReadFailures();

}  // namespace host
