// A file of lines, edited by several machines at once.
//
// Loading takes lines that end in LF or CR LF; a last line without an end counts, a byte order
// mark does not.  Lines are bytes, kept as they are.  A missing file has no lines.
//
// An object keeps its own lines and numbers.  save() applies what the object has appended and
// removed to the newest contents of the file, so that two machines that append at the same time
// both keep their line; an object that was opened without loading replaces the contents.  A
// crash at any moment leaves the old file or the new one.  Symbolic links are followed.
// Not thread-safe.
#pragma once

#include <cstddef>
#include <memory>

#include "miscdisc/platform/values/text.h"

class MISCDISC_EXPORT TextFile {
 public:
  enum eEOLStyle { eLF = 1 };

  // load false: the contents are not read, and save() will replace them.
  TextFile(const WString& path, bool load);
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile();

  size_t getNumLines() const;
  const String& operator[](size_t line) const;  // REQUIRES: line < getNumLines()

  void appendLine(const String& line);  // a line end in it makes two lines of it on disk
  void removeLine(size_t line);         // past the end: nothing

  // Writes the edits and forgets them.  An empty path is the file that was opened; another path
  // gets the lines as they stand here.  False, with the file as it was: the file exists but
  // could not be read, it cannot be written, or others were writing for 5 seconds.  An object
  // whose own file could not be loaded is saved nowhere: its lines are not those of the file.
  bool save(const WString& path, eEOLStyle style);

 private:
  struct Contents;
  std::unique_ptr<Contents> contents_;
};
