// What a fuzz target holds to be true of every input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

// Ends the program, so that the input is kept, when what was said does not hold.
inline void claim(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "This does not hold: %s\n", what);
  std::abort();
}

}  // namespace fuzz
