#pragma once

#include <string>

/// Makes the folder and the missing ones above it, with 0777 less the umask. Forces their names onto the disk, unless
/// CommitGroup::Finish does so for the whole file system. Ignores something else of that name: creating a file in it
/// fails later. Throws Failure.
void MakeFolders(const std::string& folder);
