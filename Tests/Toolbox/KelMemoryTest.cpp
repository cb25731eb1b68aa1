#include "Toolbox/KelMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

// A sanitizer's allocator answers as others do when it is asked for too much.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

TEST(Blocks, AreFilledAndFreed) {
  for (const char fill : {'\0', 'x'}) {
    auto* const block = static_cast<char*>(KelAllocPtrSet(1000, static_cast<unsigned char>(fill)));
    EXPECT_EQ(std::string(block, 1000), std::string(1000, fill));
    auto* const larger = static_cast<char*>(KelRealloc(block, 100000));
    EXPECT_EQ(std::string(larger, 1000), std::string(1000, fill));
    KelFreePtr(larger);
    EXPECT_EQ(KelAllocPtrSet(ULONG_MAX, static_cast<unsigned char>(fill)), nullptr);
  }
  KelFreePtr(nullptr);
}

TEST(AlignedBlocks, KeepTheirOffsetInFrontOfTheArea) {
  for (const int alignment : {4, 8, 12, 16, 64, 100, 4096, 1 << 20}) {
    for (const unsigned long size : {0UL, 1UL, 8UL, 100UL, 100000UL}) {
      auto* const area = static_cast<unsigned char*>(KelAllocPtrSetAligned(size, 0xAB, alignment));
      ASSERT_NE(area, nullptr);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(area) % static_cast<unsigned>(alignment), 0) << alignment;
      std::uint32_t gap = 0;
      std::memcpy(&gap, area - 4, 4);
      EXPECT_LE(gap + 4, static_cast<unsigned>(alignment));
      EXPECT_EQ(std::count(area - 4 - gap, area - 4, 0xAB), gap);
      const auto behind = static_cast<std::ptrdiff_t>(size) + alignment - 4 - static_cast<std::ptrdiff_t>(gap);
      EXPECT_EQ(std::count(area, area + behind, 0xAB), behind) << size << ' ' << alignment;
      KelFreePtrAligned(area);
      KelFreePtrAligned(std::memset(KelAllocPtrAligned(size, alignment), 1, size));
    }
  }
  KelFreePtrAligned(nullptr);
}

TEST(AlignedBlocks, RefuseWhatCannotBe) {
  for (const int alignment : {0, 1, 2, 6, -4, -16, INT_MIN, INT_MAX}) {
    EXPECT_EQ(KelAllocPtrAligned(100, alignment), nullptr) << alignment;
    EXPECT_EQ(KelAllocPtrSetAligned(100, 0, alignment), nullptr) << alignment;
  }
  for (const unsigned long size : {ULONG_MAX, ULONG_MAX - 63, ULONG_MAX - 64}) {
    EXPECT_EQ(KelAllocPtrAligned(size, 64), nullptr);
    EXPECT_EQ(KelAllocPtrSetAligned(size, 1, 64), nullptr);
  }
}

struct HandleRecord {
  char* data;
  std::uint32_t size, capacity;
};

TEST(Handles, GrowShrinkAndEmpty) {
  char** const handle = KelNewHandle(0);
  const auto& record = *reinterpret_cast<HandleRecord*>(handle);
  EXPECT_TRUE(record.data == nullptr && record.size == 0 && record.capacity == 0);
  EXPECT_EQ(KelSetHandleSize(handle, 10), 0);
  EXPECT_TRUE(record.data != nullptr && record.size == 10 && record.capacity == 10);
  std::memcpy(*handle, "123456789", 10);
  const char* const data = *handle;
  for (const unsigned size : {4U, 0U, 10U}) {
    EXPECT_EQ(KelSetHandleSize(handle, size), 0);
    EXPECT_TRUE(record.data == data && KelGetHandleSize(handle) == size && record.capacity == 10) << size;
  }
  EXPECT_EQ(KelSetHandleSize(handle, 1 << 20), 0);
  EXPECT_TRUE(record.size == 1 << 20 && record.capacity == 1 << 20);
  EXPECT_STREQ(*handle, "123456789");
  EXPECT_EQ(KelSetHandleSize(handle, ULONG_MAX), 1);
  EXPECT_TRUE(record.data == nullptr && record.size == 0 && record.capacity == 0);
  EXPECT_EQ(KelSetHandleSize(handle, 3), 0);
  KelDisposeHandle(handle);

  EXPECT_EQ(KelNewHandle(ULONG_MAX), nullptr);
  EXPECT_EQ(KelGetHandleSize(nullptr), 0);
  EXPECT_EQ(KelSetHandleSize(nullptr, 10), 0);
  KelDisposeHandle(nullptr);
}

TEST(ZeroedClass, IsNotConstructedWithoutMemory) {
  static bool isConstructed = false;
  struct Huge : KelMemory_c {
    Huge() { isConstructed = true; }
    char bytes[PTRDIFF_MAX / 4];
  };
  EXPECT_EQ(new Huge, nullptr);
  EXPECT_FALSE(isConstructed);
  auto* const bytes = static_cast<char*>(KelMemory_c::operator new(1000));
  EXPECT_EQ(std::count(bytes, bytes + 1000, 0), 1000);
  KelMemory_c::operator delete(bytes);
  KelMemory_c::operator delete(nullptr);
}

}  // namespace
