#pragma once

/// What the toolbox asks of the system beyond POSIX: one declaration here, one definition for each system in a source
/// with its suffix. Internal to the toolbox.

#include <cstddef>
#include <string>
#include <vector>

/// One line of the table of mounted file systems.
struct Mount {
  std::string type;       ///< kind of file system, such as "ext4" or "cifs"
  std::string mountedOn;  ///< folder at which it appears
  std::string source;     ///< what is mounted: a device, or a server's share
};

/// All mounted file systems, in the system's order; empty when the table cannot be read.
std::vector<Mount> ReadMountTable();

/// The absolute path of the program that runs. False, and `path` untouched, when it cannot be had or does not fit in
/// 1024 bytes with a terminator.
bool ReadExecutablePath(std::string& path);

/// Processors that are online, at least 1.
int CountProcessors();

/// Says that a large block is about to be filled from end to end, so that the system can provide it in large pages. A
/// hint: what lies in the block stays as it is.
void ExpectToFill(char* block, std::size_t size);
