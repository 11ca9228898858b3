// Running another program for a while, and the signals that end a command which holds something.
#pragma once

#include <signal.h>

#include <optional>
#include <string>
#include <vector>

#include "console/context.h"

namespace console {

// What every command does with signals, to be called at its start.
void prepareSignals();

// HUP, INT and TERM wait to be asked for from here on, so that nothing is left half done; those
// that whoever started us wants ignored stay so.  Make one, before the command's first thread.
class EndSignals {
 public:
  struct Signal {
    int number;
    bool fromTerminal;  // then the other programs on the terminal had it too
  };

  EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;
  ~EndSignals();  // those that nobody asked for are dropped

  int descriptor() const { return descriptor_; }  // readable while there is one
  std::optional<Signal> next();                   // never waits
  Signal wait();

  // As before the command; for a program that is about to be started.
  void restore() const;

 private:
  sigset_t before_;
  int descriptor_;
};

// As a shell has it.
inline Exit exitBySignal(int signal) { return static_cast<Exit>(128 + signal); }

// Starts a program with this command's terminal, standard input and words, and its data to the
// descriptor.  When this process dies it gets HUP, or KILL where HUP is ignored.  Whoever starts it
// waits for it.
pid_t start(const std::vector<std::string>& command, int data, const EndSignals& signals);

// Waits for its end.  As a shell has it: 127 not found, 128 + n by signal n.
int codeOf(pid_t program);

// Ends one that was started: with TERM, after ten seconds with KILL; one that cannot die is let go.
void end(pid_t program);

struct Ended {
  int code;        // as of codeOf()
  int signal = 0;  // that came for us meanwhile, and should end us too
};

// Runs a program, with its data to this command's, until it ends.  It gets the signals that come
// meanwhile, but for a Ctrl-C, which it has had from the terminal; one that does not end within ten
// seconds is killed, and let go when it cannot die.
Ended run(const std::vector<std::string>& command, const Output& output, EndSignals& signals);

}  // namespace console
