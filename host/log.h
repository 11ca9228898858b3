// Where diagnostics go.
//
// The log is miscdisc.log in the state folder.  Each text is one line there, with what would break
// the line or steer a terminal escaped, after the time (UTC) and the process id; one system call
// writes it, so that processes share the file.  A log that cannot be written is silence.
#pragma once

#include "miscdisc/platform/values/export.h"

namespace host {

// Verbose: LogBoth and tolv_printf write to standard error too.  At first they do not.
MISCDISC_EXPORT void setVerbose(bool verbose);

}  // namespace host
