// What this process holds: a login in a lobby, at most one room and at most one project.
//
// The lobby is this process's only: its name is laid over the configuration in memory, and nothing
// is written but the login, the locks and lines in the log.  Without a lobby rooms and projects are
// those of the local project space, where nobody logs in.
//
// Whatever changes says why when it fails; it has changed nothing then, unless it says so.  One at
// a time in a process, on one thread.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "console/context.h"
#include "console/space.h"

namespace console {

// In memory only, for this process: empty, it works locally.
void layOverConfiguration(const WString& lobby);

class Holding {
 public:
  explicit Holding(const Options& options);
  Holding(const Holding&) = delete;
  Holding& operator=(const Holding&) = delete;
  ~Holding();  // lets go of everything

  // What is held already is kept.  Another lobby is entered after leaving the first one.
  Exit enterLobby(const std::string& name);
  // When another program takes the room's other spelling at the same time, no room is held after.
  Exit enterRoom(const std::string& name);
  Exit openProject(const std::string& name);

  // Fine when there is nothing to leave.
  Exit leaveLobby();  // with its room and project
  Exit leaveRoom();
  Exit closeProject();

  // Empty: none.
  const WString& lobby() const { return lobby_; }
  const WString& room() const { return room_; }  // as people name it
  WString project() const { return project_.asWString(); }

  // The folder in which rooms and projects are.
  const WString& space() const { return space_; }

  // A call has not come back: only end() may follow.
  bool lost() const { return lost_; }

  // "lobby Alpha, room Edit 1"; empty when nothing is held.
  std::string inWords() const;

  // For the end of a command: lets go of everything, and ends the process at once when a call still
  // waits for a share that has died; no code may run any more then, and what was held ends with the
  // process.
  Exit end(Output& output, Exit exit);

 private:
  struct Outcome {
    bool done = false;
    int error = 0;    // of the last open that failed
    std::string why;  // "PATH: Permission denied"
  };

  // On a thread of its own, since a call that waits for a dead share cannot be called back.
  // Nothing, after saying so, when it does not come back.
  std::optional<Outcome> call(std::function<bool()> call);

  // The same for a lock, a few times while somebody has it whom its file does not show; the look is
  // at who kept it from us.
  std::optional<Outcome> callForLock(const std::function<bool()>& take, const WString& lockFile,
                                     LockLook& look);

  // Nothing, after saying why, when the space in which rooms and projects are does not answer.
  std::optional<Space> lookAround(Exit& exit) const;

  Exit leaveSpace();  // for the local one

  const Options& options_;
  WString space_;
  WString lobby_;
  WString room_, roomPath_;
  cookie project_;
  bool lost_ = false;
};

}  // namespace console
