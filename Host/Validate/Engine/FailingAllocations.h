#pragma once

/// Memory that runs out on demand, and memory that is watched: a library of its own, FailingAllocations.so beside the
/// program, which replaces the allocating functions of the C library (malloc and its relatives, and so operator new) in
/// a process that is started with it in LD_PRELOAD. Nothing links it; its functions are found by
/// dlsym(RTLD_DEFAULT, name).
///
/// A write before or behind a block or to a freed one, and a block that is freed twice, end the process with a message
/// on standard error and SIGABRT; they are noticed when the block is freed, or a while later. Freed memory is filled
/// with other bytes.
///
/// FAIL_ALLOCATION in the environment arms it from the start of the process on: "12" makes the twelfth allocation
/// fail, "12+" that one and all after it.

extern "C" {

/// From now on the n-th allocation, counted from 1, fails; with `andAllBehindIt` all after it as well. 0 makes none
/// fail any more. Also restarts the count.
void FailAllocation(long n, int andAllBehindIt);

/// Allocations since FailAllocation was last called, or else since the process was started, the failed ones included.
long CountedAllocations();

/// Blocks of memory that are allocated now and not freed, and the bytes in them.
long HeldAllocations();
long HeldBytes();

/// Looks at all blocks that were freed lately.
void CheckFreedMemory();
}
