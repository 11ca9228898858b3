// Reads a folder into records.
#pragma once

#include <cstdint>

#include "host/listing/record_store.h"

namespace host {

// Appends the entries that match a native path, as Directory's contract says, each with its
// details and the hash of its name; gives their number.  A path without wildcards costs one
// statx, a mask one for every entry that may be listed.  What cannot be read is left out; see
// read_failures.h.  Throws std::bad_alloc.
uint32_t readEntries(const WString& path, unsigned selector, RecordStore& store);

}  // namespace host
