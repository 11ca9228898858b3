// A growable vector, the list type in which operations hand back names.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

template <typename T>
class Vector {
 public:
  void clear() { items_.clear(); }
  void add(T item) { items_.push_back(std::move(item)); }  // at the end

  size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  const T& operator[](size_t index) const { return items_[index]; }

  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

 private:
  std::vector<T> items_;
};
