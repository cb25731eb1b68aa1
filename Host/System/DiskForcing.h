#pragma once

/// Waiting until data is on the disk, so that it survives a power failure. Files that cannot be forced, such as
/// pipes, count as forced.

/// Forces an open file, or a folder opened for reading. Returns 0 or an errno.
int ForceToDisk(int descriptor);

/// Forces the names in a folder, which may be open with O_PATH only. `file` is any open file on the same file system.
/// Returns 0 or an errno.
int ForceNames(int folder, int file);

/// Whether ForceFileSystem on the file system of `descriptor` is known to force each of its files and names, as
/// ForceToDisk does one by one.
bool CanForceFileSystem(int descriptor);

/// Forces everything on the file system of `descriptor`. Returns 0 or an errno, which may come from any of its files.
int ForceFileSystem(int descriptor);
