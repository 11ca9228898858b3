// The identifier of a project, whose text is the name of the project's folder.
#pragma once

#include <cstdint>
#include <optional>

#include "miscdisc/platform/values/text.h"

class MISCDISC_EXPORT cookie {
 public:
  constexpr cookie() = default;  // null: all fields zero
  constexpr cookie(uint32_t number, uint32_t machine, uint16_t part, uint16_t type)
      : number_(number), machine_(machine), part_(part), type_(type) {}

  // True when the type code is 'I', or when all four fields are zero.
  constexpr bool isNull() const {
    return type_ == 'I' || (type_ == 0 && number_ == 0 && machine_ == 0 && part_ == 0);
  }

  // Eight characters: the type letter and the number in seven decimal digits, as in "P0001000".
  // Empty for a cookie that has no such text: a type that is not 'A' to 'Z', a number above
  // 9,999,999, or a machine or part that is not zero.
  WString asWString() const;

  // The cookie with this text; nothing for any text that asWString() does not give.
  static std::optional<cookie> fromWString(const WString& text);

  constexpr bool operator==(const cookie&) const = default;

 private:
  uint32_t number_ = 0;
  uint32_t machine_ = 0;
  uint16_t part_ = 0;
  uint16_t type_ = 0;
};
