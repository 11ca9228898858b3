// An identity of three parts, compared as a whole.
#pragma once

class IdStamp {
 public:
  constexpr IdStamp() = default;  // all parts zero
  constexpr IdStamp(unsigned a, unsigned b, unsigned c) : a_(a), b_(b), c_(c) {}
  constexpr bool operator==(const IdStamp&) const = default;

 private:
  unsigned a_ = 0, b_ = 0, c_ = 0;
};
