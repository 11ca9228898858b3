#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "console/messages.h"
#include "console/report.h"
#include "console/space_view.h"
#include "console/times.h"
#include "host/settings.h"

namespace console {
namespace {

// Sizes are in rem, which grows with the width of the display: from a telephone to a wall.
constexpr char kStyle[] = R"(
:root {
  color-scheme: light dark;
  --page: #f4f5f6; --card: #ffffff; --line: #8a9199; --text: #15181b; --quiet: #4c5359;
  --used: #3a6ea8; --reserve: #a86a00; --free: #dfe4e8;
  --good: #0b5a2b; --good-back: #dcf3e3; --warn: #6b4300; --warn-back: #ffe9bf;
  --bad: #8e1414; --bad-back: #fde0de;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #101214; --card: #1b1f23; --line: #79828b; --text: #f2f4f5; --quiet: #b5bcc3;
    --used: #6ea8e6; --reserve: #e0a030; --free: #363d44;
    --good: #9be8b4; --good-back: #10351d; --warn: #ffd58a; --warn-back: #402b00;
    --bad: #ffb4ae; --bad-back: #4c1310;
  }
}
* { box-sizing: border-box; }
html { font-size: clamp(16px, calc(12px + .75vw), 56px); }
body { margin: 0; padding: 1rem; background: var(--page); color: var(--text);
  font-family: system-ui, "Noto Sans", "DejaVu Sans", sans-serif; line-height: 1.35;
  overflow-wrap: anywhere; }
h1, h2, h3, p, ul, dl, dd { margin: 0; padding: 0; }
ul { list-style: none; }
h1 { font-size: 1.8rem; line-height: 1.15; }
h2 { font-size: 1.1rem; margin: 1.25rem 0 .5rem; }
h3 { font-size: 1.2rem; line-height: 1.2; }
header { display: flex; flex-wrap: wrap; justify-content: space-between; align-items: baseline;
  gap: .25rem 2rem; }
header p { font-size: 1.1rem; }
.quiet { color: var(--quiet); }
.summary { display: flex; flex-wrap: wrap; gap: .4rem; margin-top: .5rem; font-size: 1.2rem; }
.alert { padding: .5rem .75rem; border-radius: .4rem; border-left: .4rem solid currentColor; }
.grid { display: grid; gap: .75rem;
  grid-template-columns: repeat(auto-fill, minmax(min(100%, 20rem), 1fr)); }
.wide { grid-template-columns: repeat(auto-fit, minmax(min(100%, 30rem), 1fr)); }
.drive { background: var(--card); border-radius: .5rem; padding: .75rem; }
.top { display: flex; justify-content: space-between; align-items: baseline; gap: .75rem; }
.state { display: inline-block; font-weight: 600; padding: 0 .5em; border-radius: .4em; }
.top .state { flex: none; }
.good { color: var(--good); background: var(--good-back); }
.warn { color: var(--warn); background: var(--warn-back); }
.bad { color: var(--bad); background: var(--bad-back); }
.bar { display: flex; height: 1.1rem; margin: .6rem 0 .3rem; border: 1px solid var(--line);
  border-radius: .25rem; overflow: hidden; background: var(--free); forced-color-adjust: none; }
.bar i { background: var(--used); }
.bar b { margin-left: auto; background: repeating-linear-gradient(135deg,
  var(--reserve) 0 .2rem, var(--free) .2rem .4rem); }
.legend { margin-top: .5rem; }
.legend i { display: inline-block; width: .9em; height: .9em; border: 1px solid var(--line);
  vertical-align: -.08em; margin-right: .3em; forced-color-adjust: none; }
.legend span { display: inline-block; margin-right: 1.2em; }
.used { background: var(--used); }
.free { background: var(--free); }
.reserve { background: repeating-linear-gradient(135deg,
  var(--reserve) 0 .2rem, var(--free) .2rem .4rem); }
.room strong { font-size: 1.5rem; }
dl { display: flex; flex-wrap: wrap; gap: 0 1.5rem; margin: .25rem 0; }
dl div { display: flex; gap: .4rem; }
dd { font-weight: 600; }
.path { font-size: .85rem; color: var(--quiet); }
.tables { display: grid; gap: 0 1.5rem; align-items: start;
  grid-template-columns: repeat(auto-fit, minmax(min(100%, 30rem), 1fr)); }
table { width: 100%; border-collapse: collapse; background: var(--card); border-radius: .5rem; }
th, td { text-align: left; vertical-align: baseline; padding: .4rem .75rem; }
thead th { color: var(--quiet); font-weight: 600; }
thead th, td .state, time span { white-space: nowrap; }
time span { display: inline-block; }
tbody th { font-weight: 600; }
tbody tr { border-top: 1px solid var(--page); }
@media (max-width: 30rem) {
  body { padding: .6rem; }
  table { font-size: .9rem; }
  th, td { padding: .35rem .25rem; }
}
footer { margin-top: 1.25rem; font-size: .85rem; color: var(--quiet); }
)";

