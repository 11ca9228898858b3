// The mark on a file: a user attribute of its own, or the mode bit o+x where there are none.
#pragma once

#include <string>

namespace host {

// Of an ordinary file that is there; false when it could not be set.  What takes the file's name
// meanwhile is left alone.
bool setMark(const std::string& path, bool marked);
bool setMark(int file, bool marked);  // a descriptor of one

// The bit is taken at its word only where files have modes of their own.
bool isMarked(const std::string& path, bool modesTell);

}  // namespace host
