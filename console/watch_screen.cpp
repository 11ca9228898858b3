#include "console/watch_screen.h"

#define NCURSES_NOMACROS 1
#include <ncurses.h>
#include <term.h>
#include <termios.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "console/messages.h"
#include "console/space_view.h"
#include "console/times.h"

namespace console {
namespace {

constexpr size_t kMostFiles = 1000;
constexpr auto kOld = std::chrono::seconds(3);  // figures of which the age is said
constexpr int kWarning = 1;                     // a pair of colours

std::string clockTime() { return localTime(now(), "%H:%M:%S"); }

// For an end that leaves no time for curses: the terminal's modes, and what brings its own page and
// cursor back.  A signal may come on any thread.
struct Leaving {
  int descriptor = -1;
  termios modes{};
  char text[256];
  size_t size = 0;

  void add(const char* capability) {
    const char* const sequence = tigetstr(capability);
    if (!sequence || sequence == reinterpret_cast<char*>(-1)) return;
    const size_t more = std::strlen(sequence);
    if (size + more > sizeof text) return;
    std::memcpy(text + size, sequence, more);
    size += more;
  }
};

constexpr int kFatal[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV};

Leaving leaving;
struct sigaction fatalBefore[std::size(kFatal)], continueBefore;
volatile sig_atomic_t continued = 0;

void leaveTerminal(int signal) {
  [[maybe_unused]] const ssize_t written = write(leaving.descriptor, leaving.text, leaving.size);
  tcsetattr(leaving.descriptor, TCSANOW, &leaving.modes);
  for (size_t i = 0; i < std::size(kFatal); ++i) {
    if (kFatal[i] == signal) sigaction(signal, &fatalBefore[i], nullptr);
  }
  raise(signal);
}

void noteContinued(int) { continued = 1; }

void handle(int signal, void (*handler)(int), struct sigaction& before) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigaction(signal, &action, &before);
}

// Of a drive's cells what matters most first, for windows that are too narrow for all of them.
std::vector<std::string> forPage(std::vector<std::string> cells) {
  const auto state = cells.end() - 2;  // before the path
  std::rotate(cells.begin() + 1, state, state + 1);
  const auto name = cells.begin() + 2;
  std::rotate(name, name + 1, cells.end() - 1);
  return cells;
}

}  // namespace

// The terminal while it is ours.
class WatchScreen::Terminal {
 public:
  Terminal(const Output& output, bool colored) {
    setlocale(LC_CTYPE, "");
    if (MB_CUR_MAX == 1) setlocale(LC_CTYPE, "C.UTF-8");
    tcgetattr(output.descriptor(), &leaving.modes);
    file_ = fdopen(dup(output.descriptor()), "w");
    screen_ = file_ ? newterm(nullptr, file_, stdin) : nullptr;
    if (!screen_) {
      if (file_) fclose(file_);
      const char* kind = std::getenv("TERM");
      throw std::runtime_error("no page can be drawn on this terminal: it is \"" +
                               printable(kind ? kind : "") +
                               "\" (TERM).  Try --json, which prints a line for each event");
    }
    quitBefore_ = signal(SIGQUIT, SIG_IGN);
    watchSignals(output.descriptor());
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
    if (!colored || !has_colors()) return;
    start_color();
    use_default_colors();
    init_pair(kWarning, COLOR_YELLOW, -1);
    colored_ = true;
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    for (size_t i = 0; i < std::size(kFatal); ++i) sigaction(kFatal[i], &fatalBefore[i], nullptr);
    sigaction(SIGCONT, &continueBefore, nullptr);
    endwin();
    delscreen(screen_);
    fclose(file_);
    signal(SIGQUIT, quitBefore_);
  }

  void begin() {
    // Whoever stopped the command may have used the terminal since.
    if (std::exchange(continued, 0)) {
      reset_prog_mode();
      clearok(curscr, TRUE);
    }
    werase(stdscr);
    row_ = 0;
  }
  void end() { wrefresh(stdscr); }

  // The last row is for the keys.
  int rowsLeft() const { return std::max(0, getmaxy(stdscr) - 1 - row_); }
  void skipRow() { ++row_; }

  enum class Style { kPlain, kHeading, kWarning };

  // What is too long for its row is cut.
  void row(const std::string& text, Style style = Style::kPlain) {
    if (rowsLeft() > 0) write(row_++, text, style);
  }
  void lastRow(const std::string& text) { write(getmaxy(stdscr) - 1, text, Style::kHeading); }

  void table(const std::vector<std::string>& heading,
             const std::vector<std::vector<std::string>>& rows, const std::vector<bool>& warned) {
    const std::vector<size_t> widths = cellWidths(heading, rows);
    row(alignedRow(heading, widths), Style::kHeading);
    for (size_t i = 0; i < rows.size(); ++i) {
      row(alignedRow(rows[i], widths), warned[i] ? Style::kWarning : Style::kPlain);
    }
  }

 private:
  void write(int at, const std::string& text, Style style) {
    WString fits;
    int left = getmaxx(stdscr);
    for (wchar_t c : Qx::WStringFromUTF8(text)) {
      left -= std::max(0, utf8proc_charwidth(c));
      if (left < 0) break;
      fits += c;
    }
    const bool warning = style == Style::kWarning;
    const attr_t attributes = style == Style::kPlain ? A_NORMAL : A_BOLD;
    wattr_set(stdscr, attributes, warning && colored_ ? kWarning : 0, nullptr);
    mvwaddnwstr(stdscr, at, 0, fits.c_str(), static_cast<int>(fits.size()));
    wattr_set(stdscr, A_NORMAL, 0, nullptr);
  }

