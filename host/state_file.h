// state.toml: what the application keeps from start to start.
//
// Sections of keys with text values.  The file is written by us and may be read by anybody; it is
// replaced as a whole, so a reader sees the old one or the new one.  A value may hold any bytes:
// one that is not UTF-8 stands in the file as { bytes = "2f6d..." }, in hexadecimal.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "miscdisc/platform/values/export.h"

namespace host {

// From any thread and from several processes.
class MISCDISC_EXPORT StateFile {
 public:
  static StateFile& instance();

  std::string path() const;

  // As the file stands now, whoever wrote it.  Nothing when absent, and when the file cannot be
  // read or does not parse.
  std::optional<std::string> value(const std::string& section, const std::string& key);

  // All keys and values of a section, by key; and the names of the sections.
  std::map<std::string, std::string> values(const std::string& section);
  std::vector<std::string> sections();

  // Stores one value, or removes it.  The newest contents are read first, under a guard lock, so
  // that what others have stored meanwhile stays.  False, with the file as it was: it does not
  // parse, it cannot be written, others were writing for 5 seconds, or a name is not UTF-8.
  bool setValue(const std::string& section, const std::string& key, const std::string& value);
  bool removeValue(const std::string& section, const std::string& key);

  // As setValue, but only if the value is still the one that was expected (nothing: absent); also
  // false when it is another.  So processes that want the same key can tell which of them has it.
  bool replaceValue(const std::string& section, const std::string& key,
                    const std::optional<std::string>& expected, const std::string& value);

  // "FILE:LINE:COLUMN: what was expected" while the file cannot be used; else empty.
  std::string problem();

 private:
  StateFile();
  ~StateFile() = delete;  // lives as long as the process

  // A change of one value, told what it was; false leaves the file as it is.
  using Change = std::function<bool(std::optional<std::string>& value)>;
  bool change(const std::string& section, const std::string& key, const Change& change);

  struct Contents;
  Contents& newest();  // REQUIRES: contents_->mutex is held
  Contents* contents_;
};

}  // namespace host