// Texts.

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

// A name that is written from right to left turns nothing around it.
std::string name(const WString& text) { return "<bdi>" + escaped(printable(text)) + "</bdi>"; }

std::string element(const char* kind, const std::string& contents) {
  return fmt::format("<{0}>{1}</{0}>\n", kind, contents);
}

// The day and the hour stay in one piece each where a display is narrow.
std::string time(int64_t nanoseconds, const char* hour) {
  return fmt::format("<time datetime=\"{}\"><span>{}</span> <span>{}</span></time>",
                     rfc3339(nanoseconds), localTime(nanoseconds, "%F"),
                     escaped(localTime(nanoseconds, hour)));
}

std::string badge(const char* kind, const std::string& text) {
  return fmt::format("<span class=\"state {}\">{}</span>", kind, escaped(text));
}

std::string titleOf(const Status& status) {
  return status.lobby.empty() ? "Local project space" : printable(status.lobby);
}

// Warnings.

// What is to be seen from afar; the sentences are for who comes closer.
std::string summary(const Status& status) {
  const size_t count = status.warnings.size();
  std::string text =
      badge(count == 0 ? "good" : "warn", count == 0   ? "no warnings"
                                          : count == 1 ? "1 warning"
                                                       : std::to_string(count) + " warnings");
  if (status.exit == kIncomplete) {
    text += badge("bad", "incomplete: not everything could be seen");
  }
  return "<p class=\"summary\">" + text + "</p>\n";
}

std::string warnings(const Status& status) {
  if (status.warnings.empty()) return {};
  std::string items;
  for (const Warning& warning : status.warnings) {
    items += fmt::format("<li class=\"alert {}\">{}</li>\n", warning.unseen ? "bad" : "warn",
                         escaped(warning.text));
  }
  return "<section aria-labelledby=\"warnings\">\n<h2 id=\"warnings\">Warnings</h2>\n"
         "<ul class=\"grid wide\">\n" +
         items + "</ul>\n</section>\n";
}

// Drives.

// The free bytes below which a drive is low.
double reserveOf(const Formats& formats) {
  return formats.empty() ? 0 : host::settings()->lowMinutes * bytesPerMinute(formats[0]);
}

std::string reserveInWords(const Formats& formats) {
  return fmt::format("reserve: the last {} min of {}, in which a drive is low",
                     host::settings()->lowMinutes, printable(formats[0].name));
}

// Parts of it in per cent.
struct Shares {
  double used, reserve;
};

Shares sharesOf(const VOLUME_INFO& space, const Formats& formats) {
  const auto total = static_cast<double>(space.totalBytes);
  const double free = std::min(static_cast<double>(space.freeBytes), total);
  return {100 * (total - free) / total, 100 * std::min(free, reserveOf(formats)) / total};
}

std::string bar(const Drive& drive, const Formats& formats) {
  const VOLUME_INFO& space = *drive.state.space;
  if (space.totalBytes == 0) return {};
  const auto [used, reserve] = sharesOf(space, formats);
  return fmt::format(
      "<div class=\"bar\" role=\"meter\" aria-label=\"{}: how much is used\" aria-valuemin=\"0\" "
      "aria-valuemax=\"100\" aria-valuenow=\"{}\" aria-valuetext=\"{:.0f} % used, {} free\">"
      "<i style=\"width:{:.2f}%\"></i><b style=\"width:{:.2f}%\"></b></div>\n",
      escaped(called(drive)), std::lround(used), used, withUnit(space.freeBytes), used, reserve);
}

const char* badgeOf(const DriveView& view) {
  if (!view.drive->present() || view.state == "full") return "bad";
  return view.state == "low" ? "warn" : "good";
}

std::string minutesOf(const DriveView& view, const Formats& formats) {
  std::string items;
  for (size_t i = 0; i < formats.size(); ++i) {
    items += fmt::format("<div><dt>{}</dt><dd>{}</dd></div>", escaped(printable(formats[i].name)),
                         minutesCell(view.minutes[i], true));
  }
  return items.empty() ? "" : element("dl", items);
}

std::string card(const DriveView& view, const Formats& formats) {
  const Drive& drive = *view.drive;
  std::string text = "<li class=\"drive\">\n<div class=\"top\"><h3>" + escaped(drive.label) + " " +
                     name(drive.name) + "</h3> " + badge(badgeOf(view), view.state) + "</div>\n";
  if (drive.state.space) {
    text += bar(drive, formats) + "<p class=\"room\"><strong>" +
            withUnit(drive.state.space->freeBytes) + "</strong> free of " +
            withUnit(drive.state.space->totalBytes) + "</p>\n";
  }
  if (drive.present()) text += minutesOf(view, formats);
  return text + "<p class=\"path\">" + name(drive.path) + "</p>\n</li>\n";
}

