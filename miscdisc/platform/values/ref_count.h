// Objects that live as long as somebody points at them.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

#include "miscdisc/platform/values/export.h"

namespace Qx {

// The count of the pointers to an object, kept in the object.  Any thread may take or drop one.
class MISCDISC_EXPORT InternalRefCount {
 public:
  InternalRefCount() = default;
  InternalRefCount(const InternalRefCount&) = delete;
  InternalRefCount& operator=(const InternalRefCount&) = delete;
  virtual ~InternalRefCount();

  void addRef() const { count_.fetch_add(1, std::memory_order_relaxed); }
  void release() const {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  mutable std::atomic<int> count_{0};
};

// A counting pointer; the object is deleted when its last Ptr lets go.
template <typename T>
class Ptr {
 public:
  constexpr Ptr() = default;
  constexpr Ptr(std::nullptr_t) {}
  Ptr(T* object) : object_(object) {
    if (object_) object_->addRef();
  }
  Ptr(const Ptr& other) : Ptr(other.object_) {}
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ~Ptr() {
    if (object_) object_->release();
  }

  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const Ptr& other) const { return object_ == other.object_; }

 private:
  T* object_ = nullptr;
};

}  // namespace Qx

// The base of every interface whose objects are held by Qx::Ptr.
class MISCDISC_EXPORT iObject : public virtual Qx::InternalRefCount {
 public:
  ~iObject() override;
};
