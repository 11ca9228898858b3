// The machine home of a test process: an empty temporary folder that MISCDISC_HOME names from the
// start of main, which home.cpp has, to its end.  The environment names no session bus.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace test {

const std::string& home();  // without a separator at its end

void writeFile(const std::string& path, const std::string& bytes);  // throws when it cannot
std::optional<std::string> readFile(const std::string& path);
void makeFolder(const std::string& path);  // and those above it

// What config.toml says from now on.
void configure(const std::string& toml);

// Starts each test in an empty home, without settings.
class HomeTest : public testing::Test {
 protected:
  HomeTest();
};

}  // namespace test
