// What is wrong here, and what of it can be mended.
#include <fmt/core.h>

#include <algorithm>

#include "console/commands.h"
#include "console/doctor.h"
#include "console/folders.h"
#include "console/share_test.h"
#include "host/user_config.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

struct Arguments {
  std::string lobby;
  bool lobbyGiven = false;
  bool all = false;
  bool fix = false;
  std::string folder;
  bool process = false;
};

// A fix is several questions to a server, and half of one is worth nothing.
constexpr std::chrono::milliseconds kPatience{10'000};

void diagnoseSpace(const Space& space, const Options& options, Diagnosis& diagnosis) {
  findLeftovers(space, options, diagnosis);
  if (space.answer == Space::Answer::kThere) findInLists(space.folder, options, diagnosis);
}

// Nobody said that it is to be one, and nothing in it says so.
bool isPlainFolder(const Space& space, const std::vector<RootFolder>& folders) {
  if (space.answer != Space::Answer::kThere || space.lobby) return false;
  const WString name = LobbyUtils::getCurrentNetworkLobbyName();
  return std::any_of(folders.begin(), folders.end(), [&](const RootFolder& folder) {
    return folder.name == name && !folder.likeLobby;
  });
}

// Nothing, after saying so, when the lobby that was named is none.
std::optional<Diagnosis> diagnose(const Arguments& arguments, bool isConfigured,
                                  const Options& options) {
  Diagnosis diagnosis;
  const DriveList list = enterConfiguredSpace(options);
  const Space own = lookAt(getProjectsBaseDirectory(), options);
  if (arguments.lobbyGiven && own.answer == Space::Answer::kMissing) {
    complain(problemOf(own, options));
    return {};
  }
  const std::vector<RootFolder> folders = findInRoot(options, diagnosis);
  if (!isConfigured && isPlainFolder(own, folders)) {
    complain("there is no lobby " + printable(arguments.lobby) + ": " + printable(own.folder) +
             " holds no " + printable(getMediaLocationsFilename()) +
             ", and nothing else of a lobby.  \"miscdisc lobby list\" shows which there are.");
    return {};
  }
  if (LobbyUtils::machineIsInNetworkMode()) findInLobby(own, folders, options, diagnosis);

  std::vector<WString> others;
  const WString current = LobbyUtils::getCurrentNetworkLobbyName();
  for (const RootFolder& folder : folders) {
    if (!arguments.all || !folder.lobby || folder.name == current) continue;
    others.push_back(LobbyUtils::getNetworkLobbyFullPath(folder.name, true));
  }
  std::vector<WString> mounts = others;
  mounts.insert(mounts.begin(), {own.folder, LobbyUtils::getNetworkProjectsRoot()});
  findMountsWithoutLocks(mounts, options, diagnosis);
  diagnoseSpace(own, options, diagnosis);
  for (const WString& space : others) diagnoseSpace(lookAt(space, options), options, diagnosis);
  findSameNames(list, diagnosis);
  findUnknownSettings(diagnosis);
  for (const Drive& drive : list.drives) {
    if (drive.state.answer != host::VolumeState::Answer::kNotAnswering) continue;
    diagnosis.unseen.push_back(problemOf(drive, options));
  }
  return diagnosis;
}

void fix(Diagnosis& diagnosis, const Options& options) {
  for (const Finding& finding : diagnosis.findings) {
    if (!finding.mend) continue;
    remark(options, "will " + finding.remedy + ": " + printable(finding.path));
  }
  for (Finding& finding : diagnosis.findings) {
    if (!finding.mend) continue;
    const auto why =
        within<std::string>(std::max(options.deadline(), kPatience), finding.path, finding.mend);
    if (!why) {
      finding.text = "is not answering any more, so it is not known whether it was fixed";
      continue;
    }
    finding.fixed = why->empty();
    if (!why->empty()) finding.text = "was not fixed: " + *why;
  }
}

bool isLeft(const Finding& finding) { return !finding.fixed.value_or(false); }

// Untried: what is said of a finding that could be fixed, and was not tried or gave no answer.
std::string stateOf(const Finding& finding, const char* untried) {
  if (finding.fixed) return *finding.fixed ? "fixed" : "left";
  return finding.mend ? untried : "-";
}

Json asJson(const Finding& finding) {
  Json object{{"kind", finding.kind}};
  addText(object, "path", finding.path);
  object["text"] = finding.text;
  object["fixable"] = static_cast<bool>(finding.mend);
  object["fixed"] = nullptr;
  if (finding.fixed) object["fixed"] = *finding.fixed;
  return object;
}

void show(Context& context, const Diagnosis& diagnosis, bool fix) {
  if (context.options.json) {
    Json document{{"schema", "miscdisc.doctor/1"}, {"findings", Json::array()}};
    for (const Finding& finding : diagnosis.findings) {
      document["findings"].push_back(asJson(finding));
    }
    document["not_looked_at"] = diagnosis.unseen;
    context.output.printDocument(document);
    return;
  }
  const bool people = context.output.forPeople(context.options);
  const char* const untried = !fix ? "fixable" : context.options.dryRun ? "would fix" : "unknown";
  for (const Finding& finding : diagnosis.findings) {
    const std::string path = printable(finding.path);
    const std::string state = stateOf(finding, untried);
    // The texts are sentences, too long for a column.
    context.output.print(
        people ? fmt::format("{}\n  {} ({})\n  {}.\n", path, finding.kind,
                             finding.mend ? state : "not to be fixed from here", finding.text)
               : fmt::format("{}\t{}\t{}\t{}\n", finding.kind, path, state, finding.text));
  }
}

std::string counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void sumUp(const Options& options, const Diagnosis& diagnosis) {
  const auto& findings = diagnosis.findings;
  const auto fixed = static_cast<size_t>(
      std::count_if(findings.begin(), findings.end(), [](const auto& f) { return !isLeft(f); }));
  const auto fixable =
      static_cast<size_t>(std::count_if(findings.begin(), findings.end(), [](const Finding& f) {
        return f.mend && !f.fixed.has_value();
      }));
  std::string text = findings.empty() ? "nothing is wrong" : counted(findings.size(), "finding");
  if (fixed > 0) text += ", " + std::to_string(fixed) + " fixed";
  if (fixable > 0) {
    const bool all = fixable == findings.size();
    text += (all ? std::string("; ") : ", " + std::to_string(fixable) + " of them ") +
            "to be fixed by: miscdisc doctor --fix";
  }
  if (!diagnosis.unseen.empty()) {
    text += "; not everything could be looked at";
  }
  remark(options, text + ".");
}

Exit examine(Context& context, const Arguments& arguments) {
  const Options& options = context.options;
  bool isConfigured = true;
  if (arguments.lobbyGiven) {
    if (!mayBeLobby(arguments.lobby)) return kUsage;
    const WString configured = LobbyUtils::getCurrentNetworkLobbyName();
    isConfigured = Qx::WStringFromUTF8(arguments.lobby) == configured;
    host::overlayUserConfig(kLobbySection, kLobbyNameKey, arguments.lobby);
  }
  auto diagnosis = diagnose(arguments, isConfigured, options);
  if (!diagnosis) return kNotFound;
  for (const std::string& unseen : diagnosis->unseen) complain(unseen);
  if (arguments.fix && !options.dryRun) fix(*diagnosis, options);
  show(context, *diagnosis, arguments.fix);
  sumUp(options, *diagnosis);
  const auto& findings = diagnosis->findings;
  if (std::any_of(findings.begin(), findings.end(), isLeft)) return kProblems;
  return diagnosis->unseen.empty() ? kDone : kIncomplete;
}

}  // namespace

