// Completion: what the word may become in which a command line ends.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "console/context.h"

namespace console {

struct Candidate {
  std::string text;  // the whole word
  std::string help;  // may be empty
};

// A word that is begun, by the options alone.
struct BegunWord {
  std::vector<Candidate> candidates;  // commands, options and what is one of a fixed set
  // What else it may be, as "--help" names it: "ROOM"; "COMMAND" behind the "--" of "with"; empty:
  // nothing.
  std::string value;
  std::string before;  // of the value in its word: "--room=", or nothing
  // What the words before it say.
  std::optional<std::string> lobby;
  std::optional<std::string> timeout;  // in seconds
};

// The last of the words is begun, and may be empty; those before it are whole.  The name of the
// program is not among them.  REQUIRES: there is one.
BegunWord begunWord(const CLI::App& app, const std::vector<std::string>& words);

// The space with the rooms and projects that are meant: that of the lobby, or the other one.
WString spaceOf(const BegunWord& word, const WString& otherwise);

// What a LOBBY, ROOM, PROJECT or LOCK may be.  Says nothing of storage that does not answer within
// the deadline of the options: there is nothing to choose from then.
std::vector<std::string> namesFor(const std::string& value, const WString& space,
                                  const Options& options);

}  // namespace console
