// A text between machines, with a number that says what it is about.
#pragma once

#include "miscdisc/platform/values/text.h"

class MISCDISC_EXPORT NetMessage {
 public:
  enum Type : int {
    FileAdded = 8,    // the text is the file's network path
    FileRemoved = 9,  // likewise
  };

  NetMessage(Type type, const String& text) : type_(type), text_(text) {}

  // The form in which it travels: the type in decimal digits, one space, the text.
  String asString() const { return std::to_string(type_) + ' ' + text_; }

 private:
  Type type_;
  String text_;
};
