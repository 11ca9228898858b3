// The folder of one run of a stress, with homes of machines beside what they work on.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

// Made before the platform is first asked for its settings, and removed by remove().
class Scratch {
 public:
  explicit Scratch(bool remote) : remote_(remote) {
    root_ = std::filesystem::temp_directory_path() / "miscdisc-stress-XXXXXX";
    if (!mkdtemp(root_.data())) std::abort();
    std::filesystem::create_directory(folder());
    setenv("MISCDISC_HOME", makeHome("home", "").c_str(), 1);
  }

  // A machine's home, for a process that works under that user's name; empty: the login name.
  std::string makeHome(const std::string& name, const std::string& user) const {
    const std::string home = root_ + "/" + name;
    std::filesystem::create_directory(home);
    std::ofstream config(home + "/config.toml");
    config << "[volumes]\ndiscover = false\n";
    if (!user.empty()) config << "[machine]\nuser = '" << user << "'\n";
    if (remote_) config << "[locks]\nremote = ['" << folder() << "']\n";
    return home;
  }

  std::string folder() const { return root_ + "/shared"; }
  void remove() const { std::filesystem::remove_all(root_); }

 private:
  bool remote_;
  std::string root_;
};