  static void watchSignals(int descriptor) {
    leaving.descriptor = descriptor;
    leaving.size = 0;
    for (const char* const capability : {"sgr0", "rmkx", "rmcup", "cnorm"}) leaving.add(capability);
    for (size_t i = 0; i < std::size(kFatal); ++i) handle(kFatal[i], leaveTerminal, fatalBefore[i]);
    handle(SIGCONT, noteContinued, continueBefore);
  }

  FILE* file_ = nullptr;
  SCREEN* screen_ = nullptr;
  sighandler_t quitBefore_ = SIG_DFL;
  bool colored_ = false;
  int row_ = 0;
};

WatchScreen::WatchScreen(const Output& output, const Options& options, const Watched& watched)
    : options_(options),
      watched_(watched),
      terminal_(std::make_unique<Terminal>(output, output.colored(options))) {
  draw();
}

WatchScreen::~WatchScreen() = default;

void WatchScreen::add(std::vector<Event> events) {
  for (const Event& event : events) {
    if (!event.words.empty()) files_.push_front(clockTime() + "  " + event.words);
  }
  if (files_.size() > kMostFiles) files_.resize(kMostFiles);
}

void WatchScreen::show(std::shared_ptr<const Sight> sight) {
  latest_ = std::move(sight);
  if (!frozen_) {
    sight_ = latest_;
    shownFiles_ = files_;
  }
  draw();
}

bool WatchScreen::readKeys() {
  if (continued) draw();
  while (true) {
    switch (wgetch(stdscr)) {
      case ERR:
        return true;
      case 'q':
      case 'Q':
        return false;
      case 's':
        order_ = order_ == Order::kId     ? Order::kName
                 : order_ == Order::kName ? Order::kFree
                                          : Order::kId;
        break;
      case ' ':
      case 'f':
        frozen_ = !frozen_;
        break;
      case 12:  // Ctrl-L
        wclear(stdscr);
        break;
      case KEY_RESIZE:
        clearok(curscr, TRUE);  // terminals differ in what they keep
        break;
      default:
        break;
    }
    show(latest_);
  }
}

std::vector<const DriveView*> WatchScreen::sorted(const Sight& sight) const {
  std::vector<const DriveView*> views;
  for (const DriveView& view : sight.drives) views.push_back(&view);
  const auto freeOf = [](const DriveView* view) {
    return view->drive->state.space ? view->drive->state.space->freeBytes : 0;
  };
  std::stable_sort(views.begin(), views.end(), [&](const DriveView* a, const DriveView* b) {
    if (order_ == Order::kName) return a->drive->name < b->drive->name;
    return order_ == Order::kFree && freeOf(a) < freeOf(b);
  });
  return views;
}

void WatchScreen::draw() {
  using Style = Terminal::Style;
  terminal_->begin();
  const std::string place = !sight_                 ? ""
                            : sight_->lobby.empty() ? "working locally"
                                                    : "lobby " + printable(sight_->lobby);
  terminal_->row("miscdisc  " + clockTime() + "  " +
                     (sight_ ? printable(sight_->user) + ", " + place : "looking ...") +
                     (frozen_ ? "  FROZEN" : ""),
                 Style::kHeading);
  if (sight_) {
    const auto age = std::chrono::duration_cast<std::chrono::seconds>(
        std::chrono::steady_clock::now() - sight_->time);
    if (age > kOld && !frozen_) {
      terminal_->row("something hangs: this is " + std::to_string(age.count()) + " s old",
                     Style::kWarning);
    }
    if (watched_.drives) drawDrives(*sight_);
    if (watched_.space) drawSpace(*sight_);
    if (watched_.files) {
      terminal_->skipRow();
      terminal_->row("messenger  " + messengerInWords(host::messengerFacts()), Style::kHeading);
      drawFiles();
    }
  }
  const char* const order = order_ == Order::kId ? "id" : order_ == Order::kName ? "name" : "free";
  terminal_->lastRow(std::string("q quit  s sort (by ") + order + ")  space " +
                     (frozen_ ? "go on" : "freeze"));
  terminal_->end();
}

void WatchScreen::drawDrives(const Sight& sight) {
  std::vector<std::vector<std::string>> rows;
  std::vector<bool> warned;
  for (const DriveView* view : sorted(sight)) {
    rows.push_back(forPage(driveCells(*view, true)));
    warned.push_back(view->state != "ok");
  }
  terminal_->skipRow();
  terminal_->table(forPage(driveHeading(sight.formats, true)), rows, warned);
  for (const std::string& fault : sight.list.faults) {
    terminal_->row(fault, Terminal::Style::kWarning);
  }
}

void WatchScreen::drawSpace(const Sight& sight) {
  const auto add = [&](const std::vector<std::string>& heading, const auto& items) {
    if (items.empty()) return;
    std::vector<std::vector<std::string>> rows;
    std::vector<bool> warned;
    for (const auto& item : items) {
      rows.push_back(cellsOf(item, true));
      warned.push_back(item.held == Held::kNo);
    }
    terminal_->skipRow();
    terminal_->table(heading, rows, warned);
  };
  const std::string problem = problemOf(sight.space, options_);
  if (!problem.empty()) terminal_->row(problem, Terminal::Style::kWarning);
  add(personHeading(), sight.space.people);
  add(lockHeading(), sight.space.locks);
}

void WatchScreen::drawFiles() {
  for (const std::string& line : shownFiles_) {
    if (terminal_->rowsLeft() == 0) return;
    terminal_->row(line);
  }
}

}  // namespace console
