// The machine home of a fuzz target: a temporary folder that MISCDISC_HOME names.  The environment
// names no session bus, nothing is mounted as a volume by itself, and nobody hears of anything.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "miscdisc/platform/values/text.h"

namespace fuzz {

// Without a separator at its end.  The first call makes it, and comes before any of the library.
// It goes when the program ends by itself.
const std::string& home();

std::string fileInHome(const std::string& name);
WString wideFileInHome(const std::string& name);
void makeFolderInHome(const std::string& name);  // and those above it
void writeInHome(const std::string& name, std::string_view bytes);

// Makes the home's folder "e" the only volume, E.  More sections may follow.
void settleVolume(const std::string& moreSettings = {});

// So that a long run does not fill the memory.
void forgetLog();

// What stands between line ends, the last line with or without one.
std::vector<std::string> linesOf(std::string_view bytes);

}  // namespace fuzz
