// Networks that only the process has that makes them: one in the centre, in which it finds itself,
// and one for each machine, with a cable to the centre.  Together they see nothing of the world.
#pragma once

#include <memory>
#include <vector>

namespace test {

class Networks {
 public:
  // Null where this process has not the right to make networks.
  // REQUIRES: the process has one thread, and no need of its network any more.
  static std::unique_ptr<Networks> make(int machines);
  Networks(const Networks&) = delete;
  Networks& operator=(const Networks&) = delete;
  ~Networks();

  // The centre, as every machine reaches it.
  static constexpr char kCentre[] = "10.77.0.1";

  // From now on the calling thread, and what it starts, is on that machine, counted from 0.
  void enter(int machine) const;

  // Its cable.  Nothing gets through any more, and neither end is told.
  void pull(int machine) const;
  void putBack(int machine) const;

 private:
  Networks() = default;
  bool add(int machine);
  void setCable(int machine, const char* state) const;

  int centre_ = -1;            // descriptors of name spaces
  std::vector<int> machines_;  // likewise
};

}  // namespace test
