// Lines of words from standard input: on a terminal edited, completed and remembered, else as they
// stand.
#pragma once

#include <histedit.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console/program.h"

namespace console {

// As a shell splits them; nothing when a quote is not closed.
std::optional<std::vector<std::string>> wordsOf(const std::string& line);

class Lines {
 public:
  // What the last word, which is begun, may become; the words before it are whole.
  using Complete = std::function<std::vector<std::string>(const std::vector<std::string>& words)>;

  Lines(EndSignals& signals, Complete complete);
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;
  ~Lines();

  bool edited() const { return editor_ != nullptr; }

  struct Line {
    enum class Kind {
      kText,
      kCleared,  // by Ctrl-C
      kEnd,
    };
    Kind kind;
    std::string text = {};
    int signal = 0;  // that made it the end
  };
  // The prompt is for who edits.
  Line next(const std::string& prompt);

  // For the cursor keys, in this shell and in later ones.
  void remember(const std::string& line);

 private:
  friend struct Callbacks;

  // False at the end of what can be read: then cleared_ or signal_ may say why.
  bool readByte(char& byte);
  bool readCharacter(wchar_t& character);
  Line whyEnded() const;
  Line edit(const std::string& prompt);
  Line readPlain();
  void startEditing();
  unsigned char completeWord();

  EndSignals& signals_;
  const Complete complete_;
  EditLine* editor_ = nullptr;
  History* history_ = nullptr;
  std::string prompt_;
  std::string remembered_;  // the last of them
  bool cleared_ = false;
  int signal_ = 0;
};

}  // namespace console
