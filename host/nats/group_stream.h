// The stream of a group as its makers describe it to the server.
#pragma once

#include <nats/nats.h>

#include <string>

#include "host/nats/names.h"

namespace host::nats {

// Its name and its one subject; the limits are the maker's.
class GroupStream {
 public:
  explicit GroupStream(const std::string& group)
      : name_(streamOf(group)), subject_(subjectOf(group)) {
    jsStreamConfig_Init(&config);
    config.Name = name_.c_str();
    config.Subjects = subjects_;
    config.SubjectsLen = 1;
  }
  GroupStream(const GroupStream&) = delete;
  GroupStream& operator=(const GroupStream&) = delete;

  jsStreamConfig config;  // points into this object

 private:
  const std::string name_, subject_;
  const char* subjects_[1] = {subject_.c_str()};
};

}  // namespace host::nats
