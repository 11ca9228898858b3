// The user configuration, and what one process lays over it.
#pragma once

#include "miscdisc/platform/config.h"

namespace host {

// Gives a key of the user configuration a value in this process only: reads give it from now on,
// and a set changes it in memory, while what is stored, and what others see, stays as it is.  So a
// program can work in a lobby for a while without becoming one that always starts there.
// From any thread.
MISCDISC_EXPORT void overlayUserConfig(const String& section, const String& key,
                                       const String& value);

}  // namespace host
