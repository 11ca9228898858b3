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

// What config.toml says in every home.
extern const char* const kQuietSettings;

std::string fileInHome(const std::string& name);
WString wideFileInHome(const std::string& name);
void makeFolderInHome(const std::string& name);  // and those above it
void writeInHome(const std::string& name, std::string_view bytes);

// So that a long run does not fill the memory.
void forgetLog();

// What stands between line ends, the last line with or without one.
std::vector<std::string> linesOf(std::string_view bytes);

}  // namespace fuzz
