#include "host/nats/names.h"

#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace host::nats {
namespace {

constexpr size_t kReadable = 32;
constexpr size_t kDigits = 16;

bool allowed(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_';
}

std::string readable(const std::string& group) {
  std::string name = lobbyOf(group).substr(0, kReadable);
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !allowed(c); }, '-');
  return name;
}

std::string digest(const std::string& group) {
  std::string digits =
      boost::uuids::to_string(boost::uuids::name_generator_sha1(boost::uuids::ns::url())(group));
  digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
  return digits.substr(0, kDigits);
}

}  // namespace

std::string lobbyOf(const std::string& group) {
  const size_t end = group.find_last_not_of("/\\");
  if (end == std::string::npos) return "";
  const size_t separator = group.find_last_of("/\\", end);
  const size_t begin = separator == std::string::npos ? 0 : separator + 1;
  return group.substr(begin, end + 1 - begin);
}

std::string groupName(const std::string& group) { return readable(group) + "-" + digest(group); }

std::string streamOf(const std::string& group) { return "miscdisc-" + groupName(group); }

std::string subjectOf(const std::string& group) { return "miscdisc." + groupName(group); }

std::string inboxOf(const std::string& group) { return "miscdisc-inbox." + groupName(group); }

}  // namespace host::nats
