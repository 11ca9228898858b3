// Whether locks in a folder exclude, and what else sharing it needs, tried with two processes.
//
// Whatever touches the folder is a process that may hang there: this one only waits for answers,
// for a bounded time, and removes at its end what they made.
#pragma once

#include <string>

#include "console/context.h"

namespace console {

// The whole test, with its report.
Exit testShare(Context& context, const std::string& folder);

// One of its processes: does what the lines of its standard input say, in that folder, with one
// line of answer each, and ends with its input.
Exit serveShareTest(Context& context, const std::string& folder);

}  // namespace console
