#include "Toolbox/KelMemory.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

// A sanitizer's allocator then returns null for too large sizes, as others do.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's name for it
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options() { return "allocator_may_return_null=1"; }

namespace {

TEST(Blocks, AreFilledAndKeptWhenTheyGrow) {
  for (const char letter : {'\0', 'x'}) {
    const auto fill = static_cast<unsigned char>(letter);
    auto* const block = static_cast<char*>(KelRealloc(KelAllocPtrSet(1000, fill), 100000));
    EXPECT_EQ(std::count(block, block + 1000, fill), 1000);
    KelFreePtr(block);
    EXPECT_EQ(KelAllocPtrSet(ULONG_MAX, fill), nullptr);
  }
  KelFreePtr(nullptr);
}

TEST(AlignedBlocks, KeepTheirOffsetInFrontOfTheArea) {
  for (const int alignment : {4, 8, 12, 16, 64, 100, 4096, 1 << 20}) {
    for (const unsigned size : {0U, 8U, 100U, 100000U}) {
      auto* const area = static_cast<unsigned char*>(KelAllocPtrSetAligned(size, 0xAB, alignment));
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(area) % static_cast<unsigned>(alignment), 0) << alignment;
      std::uint32_t gap = 0;
      std::memcpy(&gap, area - 4, 4);
      const auto filled = static_cast<std::ptrdiff_t>(size) + alignment - 4 - gap;  // behind the gap
      EXPECT_EQ(std::count(area - 4 - gap, area - 4, 0xAB), gap);
      EXPECT_EQ(std::count(area, area + filled, 0xAB), filled) << size << ' ' << alignment;
      KelFreePtrAligned(area);
      KelFreePtrAligned(std::memset(KelAllocPtrAligned(size, alignment), 1, size));
    }
  }
  KelFreePtrAligned(nullptr);
  for (const int alignment : {0, 1, 2, 6, -4, -16, INT_MIN, INT_MAX, 64}) {
    EXPECT_EQ(KelAllocPtrAligned(alignment == 64 ? ULONG_MAX - 63 : 100, alignment), nullptr) << alignment;
  }
  EXPECT_EQ(KelAllocPtrSetAligned(ULONG_MAX, 1, 64), nullptr);
}

TEST(Handles, GrowShrinkAndEmpty) {
  char** const handle = KelNewHandle(0);
  EXPECT_TRUE(*handle == nullptr && KelGetHandleSize(handle) == 0 && KelSetHandleSize(handle, 10) == 0);
  const auto* const data = static_cast<const char*>(std::memcpy(*handle, "123456789", 10));
  for (const unsigned size : {10U, 4U, 0U, 10U}) {
    EXPECT_TRUE(KelSetHandleSize(handle, size) == 0 && *handle == data && KelGetHandleSize(handle) == size) << size;
  }
  EXPECT_TRUE(KelSetHandleSize(handle, 1 << 20) == 0 && KelGetHandleSize(handle) == 1 << 20);
  EXPECT_STREQ(*handle, "123456789");
  EXPECT_EQ(KelSetHandleSize(handle, ULONG_MAX), 1);
  EXPECT_TRUE(*handle == nullptr && KelGetHandleSize(handle) == 0);
  KelDisposeHandle(handle);
  KelDisposeHandle(nullptr);
  EXPECT_EQ(KelNewHandle(ULONG_MAX), nullptr);
  if (sizeof(long) > 4) {
    EXPECT_EQ(KelNewHandle(static_cast<unsigned long>(1ULL << 32U)), nullptr) << "sizes have 32 bits";
  }
  EXPECT_TRUE(KelGetHandleSize(nullptr) == 0 && KelSetHandleSize(nullptr, 9) == 0);
}

TEST(ZeroedClass, IsNotConstructedWithoutMemory) {
  struct Huge : KelMemory_c {
    Huge() { ADD_FAILURE(); }
    char bytes[PTRDIFF_MAX / 4] = {};
  };
  std::vector<void*> rest;  // small address spaces have room for some
  while (void* const block = KelAllocPtr(sizeof(Huge))) {
    rest.push_back(block);
  }
  EXPECT_EQ(new Huge, nullptr);
  std::for_each(rest.begin(), rest.end(), KelFreePtr);
  auto* const bytes = static_cast<char*>(KelMemory_c::operator new(1000));
  EXPECT_EQ(std::count(bytes, bytes + 1000, 0), 1000);
  KelMemory_c::operator delete(bytes);
}

}  // namespace
