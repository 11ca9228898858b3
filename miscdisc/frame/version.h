// Which miscdisc this is.
#pragma once

#include "miscdisc/platform/values/export.h"

// "12.0.2.0"; static, never freed.
MISCDISC_EXPORT const char* miscdiscDllVersionStr();
