#include "host/state_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "host/settings.h"
#include "miscdisc/platform/config.h"
#include "tests/host/home.h"

namespace {

std::string stateFile() { return test::home() + "/state.toml"; }

String configured(const String& key) {
  return UserConfig().getValue(key, "(none)", "Configuration");
}

class StateFileTest : public test::HomeTest {};

// The exit status of a child that runs the work; 0 when the work is true.
template <typename Work>
pid_t inAnotherProcess(Work work) {
  const pid_t child = fork();
  if (child == 0) _exit(work() ? 0 : 1);
  return child;
}

int exitStatus(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST_F(StateFileTest, ReadingMakesNothing) {
  std::filesystem::remove_all(test::home());
  EXPECT_EQ(configured("a"), "(none)");
  EXPECT_EQ(prefs().getPreference("a", L"(none)"), L"(none)");
  EXPECT_EQ(config_int("a", 5), 5);
  EXPECT_EQ(host::settingsProblem(), "");
  EXPECT_FALSE(std::filesystem::exists(test::home()));
}

TEST_F(StateFileTest, TheFirstWriteMakesTheFolder) {
  std::filesystem::remove_all(test::home());
  EXPECT_TRUE(UserConfig().setValue("network project root", "/mnt/nas", "Configuration"));
  EXPECT_EQ(configured("network project root"), "/mnt/nas");
  EXPECT_EQ(test::readFile(stateFile()),
            "# Written by miscdisc; what people write is in config.toml.\n"
            "\n[\"Configuration\"]\n"
            "\"network project root\" = \"/mnt/nas\"\n");
}

TEST_F(StateFileTest, PreferencesAreASectionOfTheirOwn) {
  UserConfig().setValue("k", "1", "Configuration");
  UserConfig().setValue("k", "2", "Other.part");
  prefs().setPreference("k", L"3");
  EXPECT_EQ(configured("k"), "1");
  EXPECT_EQ(UserConfig().getValue("k", "", "Other.part"), "2");
  EXPECT_EQ(UserConfig().getValue("k", "", "Preferences"), "3");
}

TEST_F(StateFileTest, AnyTextComesBackAsItWas) {
  const String values[] = {"",
                           " x ",
                           "two\nlines\r\nand\ttabs",
                           "\"quoted\" 'twice' \\ \"\"\" '''",
                           String("zero\0inside", 11),
                           "\x01\x1B\x7F",
                           "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC",
                           "\xFF not UTF-8 \xC3",
                           "# no comment",
                           "{ bytes = 1 }"};
  for (const String& value : values) {
    EXPECT_TRUE(UserConfig().setValue("key", value, "Configuration")) << value;
    EXPECT_EQ(configured("key"), value);
    EXPECT_EQ(host::StateFile::instance().problem(), "") << value;
  }
  for (const char* key : {"", "a.b", "Media Location (record)", "\"", "\xC3\xA9", "a\nb", "#"}) {
    EXPECT_TRUE(UserConfig().setValue(key, "v", key)) << key;
    EXPECT_EQ(UserConfig().getValue(key, "", key), "v") << key;
  }
}

TEST_F(StateFileTest, RemovingWhatIsNotThereWritesNothing) {
  prefs().removePreference("drive");
  EXPECT_FALSE(std::filesystem::exists(stateFile()));
}

TEST_F(StateFileTest, ANameThatIsNotUtf8IsRefused) {
  EXPECT_FALSE(UserConfig().setValue("\xFF", "v", "Configuration"));
  EXPECT_FALSE(UserConfig().setValue("k", "v", "\xFF"));
  EXPECT_FALSE(std::filesystem::exists(stateFile()));
}

TEST_F(StateFileTest, WhatAnotherProcessWroteIsSeenAtTheNextRead) {
  UserConfig().setValue("k", "a", "Configuration");
  EXPECT_EQ(configured("k"), "a");
  for (const char* value : {"b", "c", "d", "e", "f"}) {
    ASSERT_EQ(exitStatus(inAnotherProcess(
                  [&] { return UserConfig().setValue("k", value, "Configuration"); })),
              0);
    EXPECT_EQ(configured("k"), value);
  }
}

TEST_F(StateFileTest, ProcessesAndThreadsLoseNothingOfEachOther) {
  constexpr int kProcesses = 4, kValues = 25;
  const auto writeAll = [](const std::string& who) {
    bool stored = true;
    for (int i = 0; i < kValues; ++i) {
      stored = UserConfig().setValue(who + std::to_string(i), who, "Configuration") && stored;
    }
    return stored;
  };
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(inAnotherProcess([&] { return writeAll("p" + std::to_string(p) + "-"); }));
  }
  std::thread first([&] { EXPECT_TRUE(writeAll("t0-")); });
  std::thread second([&] { EXPECT_TRUE(writeAll("t1-")); });
  first.join();
  second.join();
  for (pid_t child : children) EXPECT_EQ(exitStatus(child), 0);

  EXPECT_EQ(host::StateFile::instance().values("Configuration").size(), 6u * kValues);
  EXPECT_EQ(configured("p0-0"), "p0-");
  EXPECT_EQ(configured("t1-24"), "t1-");
}

TEST_F(StateFileTest, AValueIsReplacedOnlyWhileItIsTheExpectedOne) {
  auto& file = host::StateFile::instance();
  EXPECT_FALSE(file.replaceValue("S", "k", "a", "b"));
  EXPECT_EQ(file.value("S", "k"), std::nullopt);
  EXPECT_TRUE(file.replaceValue("S", "k", std::nullopt, "b"));
  EXPECT_FALSE(file.replaceValue("S", "k", std::nullopt, "c"));
  EXPECT_FALSE(file.replaceValue("S", "k", "a", "c"));
  EXPECT_EQ(file.value("S", "k"), "b");
  EXPECT_TRUE(file.replaceValue("S", "k", "b", "c"));
  EXPECT_EQ(file.value("S", "k"), "c");
}

TEST_F(StateFileTest, OfProcessesThatClaimAKeyOneHasIt) {
  for (int round = 0; round < 10; ++round) {
    const std::string key = std::to_string(round);
    const auto claim = [&] {
      return host::StateFile::instance().replaceValue("S", key, std::nullopt,
                                                      std::to_string(getpid()));
    };
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i) children.push_back(inAnotherProcess(claim));
    std::vector<std::string> winners;
    for (const pid_t child : children) {
      if (exitStatus(child) == 0) winners.push_back(std::to_string(child));
    }
    ASSERT_EQ(winners.size(), 1u);
    EXPECT_EQ(host::StateFile::instance().value("S", key), winners[0]);
  }
}

