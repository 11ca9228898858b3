// Where projects are kept, and local project spaces.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console/changes.h"
#include "console/folders.h"
#include "console/not_answering.h"
#include "console/space_commands.h"
#include "console/space_view.h"
#include "host/project_folders.h"
#include "host/state_file.h"
#include "miscdisc/frame/separator.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"

namespace console {
namespace {

struct Arguments {
  std::string folder;
  bool byDefault = false;
};

// Showing.

void showText(Context& context) {
  const bool people = context.output.forPeople(context.options);
  const auto line = [&](const std::string& what, const WString& text) {
    const std::string gap = people ? std::string(24 - what.size(), ' ') : "\t";
    context.output.print(what + gap + (text.empty() ? "-" : printable(text)) + "\n");
  };
  line("mode", LobbyUtils::machineIsInNetworkMode() ? L"network" : L"local");
  line("projects base directory", getProjectsBaseDirectory());
  line("local projects", getLocalProjectsDir());
  line("default local projects", getDefaultLocalProjectsDir());
  line("network projects root", LobbyUtils::getNetworkProjectsRoot());
  line("network material root", LobbyUtils::getNetworkMaterialRoot());
  line("lobby", LobbyUtils::getCurrentNetworkLobbyName());
  line("last lobby", Qx::WStringFromUTF8(storedSetting(kLastLobbyNameKey)));
}

void showDocument(Context& context) {
  Json document{{"schema", "miscdisc.space/1"},
                {"network_mode", LobbyUtils::machineIsInNetworkMode()}};
  addText(document, "base", getProjectsBaseDirectory());
  addText(document, "local", getLocalProjectsDir());
  addText(document, "default", getDefaultLocalProjectsDir());
  addText(document, "network_projects", LobbyUtils::getNetworkProjectsRoot());
  addText(document, "network_material", LobbyUtils::getNetworkMaterialRoot());
  const auto addName = [&](const char* key, const WString& name) {
    document[key] = nullptr;
    if (!name.empty()) addText(document, key, name);
  };
  addName("lobby", LobbyUtils::getCurrentNetworkLobbyName());
  addName("last_lobby", Qx::WStringFromUTF8(storedSetting(kLastLobbyNameKey)));
  context.output.printDocument(document);
}

Exit show(Context& context) {
  if (context.options.json) {
    showDocument(context);
  } else {
    showText(context);
  }
  return kDone;
}

// Looking at folders.

struct Place {
  int error = 0;  // errno; 0 when there is something
  bool folder = false;
  bool usable = false;  // by this user
};

// Nothing, after saying so, when it does not answer.
std::optional<Place> placeAt(const WString& path, const Options& options) {
  const std::string native = Qx::UTF8FromWString(path);
  const auto place = within<Place>(options.deadline(), path, [path, native]() -> Place {
    struct stat found {};
    if (stat(native.c_str(), &found) != 0) return {errno, false, false};
    return {0, S_ISDIR(found.st_mode), OS()->fileManager().directoryUsable(path)};
  });
  if (!place) complain(notAnswering(path, options));
  return place;
}

// The folder as it is passed on, with the separator at its end; nothing, after saying so.
std::optional<WString> folderMeant(const std::string& given) {
  if (given.empty()) {
    complain("FOLDER is empty: a folder's path was expected.");
    return {};
  }
  const WString folder = absoluteFolder(Qx::WStringFromUTF8(given));
  if (folder.starts_with(L'/')) return withSeparator(folder);
  complain("the working directory is gone.  Give FOLDER from the root on.");
  return {};
}

// Making.

std::vector<WString> missing(const std::vector<WString>& paths, const Options& options) {
  std::vector<WString> found;
  for (const WString& path : paths) {
    const auto there = within<bool>(options.deadline(), path, [path] { return fileExists(path); });
    if (!there.value_or(true)) found.push_back(path);
  }
  return found;
}

// What a new space has that is not there yet: folders, and copies of the default space's lists.
std::vector<WString> partsToMake(const WString& folder, const Options& options) {
  std::vector<WString> parts{folder, folder + L"P0001000", folder + L"G0001000"};
  for (const WString& list : {getMediaLocationsFilename(), WString(L"UnmountedDrives.txt")}) {
    const bool toCopy = missing({getDefaultLocalProjectsDir() + list}, options).empty();
    if (toCopy) parts.push_back(folder + list);
  }
  return missing(parts, options);
}

// kDone when the space can be made there.
Exit checkPlace(const WString& folder, const Options& options) {
  const auto place = placeAt(folder, options);
  if (!place) return kIncomplete;
  if (place->error == 0) return kDone;
  if (place->error != ENOENT) {
    complain(printable(folder) + " cannot be a project space: " + std::strerror(place->error) +
             ".  Look at it with ls -ld");
    return kFailed;
  }
  const WString parent = getPath(plainFolder(folder));
  const auto around = placeAt(parent, options);
  if (!around) return kIncomplete;
  if (around->folder) return kDone;
  complain(printable(folder) + " could not be made: there is no folder " + printable(parent) +
           ".  Make that first, or check the spelling.");
  return kNotFound;
}

Exit create(Context& context, const Arguments& arguments) {
  const Options& options = context.options;
  const auto folder = folderMeant(arguments.folder);
  if (!folder) return kUsage;
  if (const Exit refusal = checkPlace(*folder, options)) return refusal;
  const auto parts = partsToMake(*folder, options);
  Changes changes(context);
  if (parts.empty()) {
    remark(options, printable(*folder) + " is a project space already");
    return changes.say(kDone);
  }
  if (!options.dryRun) {
    if (parts.front() == *folder) OS()->fileManager().createDirectory(*folder);
    LobbyUtils::createNewLocalProjectSpace(*folder);
  }
  const auto failed = options.dryRun ? std::vector<WString>() : missing(parts, options);
  for (const WString& part : parts) {
    const bool made = std::find(failed.begin(), failed.end(), part) == failed.end();
    if (made) changes.add({"make", "", part, L""});
  }
  if (failed.empty()) return changes.say(kDone);
  complain(whyNotWritten(plainFolder(failed.front())));
  return changes.say(kFailed);
}

// Choosing.

// Whoever worked there without the lobby would log in nowhere, and take its locks unseen.
Exit checkNoLobby(const WString& folder, const Options& options) {
  const WString root = LobbyUtils::getNetworkProjectsRoot();
  const auto around = idOf(getPath(plainFolder(folder)), options.deadline());
  const bool underRoot = around && around == idOf(root, options.deadline());
  if (!underRoot || !lookAtPeople(folder, options).lobby) return kDone;
  const std::string name = printable(stripPath(plainFolder(folder)));
  complain(printable(folder) + " is the lobby " + name +
           ", in which nobody works without a login.  Choose it with \"miscdisc lobby use " + name +
           "\"");
  return kFailed;
}

// kDone when programs would really work there: in a folder that is not usable they would silently
// fall back to the default one.
Exit checkUsable(const WString& folder, const Options& options) {
  const auto place = placeAt(folder, options);
  if (!place) return kIncomplete;
  if (place->usable) return checkNoLobby(folder, options);
  const std::string shown = printable(folder);
  if (place->error == ENOENT) {
    complain(shown +
             " is not there.  Make it with \"miscdisc space create\", or check the "
             "spelling.");
    return kNotFound;
  }
  complain(shown + " cannot be the project space: " +
           std::strerror(place->error != 0 ? place->error : EACCES) + ".  Look at it with ls -ld");
  return kFailed;
}

// The library's own change would go on to log in where a lobby is configured, and to mount the new
// drives: both are for the program that works there next.
Exit change(Context& context, const WString& folder) {
  const Options& options = context.options;
  if (!options.dryRun) setLocalProjectsDir(folder);
  const WString state = Qx::WStringFromUTF8(host::StateFile::instance().path());
  if (!host::localProjectsDirIsStored()) {
    complain(whyNotWritten(state));
    return kFailed;
  }
  const WString lobby = LobbyUtils::getCurrentNetworkLobbyName();
  if (!lobby.empty()) {
    remark(options, "this machine works in the lobby " + printable(lobby) +
                        ": the folder counts once it works locally (miscdisc lobby use --local)");
  }
  Changes changes(context);
  changes.add({"set", "", folder, state});
  return changes.say(kDone);
}

Exit use(Context& context, const Arguments& arguments) {
  if (arguments.byDefault) return change(context, getDefaultLocalProjectsDir());
  const auto folder = folderMeant(arguments.folder);
  if (!folder) return kUsage;
  if (const Exit refusal = checkUsable(*folder, context.options)) return refusal;
  return change(context, *folder);
}

}  // namespace

void addSpace(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* space = app.add_subcommand("space", "Where projects are kept");
  space->require_subcommand(1);
  addSpaceCommand(*space, chosen, "show", "Where projects are kept now",
                  [&context] { return show(context); });
  const auto arguments = std::make_shared<Arguments>();
  addSpaceCommand(*space, chosen, "create", "Make a local project space",
                  [&context, arguments] { return create(context, *arguments); })
      ->add_option("FOLDER", arguments->folder, "It is made when it is missing")
      ->required();
  CLI::App* choice = addSpaceCommand(*space, chosen, "use", "Keep projects in a folder from now on",
                                     [&context, arguments] { return use(context, *arguments); });
  CLI::Option* folder = choice->add_option("FOLDER", arguments->folder, "A local project space");
  choice->add_flag("--default", arguments->byDefault, "The one of a first start")->excludes(folder);
}

}  // namespace console
