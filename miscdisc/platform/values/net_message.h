// A text between machines, with a number that says what it is about.
#pragma once

#include <optional>

#include "miscdisc/platform/values/text.h"

class MISCDISC_EXPORT NetMessage {
 public:
  enum Type : int {
    FileAdded = 8,    // the text is the file's network path
    FileRemoved = 9,  // likewise
    // Texts were lost, nobody knows which: what they may have been about is read again.  Empty.
    Rescan = 100,
  };

  NetMessage(Type type, const String& text) : type_(type), text_(text) {}

  // What asString() gave; nothing for any other text.  The type may be one that nobody knows.
  static std::optional<NetMessage> fromString(const String& text);

  // The form in which it travels: the type in decimal digits, one space, the text.
  String asString() const { return std::to_string(type_) + ' ' + text_; }

  Type type() const { return type_; }
  const String& text() const { return text_; }

 private:
  Type type_;
  String text_;
};
