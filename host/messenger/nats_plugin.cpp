#include "host/messenger/nats_plugin.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>

#include "host/messenger/setup.h"
#include "host/nats/names.h"

namespace host {
namespace {

constexpr char kFile[] = "libmiscdisc_nats.so";

struct Plugin {
  decltype(&miscdisc_nats_engine) makeEngine = nullptr;
  decltype(&miscdisc_nats_make_stream) makeStream = nullptr;
};

// Of a comment; names may hold any characters.
std::string onOneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, '?');
  return text;
}

// Nothing of it when it cannot be used: then `why` is for people.
Plugin load(std::string& why) {
  Dl_info here = {};
  std::filesystem::path file = kFile;
  if (dladdr(reinterpret_cast<const void*>(&natsSetup), &here) != 0 && here.dli_fname) {
    file = std::filesystem::path(here.dli_fname).parent_path() / kFile;
  }
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  Plugin plugin;
  if (library) {
    plugin.makeEngine =
        reinterpret_cast<decltype(plugin.makeEngine)>(dlsym(library, "miscdisc_nats_engine"));
    plugin.makeStream =
        reinterpret_cast<decltype(plugin.makeStream)>(dlsym(library, "miscdisc_nats_make_stream"));
  }
  if (plugin.makeEngine && plugin.makeStream) return plugin;
  const char* const error = dlerror();
  std::error_code none;
  const bool isThere = std::filesystem::exists(file, none);
  why = std::string("texts cannot go over NATS here: ") + (error ? error : kFile) +
        (isThere ? ": install the packages libnats3.4 and, of this version, libmiscdisc-nats"
                 : ": install the package libmiscdisc-nats");
  return {};
}

}  // namespace

std::unique_ptr<Engine> makeNatsEngine(const EngineSettings& settings, std::string& why) {
  const Plugin plugin = load(why);
  return std::unique_ptr<Engine>(plugin.makeEngine ? plugin.makeEngine(&settings) : nullptr);
}

NatsSetup natsSetup(const std::string& group) {
  NatsSetup setup;
  setup.stream = nats::streamOf(group);
  setup.subject = nats::subjectOf(group);
  const std::string inbox = nats::inboxOf(group);
  // Least rights: the lobby's texts, a look at its stream, deliveries from it, and answers.
  setup.serverConfiguration = "    # The lobby " + onOneLine(group) +
                              "\n"
                              "    { user: \"" +
                              nats::groupName(group) +
                              "\", password: \"CHANGE ME\", permissions: {\n"
                              "        publish: { allow: [\n"
                              "          \"" +
                              setup.subject +
                              "\"\n"
                              "          \"$JS.API.STREAM.INFO." +
                              setup.stream +
                              "\"\n"
                              "          \"$JS.API.CONSUMER.CREATE." +
                              setup.stream +
                              "\"\n"
                              "          \"$JS.FC." +
                              setup.stream +
                              ".>\"\n"
                              "        ] }\n"
                              "        subscribe: { allow: [ \"" +
                              inbox +
                              ".>\" ] }\n"
                              "    } }\n";
  return setup;
}

std::string makeNatsStream(const std::string& group, const std::string& url,
                           const std::string& credentials, const std::string& ca) {
  std::string why;
  const Plugin plugin = load(why);
  const EngineSettings settings{url, credentials, ca};
  if (plugin.makeStream && plugin.makeStream(&settings, &group, &why)) return "";
  return why;
}

}  // namespace host
