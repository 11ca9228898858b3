#include "host/user_config.h"

#include <charconv>
#include <map>
#include <mutex>
#include <utility>

#include "host/state_file.h"
#include "miscdisc/platform/log.h"

namespace {

// Never destroyed, as settings are read to the last.
class UserConfiguration final : public RegistryConfig {
 public:
  static UserConfiguration& instance() {
    static UserConfiguration& configuration = *new UserConfiguration;
    return configuration;
  }

  void overlay(const String& section, const String& key, const String& value) {
    const std::lock_guard lock(mutex_);
    overlaid_[{section, key}] = value;
  }

  String getValue(const String& key, const String& defaultValue, String section) override {
    {
      const std::lock_guard lock(mutex_);
      const auto own = overlaid_.find({section, key});
      if (own != overlaid_.end()) return own->second;
      const auto kept = unstored_.find({section, key});
      if (kept != unstored_.end()) return kept->second;
    }
    return host::StateFile::instance().value(section, key).value_or(defaultValue);
  }

  bool setValue(const String& key, const String& value, String section) override {
    {
      const std::lock_guard lock(mutex_);
      const auto own = overlaid_.find({section, key});
      if (own != overlaid_.end()) {
        own->second = value;
        return true;
      }
    }
    host::StateFile& file = host::StateFile::instance();
    const bool stored = file.setValue(section, key, value);
    // The caller may go on all the same: without the name of the lobby that is being entered, the
    // folder of all lobbies would be taken for it.
    const std::lock_guard lock(mutex_);
    if (stored) {
      unstored_.erase({section, key});
    } else {
      unstored_[{section, key}] = value;
      Log("\"%s\" could not be stored in %s, so only this process has it: check the rights of the "
          "file and its folder, and the space there\n",
          key.c_str(), file.path().c_str());
    }
    return stored;
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<String, String>, String> overlaid_;
  std::map<std::pair<String, String>, String> unstored_;  // set, but could not be stored
};

const char kPreferences[] = "Preferences";

class Preferences final : public EditorPreferences {
 public:
  WString getPreference(const String& key, const WString& defaultValue) override {
    const auto value = host::StateFile::instance().value(kPreferences, key);
    return value ? Qx::WStringFromUTF8(*value) : defaultValue;
  }
  void setPreference(const String& key, const WString& value) override {
    host::StateFile::instance().setValue(kPreferences, key, Qx::UTF8FromWString(value));
  }
  void removePreference(const String& key) override {
    host::StateFile::instance().removeValue(kPreferences, key);
  }
};

}  // namespace

void host::overlayUserConfig(const String& section, const String& key, const String& value) {
  UserConfiguration::instance().overlay(section, key, value);
}

RegistryConfig& UserConfig() { return UserConfiguration::instance(); }

EditorPreferences& prefs() {
  static Preferences& preferences = *new Preferences;
  return preferences;
}

int config_int(const char* key, int defaultValue) {
  const String text = UserConfig().getValue(key, "", "Configuration");
  int number = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end ? number : defaultValue;
}
