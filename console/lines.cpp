#include "console/lines.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <memory>

#include "host/places.h"
#include "miscdisc/platform/text_file.h"

namespace console {

// What the editor calls.
struct Callbacks {
  static Lines& of(EditLine* editor) {
    void* lines = nullptr;
    el_get(editor, EL_CLIENTDATA, &lines);
    return *static_cast<Lines*>(lines);
  }

  static char* prompt(EditLine* editor) { return of(editor).prompt_.data(); }

  static int read(EditLine* editor, wchar_t* character) {
    if (of(editor).readCharacter(*character)) return 1;
    errno = EINTR;
    return -1;
  }

  static unsigned char complete(EditLine* editor, int) { return of(editor).completeWord(); }
};

namespace {

constexpr int kRemembered = 1000;  // lines

WString historyPath() { return Qx::WStringFromUTF8(host::places().state + "/shell_history"); }

struct EndTokenizer {
  void operator()(Tokenizer* tokenizer) const { tok_end(tokenizer); }
};

// The word in which a line ends, for whoever completes it.
struct Begun {
  std::vector<std::string> words;  // the last one is begun, and may be empty
  std::string quote;               // in which it stands
};

std::optional<Begun> begunIn(const std::string& line) {
  for (const char* quote : {"", "'", "\""}) {
    // With a mark behind it there is a last word, also behind a blank.
    if (auto words = wordsOf(line + "x" + quote)) {
      words->back().pop_back();
      return Begun{std::move(*words), quote};
    }
  }
  return {};
}

// As it must be typed to stand for itself.
std::string typed(const std::string& text, const std::string& quote) {
  static const std::string kSpecial = " \t'\"\\";
  if (!quote.empty()) return text;
  std::string result;
  for (const char byte : text) {
    if (kSpecial.find(byte) != std::string::npos) result += '\\';
    result += byte;
  }
  return result;
}

std::string commonBeginning(const std::vector<std::string>& texts) {
  std::string common = texts.front();
  for (const std::string& text : texts) {
    const auto differs = std::mismatch(common.begin(), common.end(), text.begin(), text.end());
    common.erase(differs.first, common.end());
  }
  // Not half a character.
  while (!common.empty() && common.size() < texts.front().size() &&
         (texts.front()[common.size()] & 0xC0) == 0x80) {
    common.pop_back();
  }
  return common;
}

// Ctrl-Z would stop the shell with its terminal as the editor has set it.
class StopIgnored {
 public:
  StopIgnored() : before_(signal(SIGTSTP, SIG_IGN)) {}
  ~StopIgnored() { signal(SIGTSTP, before_); }

 private:
  const sighandler_t before_;
};

}  // namespace

std::optional<std::vector<std::string>> wordsOf(const std::string& line) {
  const std::unique_ptr<Tokenizer, EndTokenizer> tokenizer(tok_init(nullptr));
  int count = 0;
  const char** words = nullptr;
  if (tok_str(tokenizer.get(), line.c_str(), &count, &words) != 0) return {};
  return std::vector<std::string>(words, words + count);
}

Lines::Lines(EndSignals& signals, Complete complete)
    : signals_(signals), complete_(std::move(complete)) {
  if (isatty(STDIN_FILENO)) startEditing();
}

Lines::~Lines() {
  if (editor_) el_end(editor_);
  if (history_) history_end(history_);
}

void Lines::startEditing() {
  setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) setlocale(LC_CTYPE, "C.UTF-8");
  editor_ = el_init("miscdisc", stdin, stderr, stderr);
  if (!editor_) return;
  el_set(editor_, EL_CLIENTDATA, this);
  el_set(editor_, EL_PROMPT, Callbacks::prompt);
  el_set(editor_, EL_GETCFN, Callbacks::read);
  el_set(editor_, EL_EDITOR, "emacs");
  el_set(editor_, EL_ADDFN, "complete", "Complete the word", Callbacks::complete);
  el_set(editor_, EL_BIND, "^I", "complete", nullptr);

