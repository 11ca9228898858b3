// The commands of the application's console.
#pragma once

#include "miscdisc/platform/values/export.h"

// How a command is shown to people; nothing of it is set by the library.
struct MapItem {};

class MISCDISC_EXPORT CommandMap {
 public:
  static CommandMap& theCommandMap();

  // From now on the console calls the function with the context when the name is entered.  The
  // three numbers are the console's.  A name that is there already gets the new function.
  virtual void registerCommand(const char* name, void (*function)(void*), void* context, unsigned,
                               unsigned, unsigned, const MapItem& item) = 0;

 protected:
  ~CommandMap() = default;
};
