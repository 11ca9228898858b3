// What people have written into config.toml.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace host {

// Texts are UTF-8 bytes as they stand in the file.
struct Settings {
  struct Volume {
    char letter;  // 'A' to 'Z'
    std::string folder;
  };
  struct Share {
    std::string network;  // "//server/share", with forward slashes
    std::string folder;
  };

  std::vector<Volume> volumes;             // [volumes], by letter
  std::vector<Share> shares;               // [shares]
  std::string user;                        // [machine] user; empty: the login name
  bool shortNamesOnly = false;             // [listing] short_names_only
  bool allowLocalOnly = false;             // [locks] allow_local_only
  std::vector<std::string> remoteFolders;  // [locks] remote: treated as remote storage
};

// The settings as last read; the file is read at the first call of the process.  Never null: a
// file that is missing or does not parse gives the defaults.  From any thread.
std::shared_ptr<const Settings> settings();

// Reads the file again; who holds the old settings keeps them.
void reloadSettings();

// Why config.toml or state.toml could not be read: "FILE:LINE:COLUMN: what was expected";
// empty when nothing is wrong.
std::string settingsProblem();

}  // namespace host
