#include "miscdisc/platform/values/net_message.h"

#include <charconv>

std::optional<NetMessage> NetMessage::fromString(const String& text) {
  int type = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, type);
  if (error != std::errc() || type < 0 || behind == end || *behind != ' ') return {};
  return NetMessage(static_cast<Type>(type), String(behind + 1, end));
}
