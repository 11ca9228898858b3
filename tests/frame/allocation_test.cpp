#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "tests/fakes/fake_platform.h"

// Not every compiler declares the sized forms by itself.
void operator delete(void* memory, std::size_t size) noexcept;
void operator delete[](void* memory, std::size_t size) noexcept;

namespace {

struct alignas(64) Wide {
  char bytes[100];
};

// What passes through here the compiler cannot fold away.
void* volatile sink;
void* kept(void* memory) {
  sink = memory;
  return sink;
}

template <typename Request>
int allocationsOf(Request request) {
  const int before = fake_allocator::allocations;
  request();
  return fake_allocator::allocations - before;
}

struct Left {
  explicit Left(int count) { fake_allocator::left = count; }
  ~Left() { fake_allocator::left = -1; }
};

}  // namespace

TEST(Allocation, EveryFormAsksThePlatformsAllocator) {
  EXPECT_EQ(allocationsOf([] { ::operator delete(kept(::operator new(10))); }), 1);
  EXPECT_EQ(allocationsOf([] { ::operator delete[](kept(::operator new[](10))); }), 1);
  EXPECT_EQ(allocationsOf([] { ::operator delete(kept(::operator new(0))); }), 1);
  EXPECT_EQ(allocationsOf([] { ::operator delete(kept(::operator new(10, std::nothrow))); }), 1);
  EXPECT_EQ(allocationsOf([] { ::operator delete[](kept(::operator new[](10, std::nothrow))); }),
            1);
}

TEST(Allocation, EveryFormGivesBackToThePlatformsAllocator) {
  const int before = fake_allocator::releases;
  ::operator delete (kept(::operator new(8)), size_t{8});
  ::operator delete[](kept(::operator new[](8)), size_t{8});
  ::operator delete(kept(::operator new(8)), std::nothrow);
  EXPECT_EQ(fake_allocator::releases - before, 3);
}

TEST(Allocation, AlignedFormsAreAligned) {
  auto* one = new Wide;
  auto* many = new Wide[3];
  auto* orNull = new (std::nothrow) Wide;
  EXPECT_EQ(reinterpret_cast<uintptr_t>(one) % 64, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(many) % 64, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(orNull) % 64, 0u);
  delete one;
  delete[] many;
  delete orNull;
}

TEST(Allocation, BadAllocPassesToTheCaller) {
  const Left none(0);
  EXPECT_THROW(sink = ::operator new(10), std::bad_alloc);
  EXPECT_THROW(sink = ::operator new[](10), std::bad_alloc);
  EXPECT_THROW(sink = ::operator new (10, std::align_val_t{64}), std::bad_alloc);
}

TEST(Allocation, TheFormsThatDoNotThrowGiveNull) {
  void* results[3];
  {
    const Left none(0);
    results[0] = ::operator new(10, std::nothrow);
    results[1] = ::operator new[](10, std::nothrow);
    results[2] = ::operator new (10, std::align_val_t{64}, std::nothrow);
  }
  for (void* result : results) EXPECT_EQ(result, nullptr);
}

TEST(AllocationDeathTest, AnyOtherExceptionEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        fake_allocator::throwsOther = true;
        sink = ::operator new(10);
      },
      "");
}
