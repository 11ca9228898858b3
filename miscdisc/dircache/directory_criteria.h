// How a directory is listed.
#pragma once

#include "miscdisc/platform/values/text.h"

class directory_criteria {
 public:
  directory_criteria(WString filePattern, unsigned int selector, bool listingOption)
      : pattern(std::move(filePattern)), flags(selector), option(listingOption) {}

  WString pattern;     // what the cache was made with; listings use directory_spec's own mask
  unsigned int flags;  // the selector of the listing
  bool option;         // handed to the listing as 0 or 1
};