  history_ = history_init();
  HistEvent event;
  history(history_, &event, H_SETSIZE, kRemembered);
  el_set(editor_, EL_HIST, history, history_);
  const TextFile file(historyPath(), true);
  for (size_t line = 0; line < file.getNumLines(); ++line) {
    history(history_, &event, H_ENTER, file[line].c_str());
    remembered_ = file[line];
  }
  el_source(editor_, nullptr);  // what the user has set for all programs
}

void Lines::remember(const std::string& line) {
  if (!history_ || line == remembered_) return;
  remembered_ = line;
  HistEvent event;
  history(history_, &event, H_ENTER, line.c_str());
  // At once, since a shell may end without being asked.
  TextFile file(historyPath(), true);
  file.appendLine(line);
  for (size_t lines = file.getNumLines(); lines > kRemembered; --lines) file.removeLine(0);
  file.save(WString(), TextFile::eLF);
}

bool Lines::readByte(char& byte) {
  while (true) {
    pollfd asked[] = {{STDIN_FILENO, POLLIN, 0}, {signals_.descriptor(), POLLIN, 0}};
    poll(asked, std::size(asked), -1);
    if (const auto signal = signals_.next()) {
      cleared_ = signal->number == SIGINT && edited();
      if (!cleared_) signal_ = signal->number;
      return false;
    }
    if (asked[0].revents == 0) continue;
    const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
    if (count >= 0) return count == 1;
    if (errno != EINTR && errno != EAGAIN) return false;
  }
}

bool Lines::readCharacter(wchar_t& character) {
  std::mbstate_t state{};
  char byte = 0;
  while (readByte(byte)) {
    const size_t length = std::mbrtowc(&character, &byte, 1, &state);
    if (length <= 1) return true;
    if (length == static_cast<size_t>(-1)) state = {};  // no character: dropped
  }
  return false;
}

Lines::Line Lines::whyEnded() const {
  return {cleared_ ? Line::Kind::kCleared : Line::Kind::kEnd, {}, signal_};
}

Lines::Line Lines::readPlain() {
  std::string text;
  char byte = 0;
  while (readByte(byte)) {
    if (byte == '\n') return {Line::Kind::kText, text};
    text += byte;
  }
  const bool rest = !text.empty() && signal_ == 0;
  return rest ? Line{Line::Kind::kText, text} : whyEnded();
}

Lines::Line Lines::edit(const std::string& prompt) {
  const StopIgnored atThePrompt;
  prompt_ = prompt;
  el_resize(editor_);  // the window may have changed meanwhile
  int count = 0;
  const char* const text = el_gets(editor_, &count);
  if (!text || count <= 0) {
    std::fputc('\n', stderr);
    return whyEnded();
  }
  std::string line(text, static_cast<size_t>(count));
  while (!line.empty() && line.back() == '\n') line.pop_back();
  return {Line::Kind::kText, line};
}

Lines::Line Lines::next(const std::string& prompt) {
  cleared_ = false;
  return edited() ? edit(prompt) : readPlain();
}

unsigned char Lines::completeWord() {
  const LineInfo* const line = el_line(editor_);
  const auto begun = begunIn(std::string(line->buffer, line->cursor));
  if (!begun) return CC_ERROR;
  const std::string& beginning = begun->words.back();

  std::vector<std::string> fitting = complete_(begun->words);
  std::erase_if(fitting, [&](const std::string& text) { return !text.starts_with(beginning); });
  if (fitting.empty()) return CC_ERROR;
  std::string more = typed(commonBeginning(fitting).substr(beginning.size()), begun->quote);
  if (fitting.size() == 1) more += begun->quote + " ";
  if (!more.empty()) {
    el_insertstr(editor_, more.c_str());
    return CC_REFRESH;
  }
  std::string shown = "\n";
  for (const std::string& text : fitting) shown += printable(text) + "\n";
  std::fputs(shown.c_str(), stderr);
  return CC_REDISPLAY;
}

}  // namespace console
