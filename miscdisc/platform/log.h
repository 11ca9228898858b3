// Diagnostics, formatted as by printf.  From any thread.
#pragma once

#include "miscdisc/platform/values/export.h"

#define MISCDISC_PRINTF __attribute__((format(printf, 1, 2)))

MISCDISC_EXPORT MISCDISC_PRINTF void Log(const char* format, ...);          // log file
MISCDISC_EXPORT MISCDISC_PRINTF void LogBoth(const char* format, ...);      // log file and console
MISCDISC_EXPORT MISCDISC_PRINTF void tolv_printf(const char* format, ...);  // debug console
