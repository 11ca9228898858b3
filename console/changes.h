// What a command has changed, or would change.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/context.h"

namespace console {

struct Change {
  // "add", "remove", "hide", "unhide", "rename", "make", "set", "clear" or "write".
  std::string action;
  std::string drive;  // its id; empty: none
  WString path;       // what was changed
  WString file;       // where that is kept; empty: nowhere but there
  std::optional<WString> name = {};
  std::string task = {};  // empty: none
};

// Collects changes; after the last one they are said on standard output.
class Changes {
 public:
  explicit Changes(Context& context) : context_(context) {}

  bool dryRun() const { return context_.options.dryRun; }
  void add(Change change) { changes_.push_back(std::move(change)); }
  Exit say(Exit exit);  // prints, and returns what it is given
  Exit sayNow();        // the same at once, for words that follow; kFailed when it cannot

 private:
  Context& context_;
  std::vector<Change> changes_;
};

// Why a file cannot be written, as far as its folder tells; printable, with what to try.
std::string whyNotWritten(const WString& file);

}  // namespace console
