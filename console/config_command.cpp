#include <algorithm>

#include "console/commands.h"
#include "console/drives.h"
#include "console/folders.h"
#include "console/kept_keys.h"
#include "host/nearest.h"
#include "host/places.h"
#include "host/state_file.h"
#include "miscdisc/lobby/configuration_keys.h"
#include "miscdisc/lobby/lobby_utils.h"

namespace console {
namespace {

struct Arguments {
  std::string key;
  std::string value;
  std::string section = "Configuration";
};

Json entryAsJson(const std::string& section, const std::string& key, const std::string& value) {
  Json entry;
  addText(entry, "section", Qx::WStringFromUTF8(section));
  addText(entry, "key", Qx::WStringFromUTF8(key));
  addText(entry, "value", Qx::WStringFromUTF8(value));
  return entry;
}

Json document() { return Json{{"schema", "miscdisc.config/1"}}; }

Json document(const std::string& section, const std::string& key, const std::string& value) {
  Json answer = document();
  answer.update(entryAsJson(section, key, value));
  return answer;
}

Exit get(Context& context, const Arguments& arguments) {
  if (configurationIsBroken()) return kUsage;
  const auto value = host::StateFile::instance().value(arguments.section, arguments.key);
  if (!value) {
    complain("\"" + printable(arguments.key) + "\" is not set in section \"" +
             printable(arguments.section) + "\".  \"miscdisc config list\" shows what is.");
    return kNotFound;
  }
  if (context.options.json) {
    context.output.printDocument(document(arguments.section, arguments.key, *value));
  } else {
    context.output.print(printable(*value) + "\n");
  }
  return kDone;
}

// Programs look for it from any working directory.  False, after saying so.
bool isFullPath(const Arguments& arguments) {
  const std::string& key = arguments.key;
  const bool root = key == LobbyUtils::NetProjRootRegKey || key == LobbyUtils::NetMatRootRegKey;
  const std::string& folder = arguments.value;
  if (arguments.section != kLobbySection || !root) return true;
  if (folder.empty() || folder.starts_with('/')) return true;
  complain("\"" + key + "\" is the full path of a folder, which begins with \"/\", not \"" +
           printable(folder) + "\"; did you mean \"" +
           printable(absoluteFolder(Qx::WStringFromUTF8(folder))) + "\"?  Nothing was changed.");
  return false;
}

// It may be the application's own.
void tellUnknown(const Arguments& arguments, const Options& options) {
  const auto known = configurationKeys();
  const bool read = std::find(known.begin(), known.end(), arguments.key) != known.end();
  if (arguments.section != kLobbySection || read) return;
  const std::string near = host::didYouMean(host::nearest(arguments.key, known), "\"", "\"");
  remark(options, "this program reads no \"" + printable(arguments.key) + "\"" +
                      (near.empty() ? "." : near) + "  It is kept all the same");
}

Exit set(Context& context, const Arguments& arguments) {
  if (configurationIsBroken() || !isFullPath(arguments)) return kUsage;
  host::StateFile& state = host::StateFile::instance();
  if (!state.setValue(arguments.section, arguments.key, arguments.value)) {
    complain("\"" + printable(arguments.key) + "\" could not be stored in " +
             printable(state.path()) + ".  Check the rights of the file and its folder.");
    return kFailed;
  }
  if (context.options.json) {
    context.output.printDocument(document(arguments.section, arguments.key, arguments.value));
  }
  remark(context.options,
         "\"" + printable(arguments.key) + "\" is now \"" + printable(arguments.value) + "\"");
  tellUnknown(arguments, context.options);
  return kDone;
}

Exit list(Context& context) {
  if (configurationIsBroken()) return kUsage;
  host::StateFile& state = host::StateFile::instance();
  Json entries = Json::array();
  std::vector<std::vector<std::string>> rows;
  for (const std::string& section : state.sections()) {
    for (const auto& [key, value] : state.values(section)) {
      entries.push_back(entryAsJson(section, key, value));
      rows.push_back({printable(section), printable(key), printable(value)});
    }
  }
  if (context.options.json) {
    Json answer = document();
    answer["entries"] = std::move(entries);
    context.output.printDocument(answer);
  } else {
    context.output.printTable(context.options, {"SECTION", "KEY", "VALUE"}, rows);
  }
  return kDone;
}

Exit path(Context& context) {
  const std::string written = host::places().config + "/config.toml";
  const std::string kept = host::StateFile::instance().path();
  if (context.options.json) {
    Json answer = document();
    addText(answer, "config", Qx::WStringFromUTF8(written));
    addText(answer, "state", Qx::WStringFromUTF8(kept));
    context.output.printDocument(answer);
  } else {
    context.output.printTable(context.options, {"FILE", "PATH"},
                              {{"config", printable(written)}, {"state", printable(kept)}});
  }
  return kDone;
}

}  // namespace

void addConfig(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* config =
      app.add_subcommand("config", "Look at the settings that are kept, or change them");
  config->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* help, auto run) {
    CLI::App* command = config->add_subcommand(name, help);
    command->callback([&context, &chosen, arguments, run] {
      chosen = [&context, arguments, run] { return run(context, *arguments); };
    });
    return command;
  };
  const auto addKey = [&](CLI::App* command) {
    command->add_option("KEY", arguments->key, "For example \"network project root\"")->required();
    command->add_option("--section", arguments->section, "Instead of Configuration")
        ->type_name("SECTION");
  };
  addKey(add("get", "Print a setting", get));
  CLI::App* setting = add("set", "Keep a setting", set);
  addKey(setting);
  setting->add_option("VALUE", arguments->value, "Any text")->required();
  add("list", "Print all settings", [](Context& c, const Arguments&) { return list(c); });
  add("path", "Print where the two files are",
      [](Context& c, const Arguments&) { return path(c); });
}

}  // namespace console
