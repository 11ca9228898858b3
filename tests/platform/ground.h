// The ground that a test of the platform stands on: an empty folder, and what a test does to it
// behind the library's back.  The fakes and the host each have one, so that a test written on it
// runs on both.
#pragma once

#include <optional>

#include "miscdisc/platform/values/text.h"

namespace ground {

// A folder of this test process alone, empty when the process starts; ends in the separator.
const WString& folder();

void makeFolder(const WString& path);                      // and those above it
void writeFile(const WString& path, const String& bytes);  // in place of what was there
std::optional<String> readFile(const WString& path);       // nothing: there is no such file
void removeFile(const WString& path);

// From now on the folder is the volume of that letter, beside those added before.
void addVolume(wchar_t letter, const WString& folder);

}  // namespace ground
