// What is wrong with a project space, or with how this machine is set up for it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console/drives.h"
#include "console/space.h"

namespace console {

struct Finding {
  std::string kind;  // "stale-login", "same-name", ...
  WString path;      // where it is
  std::string text;  // printable: what is wrong, and what to try
  // Mends it; null: nothing that this command could do.  It proves what it relies on once more.
  // Returns why it did not, printable and without a full stop at its end, or nothing when the
  // finding is gone.  It runs on the thread of the path's mount and owns what it uses.
  std::function<std::string()> mend = nullptr;
  std::string remedy = {};         // printable: what mending does, as in "remove the file"
  std::optional<bool> fixed = {};  // nothing: not tried
};

struct Diagnosis {
  std::vector<Finding> findings;
  std::vector<std::string> unseen;  // printable: what could not be looked at

  void add(Finding finding) { findings.push_back(std::move(finding)); }
};

// A folder under the network projects root.
struct RootFolder {
  WString name;
  bool lobby = false;       // it has the list that makes it one
  bool likeLobby = false;   // it has what only lobbies have
  bool writable = false;    // by this user: whoever logs in makes a file in it
  bool unfinished = false;  // nothing but what a machine leaves that dies while it makes a lobby
};

// Only looking: no lock is taken or probed, and nothing is written.

// What machines left behind in a space, and what stands where they want to make their files.
void findLeftovers(const Space& space, const Options& options, Diagnosis& diagnosis);

// The lists of a space.
void findInLists(const WString& space, const Options& options, Diagnosis& diagnosis);

// What this machine's settings say that nobody reads.
void findUnknownSettings(Diagnosis& diagnosis);

// Drives that people cannot tell apart.
void findSameNames(const DriveList& list, Diagnosis& diagnosis);

// What locks are worth in these folders, each mount once.
void findMountsWithoutLocks(const std::vector<WString>& folders, const Options& options,
                            Diagnosis& diagnosis);

// The network projects root and what is in it; its folders by name.  A root that nobody has set and
// nobody uses may be missing.
std::vector<RootFolder> findInRoot(const Options& options, Diagnosis& diagnosis);

// The lobby in which this machine is to work.
void findInLobby(const Space& space, const std::vector<RootFolder>& folders, const Options& options,
                 Diagnosis& diagnosis);

}  // namespace console
