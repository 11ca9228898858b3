// Which letter a discovered mount has.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "miscdisc/platform/values/export.h"

namespace host {

// What state.toml keeps: by letter, the mount point that it was given to.
using KeptLetters = std::map<char, std::string>;

// One letter to store.
struct LetterClaim {
  char letter;
  std::string point;
  std::optional<std::string> before;  // what the letter was kept for
};

struct LetterPlan {
  std::map<char, std::string> points;  // by letter
  std::vector<LetterClaim> claims;     // in the order of the mounts
  size_t leftOut = 0;                  // mounts for which no letter is left
};

// A mount has the letter that is kept for it.  Another gets the first that is neither taken nor
// kept, from E to Z and then from A to D; when there is none, the first that is kept for a mount
// that is away.  The taken letters are nobody's, whatever is kept.
MISCDISC_EXPORT LetterPlan planLetters(const std::vector<std::string>& points,
                                       const std::string& taken, const KeptLetters& kept);

// The same with what state.toml keeps, where new letters are stored if they are to be kept.  Those
// of processes that do it at the same time agree.  What cannot be stored holds for this process.
MISCDISC_EXPORT LetterPlan lettersFor(const std::vector<std::string>& points,
                                      const std::string& taken, bool keep);

// The mount point has had a letter before.
MISCDISC_EXPORT bool hasKeptLetter(const std::string& point);

}  // namespace host
