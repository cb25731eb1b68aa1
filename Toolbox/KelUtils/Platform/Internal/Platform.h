#pragma once

/// The system functions beyond POSIX that the toolbox needs: declared here, defined per system in a source with its
/// suffix.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// One line of the table of mounted file systems.
struct Mount {
  std::string type;       ///< kind of file system, such as "ext4" or "cifs"
  std::string mountedOn;  ///< folder at which it appears
  std::string source;     ///< what is mounted: a device, or a server's share
};

/// All mounted file systems, in the system's order; empty when the table cannot be read.
std::vector<Mount> ReadMountTable();

/// The absolute path of the running program, also when its file has been removed or replaced since. False, and `path`
/// unchanged, when the path is unknown or does not fit in 1024 bytes with a terminator.
bool ReadExecutablePath(std::string& path);

/// The number of processors online, at least 1.
int CountProcessors();

/// Tells the system that a large block is about to be filled from end to end, so that it can provide large pages. The
/// content of the block does not change.
void ExpectToFill(char* block, std::size_t size);

/// Opens a folder without the permission to list it, for its status or as the `folder` of another call. `path` is
/// relative to `folder`, an open one or AT_FDCWD. The descriptor, which closes on exec, or -1 with errno.
int OpenFolderUnlisted(int folder, const char* path);

/// Reads the next entries of an open folder into `buffer`, as consecutive `dirent` records (d_reclen). The number of
/// bytes, 0 at the end of the listing, -1 with errno.
long ReadFolderEntries(int folder, void* buffer, std::size_t size);

/// The position of the first `what` in `text`, in linear time; npos when there is none.
std::size_t FindBytes(std::string_view text, std::string_view what);
