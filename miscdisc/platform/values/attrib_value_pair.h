// An attribute and its value on one line, as in "name=Studio A".
#pragma once

#include "miscdisc/platform/values/text.h"

namespace Qx {

class AttribValuePair {
 public:
  AttribValuePair(const String& attribute, const String& value)
      : attribute_(attribute), value_(value), valid_(true) {}

  // Splits a line at its first separator: what follows is the value, further separators
  // included.  Not valid when there is none.  Nothing is trimmed.
  AttribValuePair(const String& line, char separator) {
    const size_t at = line.find(separator);
    if (at == String::npos) return;
    attribute_ = line.substr(0, at);
    value_ = line.substr(at + 1);
    valid_ = true;
  }

  bool valid() const { return valid_; }
  const String& attribute() const { return attribute_; }
  const String& value() const { return value_; }
  String asString(char separator) const { return attribute_ + separator + value_; }

 private:
  String attribute_;
  String value_;
  bool valid_ = false;
};

}  // namespace Qx
