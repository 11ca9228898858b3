#include "console/changes.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

#include "miscdisc/platform/paths.h"

namespace console {
namespace {

std::string sentence(const Change& change, bool dryRun) {
  static const std::map<std::string, std::pair<const char*, const char*>> kVerbs = {
      {"add", {"added", "would add"}},         {"remove", {"removed", "would remove"}},
      {"hide", {"hid", "would hide"}},         {"unhide", {"unhid", "would unhide"}},
      {"rename", {"renamed", "would rename"}}, {"make", {"made", "would make"}},
      {"set", {"set", "would set"}},           {"clear", {"cleared", "would clear"}},
      {"write", {"wrote", "would write"}},
  };
  const auto& [done, planned] = kVerbs.at(change.action);
  std::string text = dryRun ? planned : done;
  const std::string& subject = change.task.empty() ? change.drive : change.task;
  if (!subject.empty()) text += " " + printable(subject) + ":";
  text += " " + printable(change.path);
  if (change.name) text += " \"" + printable(*change.name) + "\"";
  if (!change.file.empty()) text += " (in " + printable(change.file) + ")";
  return text + "\n";
}

Json asJson(const Change& change) {
  Json object{{"action", change.action}, {"drive", nullptr}};
  if (!change.drive.empty()) addText(object, "drive", Qx::WStringFromUTF8(change.drive));
  if (!change.task.empty()) object["task"] = change.task;
  addText(object, "path", change.path);
  object["file"] = nullptr;
  if (!change.file.empty()) addText(object, "file", change.file);
  if (change.name) addText(object, "name", *change.name);
  return object;
}

// As this process's rights stand now.
bool allowed(const std::string& path, int what) {
  return faccessat(AT_FDCWD, path.c_str(), what, AT_EACCESS) == 0;
}

}  // namespace

Exit Changes::say(Exit exit) {
  const bool dry = dryRun();
  if (context_.options.json) {
    Json document{{"schema", "miscdisc.change/1"}, {"dry_run", dry}, {"changes", Json::array()}};
    for (const Change& change : changes_) document["changes"].push_back(asJson(change));
    context_.output.printDocument(document);
  } else {
    for (const Change& change : changes_) context_.output.print(sentence(change, dry));
  }
  return exit;
}

Exit Changes::sayNow() {
  say(kDone);
  return context_.output.flush() ? kDone : kFailed;
}

std::string whyNotWritten(const WString& file) {
  const std::string path = Qx::UTF8FromWString(file);
  const std::string folder = Qx::UTF8FromWString(getPath(file));
  std::error_code none;
  const auto kind = std::filesystem::status(path, none);
  std::string why = "others were writing it, or there is no space left.  Try again, and look at df";
  if (!allowed(folder, W_OK | X_OK)) {
    why = "nothing can be written in " + printable(folder) + ": " + std::strerror(errno) +
          ".  Check it with ls -ld";
  } else if (std::filesystem::is_directory(kind)) {
    why = "it is a folder.  Give the name of a file";
  } else if (std::filesystem::is_other(kind)) {
    why = "it is no plain file.  Give the name of a file";
  } else if (!allowed(path, R_OK | W_OK) && errno != ENOENT) {
    why = std::string(std::strerror(errno)) + ".  Check it with ls -l";
  }
  return printable(file) + " could not be written: " + why;
}

}  // namespace console
