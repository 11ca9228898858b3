// How people, locks and what they hold are shown: on the status page, in lists and in documents.
#pragma once

#include <string>
#include <vector>

#include "console/space.h"

namespace console {

// The columns, and a person's or a lock's cells in them; for people times are local.
const std::vector<std::string>& personHeading();
std::vector<std::string> cellsOf(const Person& person, bool people);
const std::vector<std::string>& lockHeading();
std::vector<std::string> cellsOf(const SpaceLock& lock, bool people);

// Both tables.  In a pipe their rows begin with "person" and "lock".
void printPeopleAndLocks(Context& context, const Space& space);

// Arrays; null for a space that could not be seen.
Json peopleOf(const Space& space);
Json locksOf(const Space& space);

// The state, owner and since of what may be locked, which is "free" without a lock file.
std::vector<std::string> holderCells(const SpaceLock* lock, bool people);
void addHolder(Json& object, const SpaceLock* lock);

// "project P0001000", "room Edit 1".
std::string called(const SpaceLock& lock);

// Printable sentences about logins and locks that nobody holds, and locks that nobody can.
std::vector<std::string> leftovers(const Space& space);

// What there is none of, as "no rooms", where this machine works locally: maybe a lobby is meant.
void sayIfLocal(const std::string& empty, const Options& options);
// Of a list without an entry: what there is none of, and why, as "rooms"; a document says it
// itself.
void sayEmpty(const std::string& what, const std::string& why, const Space& space,
              const Options& options);

// Says why something is not seen; the exit code is that of exitOf().
Exit reportProblems(const Space& space, const Options& options);

}  // namespace console
