// What is said of a mount that keeps silent.
#pragma once

#include <string>

#include "console/context.h"

namespace console {

// Printable, without a full stop at its end.  REQUIRES: it was given the deadline of the options.
std::string notAnswering(const WString& path, const Options& options);

}  // namespace console
