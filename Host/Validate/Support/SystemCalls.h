#pragma once

#include <string>

/// From now on system calls that change files or this process fail with EPERM, on every thread, and are noted: opening
/// files to write, creating, renaming and removing them, sockets, new processes, signals and their handlers, timers,
/// limits, priorities, sleeping, and reading standard input. Cannot be undone. Skips the check where the kernel does
/// not offer it.
void WatchSystemCalls();

/// The first such call since this was last asked: "openat(\"/tmp/x\")"; empty when there was none.
std::string WatchedSystemCall();
