// A platform of one's own, in place of the one for Linux: one volume, E, in one folder, for a
// program that shares its files with nobody and uses no more of the rules than the directory cache
// and the lock files.  What the others ask for is left out; the linker says what that is.
#pragma once

#include <filesystem>

// The folder of the volume.  Set it before anything else.
std::filesystem::path& mediaFolder();
