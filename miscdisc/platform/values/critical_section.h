// A named lock that its holder may take again, and its scoped holder.
#pragma once

#include <mutex>

class CriticalSection {
 public:
  explicit CriticalSection(const char* name) : name_(name) {}
  void enter() { mutex_.lock(); }
  void leave() { mutex_.unlock(); }
  const char* name() const { return name_; }  // the text given, not a copy of it

 private:
  const char* name_;
  std::recursive_mutex mutex_;
};

// Enters on construction and leaves on destruction, also when an exception passes.
class EasyCrit {
 public:
  explicit EasyCrit(CriticalSection& section) : section_(section) { section_.enter(); }
  ~EasyCrit() { section_.leave(); }
  EasyCrit(const EasyCrit&) = delete;
  EasyCrit& operator=(const EasyCrit&) = delete;

 private:
  CriticalSection& section_;
};
