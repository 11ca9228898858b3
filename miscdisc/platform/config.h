// Settings that are kept from start to start.  What another process writes is seen at the next
// read; two processes that write lose nothing of each other's.  From any thread.
#pragma once

#include "miscdisc/platform/values/text.h"

// Keys with text values (UTF-8), in named sections.
class MISCDISC_EXPORT RegistryConfig {
 public:
  virtual String getValue(const String& key, const String& defaultValue, String section) = 0;
  String getValue(const String& key, const char* defaultValue, String section) {
    return getValue(key, String(defaultValue), std::move(section));
  }
  // False when it could not be stored: then this process alone has the value, and keeps it until
  // one for that key is stored from here.
  virtual bool setValue(const String& key, const String& value, String section) = 0;

 protected:
  ~RegistryConfig() = default;
};

// The editor's preferences.
class MISCDISC_EXPORT EditorPreferences {
 public:
  virtual WString getPreference(const String& key, const WString& defaultValue) = 0;
  virtual void setPreference(const String& key, const WString& value) = 0;
  virtual void removePreference(const String& key) = 0;

 protected:
  ~EditorPreferences() = default;
};

MISCDISC_EXPORT RegistryConfig& UserConfig();
MISCDISC_EXPORT EditorPreferences& prefs();

// A whole number from the user configuration; the default when absent or no number.
MISCDISC_EXPORT int config_int(const char* key, int defaultValue);
