// The process's allocation operators: every request goes to the platform's allocator.
//
// They are exported and replace those of the whole program, as replacement operators do: a set of
// the library's own would free what the standard library's code had allocated.
#include <exception>
#include <new>

#include "miscdisc/platform/os.h"
#include "miscdisc/platform/values/export.h"

namespace {

// A bad_alloc passes to the caller; whatever else an allocator throws ends the process, for no
// caller of new is prepared for it.
template <typename Request>
void* orEnd(Request request) {
  try {
    return request();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    std::terminate();
  }
}

template <typename Request>
void* orNull(Request request) noexcept {
  try {
    return request();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

MISCDISC_EXPORT void* operator new(std::size_t size) {
  return orEnd([=] { return OS()->allocator().allocate(size); });
}

MISCDISC_EXPORT void* operator new(std::size_t size, std::align_val_t alignment) {
  return orEnd(
      [=] { return OS()->allocator().allocateAligned(size, static_cast<std::size_t>(alignment)); });
}

MISCDISC_EXPORT void operator delete(void* memory) noexcept { OS()->allocator().release(memory); }

MISCDISC_EXPORT void operator delete(void* memory, std::align_val_t) noexcept {
  OS()->allocator().release(memory);
}

// The array and sized forms forward to the single ones; the no-throw forms turn any exception
// into null, one that would end the process in the throwing form included.
MISCDISC_EXPORT void* operator new[](std::size_t size) { return ::operator new(size); }

MISCDISC_EXPORT void* operator new[](std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}

MISCDISC_EXPORT void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return orNull([=] { return OS()->allocator().allocate(size); });
}

MISCDISC_EXPORT void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}

MISCDISC_EXPORT void* operator new(std::size_t size, std::align_val_t alignment,
                                   const std::nothrow_t&) noexcept {
  return orNull(
      [=] { return OS()->allocator().allocateAligned(size, static_cast<std::size_t>(alignment)); });
}

MISCDISC_EXPORT void* operator new[](std::size_t size, std::align_val_t alignment,
                                     const std::nothrow_t& tag) noexcept {
  return ::operator new(size, alignment, tag);
}

MISCDISC_EXPORT void operator delete[](void* memory) noexcept { ::operator delete(memory); }

MISCDISC_EXPORT void operator delete(void* memory, std::size_t) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete[](void* memory, std::size_t) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete[](void* memory, std::align_val_t) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete(void* memory, const std::nothrow_t&) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete(void* memory, std::align_val_t,
                                     const std::nothrow_t&) noexcept {
  ::operator delete(memory);
}

MISCDISC_EXPORT void operator delete[](void* memory, std::align_val_t,
                                       const std::nothrow_t&) noexcept {
  ::operator delete(memory);
}
