#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>

#include "console/commands.h"
#include "console/folders.h"
#include "console/messages.h"
#include "console/volumes.h"
#include "host/command_map.h"
#include "miscdisc/dircache/global_cache.h"
#include "miscdisc/dircache/system_cache_iterator.h"
#include "miscdisc/platform/paths.h"
#include "miscdisc/platform/project_folders.h"
#include "miscdisc/platform/values/net_message.h"

namespace console {
namespace {

uint64_t filesIn(const std::vector<CachedFolder>& folders) {
  uint64_t files = 0;
  for (const CachedFolder& folder : folders) files += folder.count();
  return files;
}

size_t presentVolumes(const std::vector<CachedFolder>& folders) {
  std::set<std::string> volumes;
  for (const CachedFolder& folder : folders) {
    if (folder.present) volumes.insert(folder.drive);
  }
  return volumes.size();
}

// Says why the lists of the space could not be read.
Exit completeness(const DriveList& list, const std::vector<CachedFolder>& folders) {
  for (const std::string& fault : list.faults) complain(fault);
  return allRead(folders) && list.faults.empty() ? kDone : kIncomplete;
}

Json asJson(const std::vector<CachedFolder>& folders) {
  Json volumes = Json::array();
  for (const CachedFolder& folder : folders) {
    if (volumes.empty() || volumes.back()["id"] != folder.drive) {
      volumes.push_back(
          {{"id", folder.drive}, {"present", folder.present}, {"directories", Json::array()}});
    }
    Json directory;
    addText(directory, "path", folder.path);
    directory["files"] = folder.count();
    directory["valid"] = folder.readable;
    volumes.back()["directories"].push_back(std::move(directory));
  }
  return Json{
      {"schema", "miscdisc.cache/1"}, {"files", filesIn(folders)}, {"volumes", std::move(volumes)}};
}

std::string state(const CachedFolder& folder) {
  if (!folder.present) return "not present";
  return folder.readable ? "valid" : "not readable";
}

Exit stats(Context& context) {
  if (configurationIsBroken()) return kUsage;
  const DriveList list = enterConfiguredSpace(context.options);
  const auto folders = readVolumes(context.options, list.drives);
  if (context.options.json) {
    context.output.printDocument(asJson(folders));
    return completeness(list, folders);
  }
  std::vector<std::vector<std::string>> rows;
  for (const CachedFolder& folder : folders) {
    rows.push_back({folder.drive, folder.name, std::to_string(folder.count()), state(folder),
                    printable(folder.path)});
  }
  context.output.printTable(context.options, {"VOLUME", "FOLDER", "FILES", "STATE", "PATH"}, rows);
  return completeness(list, folders);
}

Exit validate(Context& context) {
  if (configurationIsBroken()) return kUsage;
  const DriveList list = enterConfiguredSpace(context.options);
  const auto folders = readVolumes(context.options, list.drives);
  if (context.options.json) {
    context.output.printDocument(asJson(folders));
  } else {
    const uint64_t files = filesIn(folders);
    const size_t volumes = presentVolumes(folders);
    context.output.print(std::to_string(files) + (files == 1 ? " file on " : " files on ") +
                         std::to_string(volumes) + (volumes == 1 ? " volume\n" : " volumes\n"));
  }
  return completeness(list, folders);
}

// The dump has a line for each name, between angle brackets.
uint64_t dumpBytes() {
  uint64_t bytes = 0;
  SystemCacheIterator walk(getSystemCache());
  for (const file_info* file = walk.file; file; file = walk.next()) {
    bytes += Qx::UTF8FromWString(file->nameView()).size() + std::string_view("<>\n").size();
  }
  return bytes;
}

// The library says nothing of a dump that failed, so what lies there afterwards has to.
bool writeDump(const std::string& file) {
  if (unlink(file.c_str()) != 0 && errno != ENOENT) return false;  // an older one proves nothing
  host::runCommand("debugFileSystemCache");
  std::error_code error;
  const auto bytes = std::filesystem::file_size(file, error);
  return !error && bytes == dumpBytes();
}

Exit dump(Context& context) {
  if (configurationIsBroken()) return kUsage;
  const DriveList list = enterConfiguredSpace(context.options);
  const auto folders = readVolumes(context.options, list.drives);
  std::error_code ignored;
  const std::string folder = Qx::UTF8FromWString(getDumpFolder());
  std::filesystem::create_directories(folder, ignored);
  const std::string file = folder + "cache0.txt";  // the first dump of a process
  if (!writeDump(file)) {
    complain(printable(file) +
             " could not be written whole.  Check the rights of its folder, and the space there.");
    return kFailed;
  }
  if (context.options.json) {
    Json document{{"schema", "miscdisc.dump/1"}, {"files", filesIn(folders)}};
    addText(document, "path", Qx::WStringFromUTF8(file));
    context.output.printDocument(document);
  } else {
    context.output.print(printable(file) + "\n");
  }
  return completeness(list, folders);
}

struct Recorded {
  std::optional<std::string> lobby;
  std::vector<std::string> files;
};

bool isMediaFolder(const WString& folder, const Drive& drive) {
  return folder == joinPaths(drive.path, L"Material") || folder == joinPaths(drive.path, L"Sound");
}

// False, after saying why, for what is no media file of any drive.
bool isMediaFile(const DriveList& list, const WString& path) {
  const WString folder = plainFolder(getPath(path));
  for (const Drive& drive : list.drives) {
    if (isMediaFolder(folder, drive)) return true;
  }
  complain(printable(path) + " is in no folder \"Material\" or \"Sound\" of a drive (" +
           labelsOf(list.drives) +
           "), so no machine has it in its cache.  \"miscdisc drives list\" shows the drives.");
  return false;
}

std::optional<bool> isThere(const WString& path, const Options& options) {
  return within<bool>(options.deadline(), path, [path] { return fileExists(path); });
}

// The cache of this process ends with it, so that patching it would be reading for nothing: what
// counts is that the others hear of the file.
Exit tellOfFiles(Context& context, const Recorded& recorded, NetMessage::Type type) {
  const Options& options = context.options;
  Exit exit = kDone;
  if (!workInLobby(recorded.lobby, options, exit)) return exit;
  const DriveList list = enterConfiguredSpace(options);
  std::vector<std::string> texts;
  for (const std::string& file : recorded.files) {
    const WString path = absoluteFolder(Qx::WStringFromUTF8(file));
    if (isFolder(path, options.deadline())) {
      complain(printable(path) + " is a folder.  Name the files in it that are to be told of.");
      return kUsage;
    }
    if (!isMediaFile(list, path)) return kNotFound;
    const auto there = isThere(path, options);
    if (type == NetMessage::FileAdded && !there.value_or(false)) {
      complain(printable(path) + (there
                                      ? " is not there.  Write the file first, then run this again."
                                      : " is on a drive that does not answer.  Look at its mount, "
                                        "or wait longer, for example with --timeout 5"));
      return there ? kNotFound : kIncomplete;
    }
    texts.push_back(fileText(type, path));
  }
  return sendTexts(context, texts);
}

Exit addFiles(Context& context, const Recorded& recorded) {
  return tellOfFiles(context, recorded, NetMessage::FileAdded);
}

Exit removeFiles(Context& context, const Recorded& recorded) {
  return tellOfFiles(context, recorded, NetMessage::FileRemoved);
}

}  // namespace

void addCache(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* cache =
      app.add_subcommand("cache", "Look at the cached listings, and tell others of files");
  cache->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, Exit (*run)(Context&)) {
    cache->add_subcommand(name, help)->callback([&context, &chosen, run] {
      chosen = [&context, run] { return run(context); };
    });
  };
  add("stats", "Count the files of each folder", stats);
  add("validate", "Read everything, and say how many files there are", validate);
  add("dump", "Write all names to a file in the state folder", dump);

  const auto recorded = std::make_shared<Recorded>();
  const auto addRecording = [&](const char* name, const char* help,
                                Exit (*run)(Context&, const Recorded&)) {
    CLI::App* command = cache->add_subcommand(name, help);
    command->add_option("FILE", recorded->files, "In a folder \"Material\" or \"Sound\" of a drive")
        ->required();
    command->add_option("--lobby", recorded->lobby, "Instead of the configured one")
        ->type_name("LOBBY");
    command->callback([&context, &chosen, recorded, run] {
      chosen = [&context, recorded, run] { return run(context, *recorded); };
    });
  };
  addRecording("add", "Tell the machines of the lobby of files that were written", addFiles);
  addRecording("remove", "Tell them of files that will be deleted, or were", removeFiles);
}

}  // namespace console
