// The folder of one run of a stress, with a machine home of its own beside what it works on.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

// Made before the platform is first asked for its settings, and removed by remove().
class Scratch {
 public:
  explicit Scratch(bool remote) {
    root_ = std::filesystem::temp_directory_path() / "miscdisc-stress-XXXXXX";
    if (!mkdtemp(root_.data())) std::abort();
    std::filesystem::create_directory(folder());
    std::filesystem::create_directory(root_ + "/home");
    if (remote) {
      std::ofstream(root_ + "/home/config.toml") << "[locks]\nremote = ['" << folder() << "']\n";
    }
    setenv("MISCDISC_HOME", (root_ + "/home").c_str(), 1);
  }

  std::string folder() const { return root_ + "/shared"; }
  void remove() const { std::filesystem::remove_all(root_); }

 private:
  std::string root_;
};
