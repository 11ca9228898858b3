// What an administrator of a NATS server does once for a lobby.
#include "console/commands.h"
#include "console/messages.h"
#include "host/messenger/setup.h"
#include "host/settings.h"
#include "host/shell_word.h"
#include "miscdisc/lobby/lobby_utils.h"

namespace console {
namespace {

struct Arguments {
  std::optional<std::string> lobby, url, credentials, ca;
  bool run = false;
};

std::string commandOf(const Arguments& arguments, const WString& lobby) {
  std::string command =
      "miscdisc notify setup --lobby " + host::shellWord(Qx::UTF8FromWString(lobby));
  const auto add = [&](const char* option, const std::optional<std::string>& value) {
    if (value) command += std::string(" ") + option + " " + host::shellWord(*value);
  };
  add("--url", arguments.url);
  add("--credentials", arguments.credentials);
  add("--ca", arguments.ca);
  return command + " --run";
}

// Empty, or why not.
std::string makeStream(const Arguments& arguments, const std::string& group) {
  const host::Settings::Messenger settings = host::settings()->messenger;
  return host::makeNatsStream(group, arguments.url.value_or(settings.url),
                              arguments.credentials.value_or(settings.credentials),
                              arguments.ca.value_or(settings.ca));
}

// What is told of a lobby.
struct Told {
  WString lobby;
  std::string group, command;
  host::NatsSetup setup;
  bool made;  // its stream, just now or before
};

Json asJson(const Told& told, const Options& options) {
  Json document{{"schema", "miscdisc.notify_setup/1"}, {"dry_run", options.dryRun}};
  addText(document, "lobby", told.lobby);
  addText(document, "group", Qx::WStringFromUTF8(told.group));
  document["stream"] = told.setup.stream;
  document["subject"] = told.setup.subject;
  addText(document, "server_configuration", Qx::WStringFromUTF8(told.setup.serverConfiguration));
  addText(document, "command", Qx::WStringFromUTF8(told.command));
  document["there"] = told.made ? Json(true) : Json();  // nobody has looked
  return document;
}

void show(Context& context, const Told& told) {
  const bool people = context.output.forPeople(context.options);
  const auto line = [&](const std::string& what, const std::string& text) {
    context.output.print(what + (people ? std::string(10 - what.size(), ' ') : "\t") + text + "\n");
  };
  line("stream", told.setup.stream);
  line("subject", told.setup.subject);
  line("command", printable(told.command));
  context.output.print(told.setup.serverConfiguration);
  remark(context.options,
         "the lines from \"# The lobby\" on go among the users of the server's configuration, with "
         "a password of their own.  The command makes the stream, with an administrator's "
         "--credentials");
}

Exit setUp(Context& context, const Arguments& arguments) {
  const Options& options = context.options;
  Exit exit = kDone;
  if (!workInLobby(arguments.lobby, options, exit)) return exit;
  const WString lobby = LobbyUtils::getCurrentNetworkLobbyName();
  const std::string group = host::currentGroup();
  Told told{lobby, group, commandOf(arguments, lobby), host::natsSetup(group), false};
  const std::string stream = "the stream " + told.setup.stream;

  if (arguments.run && !options.dryRun) {
    const std::string why = makeStream(arguments, group);
    if (!why.empty()) {
      complain(
          stream + " was not made: " + printable(why) +
          ".  Making it takes an administrator's credentials: name their file with --credentials, "
          "and with --url a server that is not in the settings");
      return kFailed;
    }
    told.made = true;
  }
  if (options.json) {
    context.output.printDocument(asJson(told, options));
  } else if (arguments.run) {
    context.output.print(told.made ? stream + " is there\n" : "would make " + stream + "\n");
  } else {
    show(context, told);
  }
  return kDone;
}

}  // namespace

void addNotifySetup(CLI::App& notify, Context& context, Command& chosen) {
  CLI::App* setup = notify.add_subcommand(
      "setup", "What the lobby needs on a NATS server: its stream, and its user's rights");
  const auto arguments = std::make_shared<Arguments>();
  setup->add_option("--lobby", arguments->lobby, "Instead of the configured one")
      ->type_name("LOBBY");
  setup->add_flag("--run", arguments->run, "Make the stream, as an administrator of the server");
  setup->add_option("--url", arguments->url, "The server, instead of that of the settings")
      ->type_name("URL");
  setup
      ->add_option("--credentials", arguments->credentials,
                   "A file with the administrator's, instead of those of the settings")
      ->type_name("FILE");
  setup
      ->add_option("--ca", arguments->ca,
                   "A file of certificates to trust, instead of that of the settings")
      ->type_name("FILE");
  setup->callback([&context, &chosen, arguments] {
    chosen = [&context, arguments] { return setUp(context, *arguments); };
  });
}

}  // namespace console
