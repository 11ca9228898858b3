// The command "manual", which "--help" does not show: the part of the manual page that the options
// make.
#pragma once

#include "console/commands.h"

namespace console {

void addManual(CLI::App& app, Context& context, Command& chosen);

}  // namespace console
