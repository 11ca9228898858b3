// Texts to and from the other machines of a lobby, for people and scripts.
#include <utility>

#include "console/commands.h"
#include "console/messages.h"
#include "host/messenger/messenger.h"
#include "miscdisc/platform/values/net_message.h"

namespace console {
namespace {

constexpr std::chrono::milliseconds kBeat{250};

struct Arguments {
  std::optional<std::string> lobby;
  std::optional<std::string> text, added, removed;
  bool rescan = false;
};

std::string aboutFile(NetMessage::Type type, const std::string& file) {
  return fileText(type, Qx::WStringFromUTF8(file));
}

std::string textOf(const Arguments& arguments) {
  if (arguments.added) return aboutFile(NetMessage::FileAdded, *arguments.added);
  if (arguments.removed) return aboutFile(NetMessage::FileRemoved, *arguments.removed);
  if (arguments.rescan) return NetMessage(NetMessage::Rescan, "").asString();
  return arguments.text.value_or("");
}

Exit send(Context& context, const Arguments& arguments) {
  Exit exit = kDone;
  if (!workInLobby(arguments.lobby, context.options, exit)) return exit;
  return sendTexts(context, {textOf(arguments)});
}

std::string lineOf(const std::string& text, const Options& options) {
  const Heard what = heard(text);
  if (options.json) return asJson(what, text).dump() + "\n";
  return what.kind + "\t" + printable(what.text) + "\n";
}

// What the messenger does, whenever that has changed: an event among the others, or words.
class State {
 public:
  explicit State(const Options& options) : options_(options) {}

  std::string change() {
    const host::MessengerFacts facts = host::messengerFacts();
    const std::string now = inWords(facts);
    if (now == said_) return {};
    said_ = now;
    if (!options_.json) {
      remark(options_, now);
      return {};
    }
    Json event = eventDocument("messenger");
    event.update(asJson(facts));
    return event.dump() + "\n";
  }

 private:
  static std::string inWords(const host::MessengerFacts& facts) {
    const std::string group = printable(facts.group);
    if (facts.connected) return "listening to " + group + ": " + printable(facts.state);
    if (facts.state == host::kNotConnectedYet) return "connecting to " + group + " ...";
    return "not listening: " + printable(facts.state);
  }

  const Options& options_;
  std::string said_;
};

// Says how many texts were left out; for each time that is so once, when it is over.
class LeftOut {
 public:
  explicit LeftOut(Listener& listener) : listener_(listener) {}
  LeftOut(const LeftOut&) = delete;
  LeftOut& operator=(const LeftOut&) = delete;
  ~LeftOut() { say(); }

  void say() {
    const uint64_t before = std::exchange(said_, listener_.leftOut());
    if (said_ == before) return;
    complain("texts came faster than they were read: " + std::to_string(said_ - before) +
             " of them, the oldest, were left out");
  }

 private:
  Listener& listener_;
  uint64_t said_ = 0;
};

Exit listenWith(Context& context, EndSignals& signals) {
  const Notifications notifications;
  if (host::messengerFacts().group.empty()) {
    complain("nothing can be heard: " + printable(host::messengerFacts().state));
    return kFailed;
  }
  Wakeup wakeup;
  Listener listener(wakeup);
  LeftOut leftOut(listener);
  EventLines lines(context.output, signals);
  State state(context.options);
  while (true) {
    if (const auto end = lines.write(state.change())) return *end;
    if (const auto end = lines.wait(wakeup.descriptor(), kBeat)) return *end;
    wakeup.calm();
    while (const auto text = listener.next()) {
      if (const auto end = lines.write(lineOf(*text, context.options))) return *end;
    }
    leftOut.say();
  }
}

Exit listen(Context& context, const Arguments& arguments) {
  EndSignals signals;  // before the first thread
  Exit exit = kDone;
  if (!workInLobby(arguments.lobby, context.options, exit)) return exit;
  return listenWith(context, signals);
}

}  // namespace

void addNotify(CLI::App& app, Context& context, Command& chosen) {
  CLI::App* notify = app.add_subcommand("notify", "Texts between the machines of a lobby");
  notify->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  const auto add = [&](const char* name, const char* help,
                       Exit (*run)(Context&, const Arguments&)) {
    CLI::App* command = notify->add_subcommand(name, help);
    command->add_option("--lobby", arguments->lobby, "Instead of the configured one")
        ->type_name("LOBBY");
    command->callback([&context, &chosen, arguments, run] {
      chosen = [&context, arguments, run] { return run(context, *arguments); };
    });
    return command;
  };
  CLI::App* sends = add("send", "Tell the other machines of the lobby something", send);
  CLI::Option_group* what = sends->add_option_group("What");
  what->add_option("TEXT", arguments->text, "Any text, as it stands");
  what->add_option("--added", arguments->added, "This file was added")->type_name("FILE");
  what->add_option("--removed", arguments->removed, "This file will be removed, or was")
      ->type_name("FILE");
  what->add_flag("--rescan", arguments->rescan, "Texts are missing: read every folder again");
  what->require_option(1);
  add("listen", "Print what the others tell, a line for each text, until HUP, INT or TERM", listen);
  addNotifySetup(*notify, context, chosen);
}

}  // namespace console
