#pragma once

/// Memory that runs out on demand: a library of its own, FailingAllocations.so beside the program, which stands in for
/// the allocating functions of the C library (malloc and its relatives, and so operator new) in a process that was
/// started with it in LD_PRELOAD. Nothing links it; its functions are found by dlsym(RTLD_DEFAULT, name).
///
/// FAIL_ALLOCATION in the environment arms it from the start of the process on: "12" makes the twelfth allocation
/// fail, "12+" that one and all behind it.

extern "C" {

/// From now on the n-th allocation, counted from 1, fails; with `andAllBehindIt` all behind it as well. 0 makes none
/// fail any more. It also begins to count anew.
void FailAllocation(long n, int andAllBehindIt);

/// Allocations since FailAllocation was last called, or else since the process was started, the failed ones included.
long CountedAllocations();

/// Blocks of memory that are allocated now and not freed.
long HeldAllocations();
}
