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

struct Ended {
  int code;        // of the program, as a shell has it: 127 not found, 128 + n by signal n
  int signal = 0;  // that came for us meanwhile, and should end us too
};

// Runs the program on this command's terminal and its standard streams until it ends.  It gets the
// signals that come meanwhile, but for a Ctrl-C, which it has had from the terminal; one that does
// not end within ten seconds is killed.  When this process dies it gets TERM.
Ended run(const std::vector<std::string>& command, const Output& output, EndSignals& signals);

}  // namespace console
