// config.toml, as the host reads it: settings that are what their header promises, or the defaults
// and a problem that says where.
#include <algorithm>
#include <cstdint>
#include <string>

#include "fuzz/claim.h"
#include "fuzz/home.h"
#include "host/settings.h"

namespace {

using fuzz::claim;
using host::Settings;

void isFullPath(const std::string& path, const char* what) {
  claim(path.starts_with('/') && path.find('\0') == path.npos, what);
}

void isFolder(const std::string& path) {
  isFullPath(path, "a folder is a full path");
  claim(path == "/" || !path.ends_with('/'), "a folder has no separator at its end");
}

void volumesAreAsPromised(const Settings& settings) {
  char last = 'A' - 1;
  for (const auto& [letter, folder] : settings.volumes) {
    claim(letter > last && letter <= 'Z', "volumes go by letter, each once");
    last = letter;
    isFolder(folder);
  }
  for (const char letter : settings.quotaVolumes) {
    claim(letter >= 'A' && letter <= 'Z', "quotas are those of lettered volumes");
  }
  for (const auto& [network, folder] : settings.shares) {
    const size_t share = network.find('/', 2);
    claim(network.starts_with("//") && share != network.npos && share > 2 &&
              network.size() > share + 1 && !network.ends_with('/'),
          "a share has a server and a name");
    isFolder(folder);
  }
  for (const std::string& folder : settings.remoteFolders) isFolder(folder);
}

void formatsAreAsPromised(const Settings& settings) {
  std::string last;
  for (const auto& format : settings.formats) {
    claim(format.name > last, "formats go by name, each once");
    last = format.name;
    const auto& picture = format.shot.picture;
    claim(picture.width > 0 && picture.height > 0 && picture.bitsPerPixel > 0,
          "a format has a picture");
  }
  claim(!settings.drivesFormats.empty(), "at least one format is shown");
  const auto known = host::recordingFormats();
  for (const std::string& name : settings.drivesFormats) {
    claim(std::any_of(known.begin(), known.end(), [&](const auto& f) { return f.name == name; }),
          "formats that are shown are known");
  }
}

void othersAreAsPromised(const Settings& settings) {
  claim(settings.user.find('/') == std::string::npos && !settings.user.starts_with('.'),
        "a user's name is a file's name");
  const auto& [engine, url, credentials, ca] = settings.messenger;
  claim(engine == "dbus" || engine == "none" || (engine == "nats" && !url.empty()),
        "the messenger's engine is known");
  if (!credentials.empty()) isFullPath(credentials, "credentials are a full path");
  if (!ca.empty()) isFullPath(ca, "authorities are a full path");
}

bool isDefault(const Settings& settings) {
  const Settings usual;
  const auto& [engine, url, credentials, ca] = settings.messenger;
  return settings.volumes.empty() && settings.discoverVolumes && settings.quotaVolumes.empty() &&
         settings.shares.empty() && settings.user.empty() && !settings.shortNamesOnly &&
         !settings.allowLocalOnly && settings.remoteFolders.empty() && settings.formats.empty() &&
         engine == usual.messenger.engine && url.empty() && credentials.empty() && ca.empty() &&
         settings.drivesFormats == usual.drivesFormats && settings.lowMinutes == usual.lowMinutes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::writeInHome("config.toml", {reinterpret_cast<const char*>(data), size});
  host::reloadSettings();
  const auto settings = host::settings();
  const std::string problem = host::settingsProblem();
  if (!problem.empty()) {
    claim(problem.starts_with(fuzz::fileInHome("config.toml:")), "a problem says where it is");
    claim(problem.find('\n') == problem.npos, "a problem is one line");
    claim(isDefault(*settings), "a file with a problem gives the defaults");
    claim(host::unknownSettings().empty(), "a problem is told alone");
  }
  for (const std::string& unknown : host::unknownSettings()) {
    claim(unknown.starts_with(fuzz::fileInHome("config.toml:")), "what is unknown has its place");
    claim(!unknown.starts_with(fuzz::fileInHome("config.toml:0:")), "lines count from 1");
    claim(unknown.find('\n') == unknown.npos, "what is unknown is one line");
  }
  volumesAreAsPromised(*settings);
  formatsAreAsPromised(*settings);
  othersAreAsPromised(*settings);
  return 0;
}
