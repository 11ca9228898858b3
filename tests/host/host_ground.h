// What tests of the host may also do to the ground they stand on.
#pragma once

#include <string>

#include "tests/platform/ground.h"

namespace ground {

// The same folder for system calls; ends in the separator.
const std::string& nativeFolder();

// The machine's MISCDISC_HOME, of this test process alone; ends in the separator.
const std::string& home();

// Makes the text, which is TOML, the settings, beside the volumes that were added.  The library
// reads them at its first call, and again at each addVolume.
void writeSettings(const std::string& text);

}  // namespace ground
