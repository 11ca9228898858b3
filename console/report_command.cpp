// The status for those who are not at a terminal: a page for a wall, figures for monitoring.
#include <unistd.h>

#include <chrono>
#include <climits>

#include "console/changes.h"
#include "console/commands.h"
#include "console/drives.h"
#include "console/folders.h"
#include "console/report.h"
#include "console/text_files.h"

namespace console {
namespace {

struct Arguments {
  std::optional<std::string> page, metrics;
  std::optional<int> refresh;
};

// What goes where.
struct Part {
  std::optional<std::string> file;
  std::string text;
};

bool isOutput(const std::optional<std::string>& file) { return file == "-"; }

WString pathOf(const std::string& file) { return absoluteFolder(Qx::WStringFromUTF8(file)); }

// Empty, or what is wrong with them.
std::string problemOf(const Arguments& arguments, const Options& options) {
  const auto& [page, metrics, refresh] = arguments;
  if (!page && !metrics)
    return "nothing is asked for: give --html FILE, --prometheus FILE or both.";
  if (page == "" || metrics == "") return "FILE is empty: a file's path was expected, or -.";
  const int outputs = isOutput(page) + isOutput(metrics) + options.json;
  if (outputs > 1) {
    return "standard output takes one document: give FILE for all but one of --html, --prometheus "
           "and --json.";
  }
  const bool same = page && metrics && !isOutput(page) && pathOf(*page) == pathOf(*metrics);
  return same ? "--html and --prometheus need a FILE each: one would replace the other." : "";
}

std::string machineName() {
  char name[HOST_NAME_MAX + 1] = {};
  gethostname(name, sizeof name - 1);
  return name;
}

Report findReport(const Options& options) {
  using namespace std::chrono;
  Report report{findStatus(options), machineName(), 0};
  report.made = duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
  return report;
}

bool write(const WString& file, const std::string& text, const Options& options) {
  const auto fault = writeLines(file, linesOf(text), options.deadline());
  if (fault && fault->empty()) return true;
  complain(fault ? *fault
                 : printable(file) +
                       " was not written: its mount does not answer.  Look at the mount or its "
                       "server, or keep the file elsewhere");
  return false;
}

Exit make(Context& context, const Arguments& arguments) {
  const Options& options = context.options;
  const std::string problem = problemOf(arguments, options);
  if (!problem.empty()) {
    complain(problem + "\nTry: miscdisc report --help");
    return kUsage;
  }
  if (configurationIsBroken()) return kUsage;
  const Report report = findReport(options);
  Exit exit = report.status.exit;
  for (const Warning& warning : report.status.warnings) {
    if (warning.unseen) complain(warning.text);
  }
  Changes changes(context);
  for (const Part& part : {Part{arguments.page, reportPage(report, arguments.refresh)},
                           Part{arguments.metrics, reportMetrics(report)}}) {
    if (!part.file) continue;
    if (isOutput(part.file)) {
      context.output.print(part.text);
      continue;
    }
    const WString file = pathOf(*part.file);
    if (options.dryRun) {
      remark(options, "would write " + printable(file));
    } else if (!write(file, part.text, options)) {
      exit = kFailed;
      continue;
    }
    changes.add({"write", "", file, L""});
  }
  // A timer mails what is printed, so what went well is not.
  return options.json ? changes.say(exit) : exit;
}

}  // namespace

void addReport(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* command = app.add_subcommand(
      "report", "The status as a page for a wall display, or as figures for monitoring");
  command->footer(
      "FILE is replaced as a whole, so that its readers never see half of it; - is standard\n"
      "output.  What could not be seen is said in it, and with exit code 3.");
  const auto arguments = std::make_shared<Arguments>();
  CLI::Option* page =
      command->add_option("--html", arguments->page, "One page that needs no other file")
          ->type_name("FILE");
  command
      ->add_option("--prometheus", arguments->metrics,
                   "Figures, for the collector of text files of Prometheus")
      ->type_name("FILE");
  command
      ->add_option("--refresh", arguments->refresh,
                   "Have browsers load the page again every so many seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86400))
      ->needs(page);
  command->callback([&context, &chosen, arguments] {
    chosen = [&context, arguments] { return make(context, *arguments); };
  });
}

}  // namespace console
