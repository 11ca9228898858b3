// What every command has: the global options, the way out for data and words, and exit codes.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "miscdisc/platform/values/text.h"

namespace console {

enum Exit : int {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,  // also a configuration that does not parse
  kIncomplete = 3,
  kNotFound = 4,
  kHeld = 5,          // by somebody else
  kLoginRefused = 6,  // works locally instead
  kRefused = 7,       // until it is asked for with --yes
  kThreshold = 8,     // less is left than was asked for
  kProblems = 10,     // the doctor found some
  kInterrupted = 130,
};

using Json = nlohmann::ordered_json;

struct Options {
  bool json = false;
  bool plain = false;
  bool quiet = false;
  bool verbose = false;
  std::string color = "auto";
  double timeout = 0.25;  // seconds
  bool yes = false;
  bool dryRun = false;

  // How long a mount has to answer.
  std::chrono::milliseconds deadline() const;
};

// Standard output and standard error, kept apart.
//
// Descriptor 1 points at standard error from the start, so that whatever a library prints never
// spoils the data, which goes to the real standard output, all of it when the command is done.
class Output {
 public:
  // Call once, before anything can print.
  Output();

  bool onTerminal() const { return terminal_; }
  int descriptor() const { return descriptor_; }  // for a program that prints data of its own
  // Bars, aligned columns and units are for people.
  bool forPeople(const Options& options) const { return terminal_ && !options.plain; }
  bool colored(const Options& options) const;

  void print(const std::string& data) { data_ += data; }
  void printDocument(const Json& document);
  // Rows for people are aligned under their heading; for a pipe they are separated by tabs, in
  // full, without heading.  Cells are printable already.
  void printTable(const Options& options, const std::vector<std::string>& heading,
                  const std::vector<std::vector<std::string>>& rows);

  // Writes the data.  A reader that has gone is no failure: nobody wants the rest.
  bool flush();

 private:
  int descriptor_;
  bool terminal_;
  std::string data_;
};

struct Context {
  Options options;
  Output output;
};

// "miscdisc: ", the text and a line end, to standard error.
void complain(const std::string& text);
// For people who watch; silent with -q.
void remark(const Options& options, const std::string& text);

// A text as it may stand on a terminal and in a tab-separated line: control characters and bytes
// that are not UTF-8 are escaped as \n, \t, \xNN, and the backslash as \\.
std::string printable(std::string_view bytes);
std::string printable(const WString& text);

// How many columns of a terminal a printable text takes.
size_t columnsOf(const std::string& text);

// Of a table: the columns that each of its cells needs, and a row in which they have them, without
// a line end.
std::vector<size_t> cellWidths(const std::vector<std::string>& heading,
                               const std::vector<std::vector<std::string>>& rows);
std::string alignedRow(const std::vector<std::string>& cells, const std::vector<size_t>& widths);

// A text as it may stand in a document in UTF-8: bytes that are not become U+FFFD.
std::string asUtf8(WString text);

// Adds key: text, and when the text is not UTF-8 shows it with U+FFFD and gives its bytes in
// hexadecimal under key + "_hex".
void addText(Json& object, const std::string& key, const WString& text);

std::string withUnit(uint64_t bytes);               // "1.4 GiB"
std::string rfc3339(int64_t nanosecondsSince1970);  // "2026-11-21T05:42:01Z", UTC

}  // namespace console
