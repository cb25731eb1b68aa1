#pragma once

/// Files by descriptor, for code in which a stream would read or write at the wrong time or copy too often. Repeats
/// interrupted calls and continues short ones. Descriptors close on exec.

#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <sys/stat.h>

#include <cstddef>
#include <string>

/// Opens for reading. Waits for the end of a lease on the file, but never on a FIFO, which opens without a writer.
Descriptor OpenForReading(const std::string& path);

/// Opens for writing, and creates a missing file. Existing content stays until MakeEmpty().
Descriptor OpenForWriting(const std::string& path);

/// Opens for writing, and creates a missing file or empties an existing one.
Descriptor OpenEmptied(const std::string& path);

/// Creates a file that only its owner may read and write. No descriptor when anything of that name exists.
Descriptor CreateNew(const std::string& path);

/// Gives a new file the permissions of `original` (without set-user-ID and the like), and its owner and group if
/// allowed. If the group cannot be set, the group gets the permissions of others. False when the permissions cannot be
/// set.
bool TakePermissions(const Descriptor& file, const struct stat& original);

/// The status of an open item, or of the item at a path (of a link itself, not its target); all zero when the system
/// does not provide it or there is none.
struct stat StatusOf(const Descriptor& descriptor);
struct stat StatusOf(const std::string& path);

/// Whether the status was read.
bool IsKnown(const struct stat& status);

bool IsFolder(const struct stat& status);

/// Whether both are the same item, under any names; also true when one of them is unknown.
bool IsSameItem(const struct stat& left, const struct stat& right);

/// Empties an open regular file; true also for other kinds, such as devices.
bool MakeEmpty(const Descriptor& descriptor, const struct stat& status);

/// Reads at most `size` bytes once: how many, 0 at the end of the file, -1 with errno.
long ReadSome(const Descriptor& descriptor, char* buffer, std::size_t size);

/// Reads at most `size` bytes until `enough` of them have arrived, the file ends or a call fails. Returns the number of
/// bytes read.
std::size_t ReadUpTo(const Descriptor& descriptor, char* buffer, std::size_t size, std::size_t enough);

/// Writes all of `buffer`; false when a call fails or writes nothing.
bool WriteFully(const Descriptor& descriptor, const char* buffer, std::size_t size);
