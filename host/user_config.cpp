#include "host/user_config.h"

#include <charconv>
#include <map>
#include <mutex>
#include <utility>

#include "host/state_file.h"

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
    return host::StateFile::instance().setValue(section, key, value);
  }

 private:
  std::mutex mutex_;
  std::map<std::pair<String, String>, String> overlaid_;
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
