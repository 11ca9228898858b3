// Several machines on one shared folder: processes that each have a home and a user of their own
// and do what a test tells them.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace test {

enum class Storage { kLocal, kDeclaredRemote };

// The folder that the machines share, which is their network projects root, and their homes beside
// it.  Both go with the object.
class Share {
 public:
  explicit Share(Storage storage);
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;
  ~Share();

  std::string path(const std::string& name) const;  // inside the shared folder
  bool has(const std::string& name) const;
  std::optional<std::string> read(const std::string& name) const;  // nothing: no such file
  void makeFolder(const std::string& name) const;                  // and those above it

  std::string root() const;  // without a separator at its end
  Storage storage() const;

  void addSettings(const std::string& toml);  // of machines that are started from now on

  // A machine's, with its config.toml, which says what the folder is to this machine.
  std::string makeHome(const std::string& user, Storage storage,
                       const std::string& moreSettings = "") const;

 private:
  std::string folder_;
  Storage storage_;
  std::string settings_;
};

// A machine that runs from the beginning.  When it gives no answer for half a minute, or has ended,
// std::runtime_error says what it was asked.  The process ends with the object, as one that is not
// stopped must do well by itself, and is killed when the test process dies.
class Machine {
 public:
  Machine(const Share& share, std::string user);
  Machine(const Share& share, std::string user, Storage storage);  // the share as it alone sees it
  // With the share mounted there, which other machines call //nas/projects.
  Machine(const Share& share, std::string user, const std::string& mountPoint);
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  ~Machine();

  // What it answers to a command of machine.cpp.
  std::string ask(const std::string& command);

  // The two halves of ask(), for machines that are to do something at the same time.
  void tell(const std::string& command);
  std::string answer();

  void makeStateUnwritable();  // from now on it stores no settings

  void crash();      // kills it; afterwards only restart()
  void restart();    // with the same home, after a crash
  void stop();       // it keeps what it has and does nothing
  void awaitStop();  // until it has stopped where "freeze-before" told it to
  void resume();     // after stop() or awaitStop()

 private:
  void start();
  pid_t running() const;
  void closePipes();
  void expectGoodEnd();
  std::string readLine();

  std::string root_, user_, home_;
  pid_t process_ = 0;  // 0: crashed
  bool stopped_ = false;
  int input_ = -1, output_ = -1;
  std::string asked_;
  std::string unread_;  // output beyond the last line that was read
};

}  // namespace test