TEST_F(StateFileTest, NoTemporaryFileIsLeft) {
  UserConfig().setValue("k", "a", "Configuration");
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(test::home())) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".state.toml.lk", "state.toml"}));
}

TEST_F(StateFileTest, AFileThatIsNotOursIsNeverOverwritten) {
  struct {
    const char* contents;
    const char* problem;  // begins with
  } const cases[] = {
      {"k = \n", "1:"},
      {"k = 5\n", "1:5: a section of keys was expected"},
      {"[Configuration]\nk = 5\n", "2:5: a text in quotes was expected"},
      {"[Configuration]\nk = { bytes = \"0\" }\n", "2:5: a text in quotes was expected"},
      {"\xFF\n", "1:"}};
  for (const auto& c : cases) {
    test::writeFile(stateFile(), c.contents);
    EXPECT_FALSE(UserConfig().setValue("a", "b", "Configuration")) << c.contents;
    EXPECT_EQ(test::readFile(stateFile()), c.contents);
    EXPECT_EQ(configured("k"), "(none)") << c.contents;
    const std::string expected = stateFile() + ":" + c.problem;
    EXPECT_EQ(host::settingsProblem().substr(0, expected.size()), expected) << c.contents;
  }
}

TEST_F(StateFileTest, AFileThatCannotBeReadIsNeverOverwritten) {
  test::makeFolder(stateFile());
  EXPECT_FALSE(UserConfig().setValue("a", "b", "Configuration"));
  EXPECT_EQ(host::settingsProblem(),
            stateFile() + ":1:1: a readable file was expected: Is a directory");
  EXPECT_TRUE(std::filesystem::is_directory(stateFile()));
}

TEST_F(StateFileTest, AHomeThatCannotBeMadeStoresNothing) {
  std::filesystem::remove_all(test::home());
  test::writeFile(test::home(), "a file in the folder's place");
  EXPECT_FALSE(UserConfig().setValue("a", "b", "Configuration"));
  EXPECT_EQ(host::StateFile::instance().value("Configuration", "a"), std::nullopt);
  EXPECT_EQ(configured("a"), "b");  // this process alone has it
  std::filesystem::remove(test::home());
}

TEST_F(StateFileTest, WhoHoldsTheGuardIsWaitedForAndThenGivenUpOn) {
  int held[2];
  ASSERT_EQ(pipe(held), 0);
  const pid_t holder = inAnotherProcess([&] {
    const int guard = open((test::home() + "/.state.toml.lk").c_str(), O_RDWR | O_CREAT, 0666);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    const bool taken = fcntl(guard, F_OFD_SETLK, &lock) == 0;
    [[maybe_unused]] const ssize_t told = write(held[1], "x", 1);
    pause();
    return taken;
  });
  char told = 0;
  ASSERT_EQ(read(held[0], &told, 1), 1);

  EXPECT_FALSE(UserConfig().setValue("a", "b", "Configuration"));
  EXPECT_FALSE(std::filesystem::exists(stateFile()));

  kill(holder, SIGKILL);
  exitStatus(holder);
  EXPECT_TRUE(UserConfig().setValue("a", "b", "Configuration"));
  close(held[0]);
  close(held[1]);
}

TEST_F(StateFileTest, TheFilesRightsStay) {
  UserConfig().setValue("a", "b", "Configuration");
  ASSERT_EQ(chmod(stateFile().c_str(), 0640), 0);
  UserConfig().setValue("a", "c", "Configuration");
  struct stat found {};
  ASSERT_EQ(stat(stateFile().c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0640u);
}

TEST_F(StateFileTest, ASymbolicLinkInItsPlaceIsFollowed) {
  test::writeFile(test::home() + "/elsewhere/real.toml", "");
  std::filesystem::create_symlink(test::home() + "/elsewhere/real.toml", stateFile());
  EXPECT_TRUE(UserConfig().setValue("a", "b", "Configuration"));
  EXPECT_TRUE(std::filesystem::is_symlink(stateFile()));
  EXPECT_NE(test::readFile(test::home() + "/elsewhere/real.toml")->find("b"), std::string::npos);
  EXPECT_EQ(configured("a"), "b");
}

TEST_F(StateFileTest, ALinkToNothingIsFollowedToWhereTheFileIsMade) {
  test::makeFolder(test::home() + "/elsewhere");
  std::filesystem::create_symlink("elsewhere/real.toml", stateFile());
  EXPECT_TRUE(UserConfig().setValue("a", "b", "Configuration"));
  EXPECT_TRUE(std::filesystem::is_symlink(stateFile()));
  EXPECT_TRUE(test::readFile(test::home() + "/elsewhere/real.toml"));
  EXPECT_EQ(configured("a"), "b");
}
