#pragma once

#include <string>

/// Makes the folder and those above it that are missing, with 0777 less the umask. Their names are forced onto the disk,
/// where CommitGroup::Finish does not do that for the whole file system anyway. Something else of the name is no
/// failure: creating a file in it is. Throws Failure.
void MakeFolders(const std::string& folder);
