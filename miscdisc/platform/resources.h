// The application's texts for people, by number.
#pragma once

#include "miscdisc/platform/values/text.h"

// Empty for a number without a text.  The library asks for
//   10940  other users keep something from being done; " (", a name and ")" follow it
//   10946  a room is in use; "$NAME$" in it stands for the user who holds it
MISCDISC_EXPORT WString resourceStrW(unsigned id);