void addDoctor(CLI::App& app, Context& context, Command& chosen) {
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* doctor = app.add_subcommand(
      "doctor",
      "Find what dead machines left in the project space, and traps in how this one is set up.\n"
      "It takes no lock and changes nothing without --fix.  Exit code 10: something is wrong (and "
      "was not fixed), whether or not all could be looked at; 3: nothing was found, but something "
      "could not be looked at");
  const auto* lobby = doctor
                          ->add_option("--lobby", arguments->lobby,
                                       "Look at this lobby instead of the configured space")
                          ->type_name("LOBBY");
  doctor->add_flag("--all", arguments->all, "Look at every lobby as well");
  doctor->add_flag("--fix", arguments->fix,
                   "Say what will be fixed, then fix it.  Only what nobody holds is removed, and "
                   "only after its lock was taken; --dry-run only says");

  CLI::App* share = doctor->add_subcommand(
      "share",
      "Test whether locks in a folder exclude at all, with two processes of this machine.\n"
      "Exit code 10: a property fails");
  share->add_option("DIR", arguments->folder, "The folder, on the share")->required();
  // For the processes that the test starts.
  share->add_flag("--process", arguments->process)->group("");
  doctor->callback([&context, &chosen, arguments, share, lobby] {
    arguments->lobbyGiven = lobby->count() > 0;
    chosen = [&context, arguments, share = share->parsed()] {
      if (arguments->process) return serveShareTest(context, arguments->folder);
      if (configurationIsBroken()) return kUsage;
      if (!share) return examine(context, *arguments);
      if (arguments->fix || arguments->all || arguments->lobbyGiven) {
        complain(
            "\"doctor share\" only tests a folder: --fix, --all and --lobby are for "
            "\"doctor\".");
        return kUsage;
      }
      return testShare(context, arguments->folder);
    };
  });
}

}  // namespace console
