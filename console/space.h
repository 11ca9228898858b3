// A project space as anybody sees it who only looks: who is in it, and what they hold.
//
// Looking takes and probes no lock and writes nothing, so it disturbs nobody.  All of it happens on
// the thread of the space's mount, within the deadline of the options.
//
// A room is a file "<name>.Room" of the space or of one of its folders, or whatever has a room lock
// beside it there; people name it by its path from the space, the ending left out or not.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/context.h"
#include "miscdisc/platform/values/cookie.h"

namespace console {

// The environment variable by which a command works in the lobby that another one holds.
inline constexpr char kLobbyVariable[] = "MISCDISC_LOBBY";

// Whether somebody holds a lock or a login file now: some mounts cannot tell.
enum class Held { kYes, kNo, kUnknown };

struct Person {
  WString user;
  WString path;  // of the login file
  Held held;
  int64_t since;  // of the file: nanoseconds since 1970 by the storage's clock
  bool you;       // the user name of this machine
  bool foreign;   // made by another program, so that no login removes it
};

struct SpaceLock {
  enum class Kind { kProject, kRoom };
  Kind kind;
  WString name;   // of what is locked, from the space
  WString path;   // of the lock file
  WString owner;  // empty: not named, or not to be read
  Held held;
  int64_t since;
  bool ordinary;  // false: a folder, link, pipe or the like, which nobody can lock; unknown then
  bool foreign;   // made by another program: locks are empty files
};

struct Room {
  WString name;  // from the space, without the ending
  WString path;
  bool file;  // false: only a lock
};

struct Space {
  enum class Answer { kThere, kMissing, kUnreadable, kNotAnswering };
  WString folder;  // with the separator at its end
  Answer answer = Answer::kNotAnswering;
  int error = 0;       // errno of kUnreadable
  bool lobby = false;  // it has the file that makes it one
  // All by name.
  std::vector<Person> people;
  std::vector<SpaceLock> locks;   // projects, then rooms
  std::vector<WString> projects;  // the names of their folders
  std::vector<Room> rooms;
  // Where locks were looked for, each with the separator at its end: the space's own folder, and
  // those in it that are no links, neither hidden nor the media's.
  std::vector<WString> folders;
  // Printable: what in it could not be looked at, so that something may be missing above.
  std::vector<std::string> faults;
};

Space lookAt(const WString& folder, const Options& options);

// Only who is in it, and whether it is a lobby: however much lies there, this is one listing.
Space lookAtPeople(const WString& folder, const Options& options);

// The same with the locks at every depth, of the media too, but behind no link.  It takes as long
// as there are files, so it is given ten seconds at least.
Space lookEverywhere(const WString& folder, const Options& options);

// The space in which this process works.  The default folder of a first start is made when
// something is first kept there: until then it is an empty space.
Space lookAtConfiguredSpace(const Options& options);

struct LockLook {
  enum class Answer {
    kThere,
    kNoFile,
    kNoFolder,
    kUnknown,  // its mount does not answer, or its folder may not be searched
  };
  Answer answer = Answer::kUnknown;
  // Of kThere; its name is its path.  Of kNoFile only the owner, whom the information file still
  // names.
  SpaceLock lock{};
};

// One lock file, wherever it is.
LockLook lookAtLock(const WString& path, const Options& options);

// Adds the lock of a room or a project to what was seen, wherever it lies; an answer that is not
// kThere adds nothing.
LockLook::Answer lookCloser(Space& space, const WString& lockFile, const Options& options);

// False for a room or project whose lock others would not see in their lists.
bool isLookedInto(const Space& space, const WString& folder);

// Makes the space that the configuration names the one in which this process works, in memory:
// network mode and projects base directory.  Nobody is logged in.
void workInConfiguredSpace();

// Why there is nothing to see, with what to try; empty for a space that is there and readable.
std::string problemOf(const Space& space, const Options& options);
Exit exitOf(const Space& space);  // kNotFound when it is missing, kIncomplete when not all was seen

// "live", "stale" or "unknown".
std::string stateOf(Held held);
std::string kindOf(SpaceLock::Kind kind);  // "project" or "room"
// "ann since 2026-11-21T05:42:01Z"; "somebody since ..." when nobody is named.
std::string holder(const SpaceLock& lock);

// "people" and "locks" of the document of a lobby.
Json asJson(const Person& person);
Json asJson(const SpaceLock& lock);

// Projects and rooms by name.

// A project by the text of its cookie; nothing, after saying so, for any other text.
std::optional<cookie> projectNamed(const std::string& text);

// The room's path, as the library takes it: an existing room by its name with or without the
// ending, the one with it where there are both, else the text as it stands.  Nothing, after saying
// so, for a text that is empty or leads out of the space.
std::optional<WString> roomPath(const Space& space, const std::string& text);

// Why nobody goes there, with the room that may be meant: nothing of it is there, neither its file
// nor a lock, in either spelling.  Empty also where that is not known.
std::string whyNoRoom(Space& space, const WString& roomPath, const Options& options);

// The same room with the ending, or without it.  Programs that began before its file was made lock
// the one, later ones the other.
WString otherSpelling(const WString& roomPath);

// Of both spellings the one that keeps more people out, with their locks added to what was seen.
WString worseSpelling(Space& space, const WString& roomPath, const Options& options);

// The lock as it was seen; null: there is no such file.
const SpaceLock* lockOfProject(const Space& space, const cookie& project);
const SpaceLock* lockOfRoom(const Space& space, const WString& roomPath);

// The paths of their lock files.
WString lockFileOfProject(const Space& space, const cookie& project);
WString lockFileOfRoom(const WString& roomPath);

// Lobbies.

// One folder level: not empty, "." or "..", no separator.  Otherwise false, after saying so.
bool mayBeLobby(const std::string& name);

// A lobby under the network projects root; nothing, after saying why and with the exit code, when
// it is none or does not answer.
std::optional<Space> lobbyNamed(const std::string& name, const Options& options, Exit& exit);

// The names of the lobbies; nothing when the root could not be read, or does not answer, said with
// the exit code.  The root of a first start has none, any other that is missing is said; a folder
// in it that does not answer is left out.
std::optional<std::vector<WString>> lobbyNames(const Options& options, Exit& exit);

struct Lobby {
  WString name;
  Space space;  // as lookAtPeople() shows it; one that does not answer may be no lobby
};

// The same, with who is in them, and with the folders that do not answer.
std::optional<std::vector<Lobby>> lobbies(const Options& options, Exit& exit);

}  // namespace console
