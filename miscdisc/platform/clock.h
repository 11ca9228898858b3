// Time for measuring spans.
#pragma once

#include <cstdint>

#include "miscdisc/platform/values/export.h"

// Milliseconds since some moment before the process started; it never runs backwards, and starts
// again from 0 after 2^32.  Spans are unsigned differences.
MISCDISC_EXPORT uint32_t service_get_msecs();
