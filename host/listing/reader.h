// Reads a folder into records.
#pragma once

#include <cstdint>

#include "host/listing/record_store.h"

namespace host {

// Whether a last component with wildcards is a mask even where a file has it for its name.
enum class Wildcards { kAlways, kUnlessNamed };

// Appends the entries that match a native path, as Directory's contract says, each with its
// details and the hash of its name; gives their number.  A path without wildcards costs one
// statx, a mask one for every entry that may be listed.  What cannot be read is left out; see
// read_failures.h.  Throws std::bad_alloc.
uint32_t readEntries(const WString& path, unsigned selector, Wildcards wildcards,
                     RecordStore& store);

}  // namespace host
