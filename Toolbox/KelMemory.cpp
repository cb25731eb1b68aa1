#include "Toolbox/KelMemory.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace {

// The record that a handle points to. The caller sees only the first member.
struct HandleRecord {
  char* data;  // null exactly when capacity is 0
  std::uint32_t size;
  std::uint32_t capacity;
};

/// The word in front of an aligned area. It holds the distance from the block's start to the area, less its own size.
using OffsetWord = std::uint32_t;

/// The record of a handle. `data` is its first member and so has the record's own address.
HandleRecord* RecordOf(char** handle) { return reinterpret_cast<HandleRecord*>(handle); }

// The size of the block around an aligned area, or 0 when there can be none.
std::size_t AlignedBlockSize(unsigned long size, int alignment) {
  // malloc aligns to a multiple of 4 as well: the area then starts at least 4 bytes into the block, room for the word.
  if (alignment <= 0 || alignment % static_cast<int>(sizeof(OffsetWord)) != 0) {
    return 0;
  }
  const auto room = static_cast<std::size_t>(alignment);
  return size <= std::numeric_limits<std::size_t>::max() - room ? size + room : 0;
}

/// The first multiple of `alignment` behind the start of `block`, with the distance word in front of it. Null for a
/// null block, which is otherwise of the size that AlignedBlockSize returns.
void* PlaceArea(void* block, int alignment) {
  if (block == nullptr) {
    return nullptr;
  }
  const auto step = static_cast<std::uintptr_t>(alignment);
  // 1 to `alignment` bytes, never 0: a block that is aligned already needs room for the word, too.
  const std::uintptr_t offset = step - reinterpret_cast<std::uintptr_t>(block) % step;
  const auto word = static_cast<OffsetWord>(offset - sizeof(OffsetWord));
  unsigned char* const area = static_cast<unsigned char*>(block) + offset;
  std::memcpy(area - sizeof word, &word, sizeof word);
  return area;
}

}  // namespace

void* KelAllocPtr(unsigned long size) { return std::malloc(size); }

void* KelAllocPtrSet(unsigned long size, unsigned char fill) {
  // calloc need not clear memory that comes zero-filled from the system.
  if (fill == 0) {
    return std::calloc(1, size);
  }
  void* const block = std::malloc(size);
  return block == nullptr ? nullptr : std::memset(block, fill, size);
}

void KelFreePtr(void* pointer) { std::free(pointer); }

void* KelRealloc(void* pointer, unsigned long size) { return std::realloc(pointer, size); }

void* KelAllocPtrAligned(unsigned long size, int alignment) {
  const std::size_t blockSize = AlignedBlockSize(size, alignment);
  return blockSize == 0 ? nullptr : PlaceArea(KelAllocPtr(blockSize), alignment);
}

void* KelAllocPtrSetAligned(unsigned long size, unsigned char fill, int alignment) {
  const std::size_t blockSize = AlignedBlockSize(size, alignment);
  return blockSize == 0 ? nullptr : PlaceArea(KelAllocPtrSet(blockSize, fill), alignment);
}

void KelFreePtrAligned(void* pointer) {
  if (pointer == nullptr) {
    return;
  }
  unsigned char* const wordStart = static_cast<unsigned char*>(pointer) - sizeof(OffsetWord);
  OffsetWord word = 0;
  std::memcpy(&word, wordStart, sizeof word);
  std::free(wordStart - word);
}

char** KelNewHandle(unsigned long size) {
  // Zero-filled, which is an empty handle: no data, size and capacity 0.
  auto* const record = static_cast<HandleRecord*>(KelAllocPtrSet(sizeof(HandleRecord), 0));
  if (record == nullptr) {
    return nullptr;
  }
  char** const handle = &record->data;
  if (KelSetHandleSize(handle, size) != 0) {
    KelDisposeHandle(handle);
    return nullptr;
  }
  return handle;
}

unsigned long KelGetHandleSize(char** handle) { return handle == nullptr ? 0 : RecordOf(handle)->size; }

int KelSetHandleSize(char** handle, unsigned long size) {
  if (handle == nullptr) {
    return 0;
  }
  HandleRecord& record = *RecordOf(handle);
  // `size` is at least 1 here: realloc with size 0 might free the block and return null.
  if (size > record.capacity) {
    // The record stores 32-bit sizes; a larger size fails as if out of memory.
    void* const grown = std::in_range<std::uint32_t>(size) ? KelRealloc(record.data, size) : nullptr;
    if (grown == nullptr) {
      // realloc leaves the old block in place when it fails, but the documented result is an empty handle.
      KelFreePtr(record.data);
      record = {};
      return 1;
    }
    record.data = static_cast<char*>(grown);
    record.capacity = static_cast<std::uint32_t>(size);
  }
  record.size = static_cast<std::uint32_t>(size);
  return 0;
}

void KelDisposeHandle(char** handle) {
  if (handle != nullptr) {
    KelFreePtr(*handle);
    KelFreePtr(handle);
  }
}

void* KelMemory_c::operator new(std::size_t size) noexcept { return KelAllocPtrSet(size, 0); }

void KelMemory_c::operator delete(void* pointer) noexcept { KelFreePtr(pointer); }
