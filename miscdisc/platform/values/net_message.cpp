#include "miscdisc/platform/values/net_message.h"

#include <charconv>

std::optional<NetMessage> NetMessage::fromString(const String& text) {
  int type = -1;
  std::from_chars(text.data(), text.data() + text.size(), type);
  const String start = std::to_string(type) + ' ';
  if (type < 0 || !text.starts_with(start)) return {};
  return NetMessage(static_cast<Type>(type), text.substr(start.size()));
}
