#include <charconv>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwctype>

#include "miscdisc/platform/clock.h"
#include "miscdisc/platform/command_map.h"
#include "miscdisc/platform/config.h"
#include "miscdisc/platform/log.h"
#include "miscdisc/platform/resources.h"
#include "miscdisc/platform/string_compare.h"
#include "tests/fakes/fake_platform.h"

namespace {

struct FakeConfig final : RegistryConfig {
  String getValue(const String& key, const String& defaultValue, String section) override {
    const auto it = fakePlatform().settings.find({section, key});
    return it == fakePlatform().settings.end() ? defaultValue : it->second;
  }
  bool setValue(const String& key, const String& value, String section) override {
    fakePlatform().note("setValue " + key + " = " + value);
    fakePlatform().settings[{section, key}] = value;
    return true;
  }
};

struct FakePreferences final : EditorPreferences {
  WString getPreference(const String& key, const WString& defaultValue) override {
    const auto it = fakePlatform().preferences.find(key);
    return it == fakePlatform().preferences.end() ? defaultValue : it->second;
  }
  void setPreference(const String& key, const WString& value) override {
    fakePlatform().preferences[key] = value;
  }
  void removePreference(const String& key) override { fakePlatform().preferences.erase(key); }
};

struct FakeCommandMap final : CommandMap {
  void registerCommand(const char* name, void (*function)(void*), void*, unsigned a, unsigned b,
                       unsigned c, const MapItem&) override {
    fakePlatform().commands[name] = function;
    fakePlatform().commandNumbers.push_back({a, b, c});
  }
};

void note(const char* format, va_list arguments) {
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) return;
  FakePlatform& platform = fakePlatform();
  const std::lock_guard hold(platform.lock);
  platform.log.push_back(text);
  std::free(text);
}

}  // namespace

RegistryConfig& UserConfig() {
  static FakeConfig config;
  return config;
}

EditorPreferences& prefs() {
  static FakePreferences preferences;
  return preferences;
}

int config_int(const char* key, int defaultValue) {
  const auto it = fakePlatform().settings.find({"Configuration", key});
  if (it == fakePlatform().settings.end()) return defaultValue;
  const String& text = it->second;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : defaultValue;
}

CommandMap& CommandMap::theCommandMap() {
  static FakeCommandMap map;
  return map;
}

uint32_t service_get_msecs() {
  static unsigned readings = 0;
  FakePlatform& platform = fakePlatform();
  const uint32_t now = platform.clock;
  platform.clock += platform.clockStep;
  if (platform.clockRepeats != 0 && ++readings % platform.clockRepeats == 0) ++platform.clock;
  return now;
}

WString resourceStrW(unsigned id) {
  if (id == 10940) return L"Other users are in this lobby";
  if (id == 10946) return L"This room is in use by $NAME$";
  return {};
}

WString fakeFolded(const WString& text) {
  static const locale_t kUnicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  WString folded = text;
  for (wchar_t& c : folded) {
    if (c == 0x130 || c == 0x131) continue;  // the Turkish letters fold to nothing else
    const wint_t upper = towupper_l(static_cast<wint_t>(c), kUnicode);
    c = static_cast<wchar_t>(towlower_l(upper, kUnicode));
  }
  return folded;
}

namespace Qx {

bool compareCaseInsensitive(const WString& a, const WString& b) {
  return fakeFolded(a) == fakeFolded(b);
}

}  // namespace Qx

#define FAKE_LOG(name)                 \
  void name(const char* format, ...) { \
    va_list arguments;                 \
    va_start(arguments, format);       \
    note(format, arguments);           \
    va_end(arguments);                 \
  }
FAKE_LOG(Log)
FAKE_LOG(LogBoth)
FAKE_LOG(tolv_printf)
#undef FAKE_LOG
