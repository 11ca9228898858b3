#include "console/progress.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <stdexcept>

namespace {

using console::Options;
using console::Progress;

// Standard error is a terminal while it lives.
class Terminal {
 public:
  Terminal() : before_(dup(STDERR_FILENO)) {
    int inside = -1;
    if (openpty(&outside_, &inside, nullptr, nullptr, nullptr) != 0) {
      throw std::runtime_error("no terminal");
    }
    dup2(inside, STDERR_FILENO);
    close(inside);
  }
  ~Terminal() {
    dup2(before_, STDERR_FILENO);
    close(before_);
    close(outside_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Everything that was drawn until the text was there; what came until then, after a minute.
  std::string shownUntil(const std::string& text) {
    std::string shown;
    pollfd more{outside_, POLLIN, 0};
    while (shown.find(text) == std::string::npos && poll(&more, 1, 60'000) == 1) {
      char c = 0;
      if (read(outside_, &c, 1) != 1) break;
      shown += c;
    }
    return shown;
  }

  std::string shownByNow() {
    static const std::string kEnd = "<end>";
    if (write(STDERR_FILENO, kEnd.data(), kEnd.size()) != ssize_t(kEnd.size())) return "?";
    const std::string shown = shownUntil(kEnd);
    return shown.substr(0, shown.size() - kEnd.size());
  }

 private:
  int before_;
  int outside_ = -1;
};

const std::string kClear = "\r\033[K";

}  // namespace

TEST(ProgressTest, OneLineNamesWhatIsReadAndIsGoneAtTheEnd) {
  Terminal terminal;
  Progress progress(Options{});
  progress.say("Reading E: material");
  EXPECT_TRUE(terminal.shownUntil(" s").starts_with(kClear + "Reading E: material \xE2\x80\xA6 "));
  progress.say("Reading E: sound");
  EXPECT_TRUE(terminal.shownUntil("sound").ends_with(kClear + "Reading E: sound"));
  progress.finish();
  const std::string rest = terminal.shownByNow();
  EXPECT_TRUE(rest.ends_with(" s" + kClear)) << rest;
  EXPECT_EQ(rest.find('\n'), std::string::npos);
}

TEST(ProgressTest, DrawsNothingWhenItIsNotWanted) {
  Terminal terminal;
  Options plain, quiet;
  plain.plain = true;
  quiet.quiet = true;
  Progress first(plain), second(quiet);
  first.say("plain");
  second.say("quiet");
  // Younger than the others, so they would have drawn by the time that this one has.
  Progress wanted(Options{});
  wanted.say("wanted");
  std::string shown;
  for (int lines = 0; lines < 3; ++lines) shown += terminal.shownUntil(" s");
  wanted.finish();
  EXPECT_NE(shown.find("wanted"), std::string::npos);
  EXPECT_EQ(shown.find("plain"), std::string::npos);
  EXPECT_EQ(shown.find("quiet"), std::string::npos);
}
