// What a text of another machine says about files.  Whoever hears texts reads them with these.
#pragma once

#include <optional>

#include "miscdisc/platform/values/net_message.h"

// A longer text is about no file.
inline constexpr size_t kLongestCacheText = size_t{64} * 1024;  // bytes

// A file that was added or removed, or a rescan; nothing for any other text, and then why is set.
// Asks nobody; from any thread.
MISCDISC_EXPORT std::optional<NetMessage> cacheMessage(const String& text, const char*& why);

// The layer file name that this machine uses for the file of a network path, or its native path
// where that is on no volume.  Empty for what names no file here: the form of an unknown server or
// share, a name that means something else on each machine, as "E:/Material/a.mxf" does, and a path
// with a part that is empty, "." or "..", which may lead anywhere.
MISCDISC_EXPORT WString fileOfNetworkPath(const WString& networkPath);