std::string legend(const Formats& formats) {
  std::string text =
      "<p class=\"legend quiet\"><span><i class=\"used\"></i>used</span>"
      "<span><i class=\"free\"></i>free</span>";
  if (reserveOf(formats) > 0) {
    text += "<span><i class=\"reserve\"></i>" + escaped(reserveInWords(formats)) + "</span>";
  }
  return text + "</p>\n";
}

std::string drives(const Status& status) {
  std::string cards;
  for (const DriveView& view : status.drives) cards += card(view, status.formats);
  return "<section aria-labelledby=\"drives\">\n<h2 id=\"drives\">Drives</h2>\n" +
         (cards.empty() ? element("p", "None.")
                        : "<ul class=\"grid\">\n" + cards + "</ul>\n" + legend(status.formats)) +
         "</section>\n";
}

// People and locks.

std::string heldBadge(Held held) {
  switch (held) {
    case Held::kYes:
      return badge("good", stateOf(held));
    case Held::kNo:
      return badge("warn", stateOf(held));
    case Held::kUnknown:
      break;
  }
  return badge("bad", stateOf(held));
}

std::string rowOf(const Person& person) {
  return "<tr><th scope=\"row\">" + name(person.user) + (person.you ? " (here)" : "") +
         "</th><td>" + heldBadge(person.held) + "</td><td>" + time(person.since, "%R") +
         "</td></tr>\n";
}

std::string rowOf(const SpaceLock& lock) {
  return "<tr><th scope=\"row\">" + kindOf(lock.kind) + " " + name(lock.name) + "</th><td>" +
         (lock.owner.empty() ? "-" : name(lock.owner)) + "</td><td>" + heldBadge(lock.held) +
         "</td><td>" + time(lock.since, "%R") + "</td></tr>\n";
}

template <typename Item>
std::string table(const Space& space, const char* id, const char* title,
                  const std::vector<const char*>& heading, const std::vector<Item>& items,
                  const char* none) {
  std::string text =
      fmt::format("<section aria-labelledby=\"{0}\">\n<h2 id=\"{0}\">{1}</h2>\n", id, title);
  if (space.answer != Space::Answer::kThere) {
    text += element("p", "Not known: " + name(space.folder) + " could not be seen.");
  } else if (items.empty()) {
    text += element("p", none);
  } else {
    text += fmt::format("<table aria-labelledby=\"{}\">\n<thead><tr>", id);
    for (const char* column : heading) text += fmt::format("<th scope=\"col\">{}</th>", column);
    text += "</tr></thead>\n<tbody>\n";
    for (const Item& item : items) text += rowOf(item);
    text += "</tbody>\n</table>\n";
  }
  return text + "</section>\n";
}

std::string peopleAndLocks(const Status& status) {
  const Space& space = status.space;
  std::string text = "<div class=\"tables\">\n";
  if (status.networkMode) {
    text += table(space, "people", "People in the lobby", {"User", "State", "Since"}, space.people,
                  "Nobody.");
  }
  return text +
         table(space, "locks", "Locks", {"What", "Owner", "State", "Since"}, space.locks,
               "Nothing is locked.") +
         "</div>\n";
}

// The page.

std::string head(const Report& report, std::optional<int> refreshSeconds) {
  const Status& status = report.status;
  // Nothing is loaded or run, even if a browser should take a name for more than text.
  std::string text =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" "
      "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta name=\"robots\" content=\"noindex\">\n";
  if (refreshSeconds) {
    text += fmt::format("<meta http-equiv=\"refresh\" content=\"{}\">\n", *refreshSeconds);
  }
  return text + element("title", escaped(titleOf(status) + " - " + printable(report.machine))) +
         element("style", kStyle) + "</head>\n";
}

std::string header(const Report& report) {
  const Status& status = report.status;
  return "<header>\n<h1><bdi>" + escaped(titleOf(status)) + "</bdi></h1>\n<p>" +
         name(Qx::WStringFromUTF8(report.machine)) + ", " + name(status.user) + ", " +
         time(report.made, "%T %Z") + "</p>\n</header>\n";
}

std::string footer(const Status& status) {
  return "<footer>\n<p>Project space " + name(status.space.folder) +
         "</p>\n<p>Messenger: " + escaped(messengerInWords(status.messenger)) +
         "</p>\n<p>miscdisc " MISCDISC_VERSION "</p>\n</footer>\n";
}

}  // namespace

std::string reportPage(const Report& report, std::optional<int> refreshSeconds) {
  const Status& status = report.status;
  return head(report, refreshSeconds) + "<body>\n" + header(report) + "<main>\n" + summary(status) +
         drives(status) + peopleAndLocks(status) + warnings(status) + "</main>\n" + footer(status) +
         "</body>\n</html>\n";
}

}  // namespace console
