// What the tests of several machines share: two users' machines and a lobby, on local storage and
// on a folder that is declared remote.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/machines/machines.h"

namespace test {

inline void PrintTo(Storage storage, std::ostream* out) {
  *out << (storage == Storage::kLocal ? "Local" : "DeclaredRemote");
}

class MachinesTest : public testing::TestWithParam<Storage> {
 protected:
  void makeLobby(const std::string& name) {
    ASSERT_EQ(ann.ask("create " + name), "yes");
    share.makeFolder(name + "/P0001000");
    share.makeFolder(name + "/P0001001");
  }

  void bothEnter(const std::string& lobby) {
    ASSERT_EQ(ann.ask("enter " + lobby), "yes");
    ASSERT_EQ(ben.ask("enter " + lobby), "yes");
  }

  // Of a lock or a login, as ben's machine sees it.
  std::string state(const std::string& name) { return ben.ask("state " + share.path(name)); }

  Share share{GetParam()};
  Machine ann{share, "ann"};
  Machine ben{share, "ben"};
};

#define ON_LOCAL_AND_REMOTE_STORAGE(TESTS)                                                         \
  INSTANTIATE_TEST_SUITE_P(On, TESTS,                                                              \
                           testing::Values(test::Storage::kLocal, test::Storage::kDeclaredRemote), \
                           testing::PrintToStringParamName())

}  // namespace test
