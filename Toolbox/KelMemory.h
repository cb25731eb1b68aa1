#pragma once

/// Raw storage: plain blocks, aligned blocks, resizable blocks behind a handle, and a base class whose instances are
/// zero-filled. All memory comes from the system allocator and nothing throws: when out of memory or when a size cannot
/// be addressed, the result is null (KelSetHandleSize: 1). Every call is as thread-safe as the allocator.
///
///   char** text = KelNewHandle(10);
///   if (text != nullptr && KelSetHandleSize(text, 100) == 0) { (*text)[99] = 'x'; }  // *text may have moved
///   KelDisposeHandle(text);

#include "RHOAPI/RHOAPIExport.h"

#include <cstddef>

/// A new block of `size` bytes with undefined contents. Freed with KelFreePtr, which is free().
RHOAPI_EXPORT void* KelAllocPtr(unsigned long size);

/// A new block of `size` bytes, each of them `fill`. Freed with KelFreePtr.
RHOAPI_EXPORT void* KelAllocPtrSet(unsigned long size, unsigned char fill);

/// Frees a block of KelAllocPtr, KelAllocPtrSet or KelRealloc; null is ignored.
RHOAPI_EXPORT void KelFreePtr(void* pointer);

/// realloc(), exactly: null allocates, the contents are kept up to the smaller size, and after a null result the old
/// block still exists, except for size 0, which frees the block and returns null on some systems, glibc among them.
RHOAPI_EXPORT void* KelRealloc(void* pointer, unsigned long size);

/// An area of `size` bytes with undefined contents, at an address that is a multiple of `alignment`. Null unless the
/// alignment is a positive multiple of 4. Freed with KelFreePtrAligned only.
///
/// The area lies inside a block of size + alignment bytes, 4 to `alignment` bytes from its start; the 32-bit word in
/// front of the area holds that distance less 4. At alignment 16, in a block that is aligned already, the area starts
/// at byte 16 and the word holds 12.
RHOAPI_EXPORT void* KelAllocPtrAligned(unsigned long size, int alignment);

/// KelAllocPtrAligned in a block whose every byte (but for the word in front of the area) is `fill`.
RHOAPI_EXPORT void* KelAllocPtrSetAligned(unsigned long size, unsigned char fill, int alignment);

/// Frees an area of the two calls above; null is ignored.
RHOAPI_EXPORT void KelFreePtrAligned(void* pointer);

/// A new handle to `size` bytes with undefined contents. Dereferencing it gives the bytes, or null when it is empty
/// (`size` 0). The handle itself never moves; its bytes move when it grows. Null for sizes beyond 32 bits.
RHOAPI_EXPORT char** KelNewHandle(unsigned long size);

/// The last requested size; 0 for a null handle.
RHOAPI_EXPORT unsigned long KelGetHandleSize(char** handle);

/// Sets the handle's size. Up to the largest size so far nothing moves and no memory is freed; beyond it the bytes are
/// reallocated. 0 on success and for a null handle. 1 when out of memory; the bytes are then freed and the handle is
/// empty.
RHOAPI_EXPORT int KelSetHandleSize(char** handle, unsigned long size);

/// Frees the bytes and the handle; null is ignored.
RHOAPI_EXPORT void KelDisposeHandle(char** handle);

/// Base of classes whose instances are allocated in zero-filled storage. Constructors still have to initialise members:
/// reading a member that none has set is undefined, and compilers may drop the zeros.
///
/// `new` of such a class returns null when out of memory, without running a constructor; check the result. An instance
/// has the alignment of malloc even if the class asks for more. Arrays come from the global operator new[].
class RHOAPI_EXPORT KelMemory_c {
 public:
  /// Zero-filled storage, or null. The language requires std::size_t; noexcept makes the new-expression check for null
  /// before it constructs.
  void* operator new(std::size_t size) noexcept;
  /// Frees the storage.
  void operator delete(void* pointer) noexcept;
};
