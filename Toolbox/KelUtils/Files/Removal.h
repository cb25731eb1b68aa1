#pragma once

/// Removal of folder trees and lists of files. Removes links and never follows them.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

#include <list>
#include <string>

/// Removes the folder at the simplified path (KelSimplifyPath) and everything in it; a link to a folder is removed as a
/// link. Also true for an empty path, for which nothing is removed. False when there is no such folder, and as soon as
/// an item cannot be removed; the items before it are then gone. An entry that another process removes during the call
/// is not a failure; one that another process replaces by a link is removed as a link. Keeps one folder open per level.
/// Also empties file systems that are mounted below.
RHOAPI_EXPORT bool kel_remove_dir_recursively_UTF8(const std::string& folder);
/// The same; false for a text without a buffer.
RHOAPI_EXPORT bool kel_remove_dir_recursively_UTF8(const CKelStr<char>& folder);
/// The same; false for null.
RHOAPI_EXPORT bool kel_remove_dir_recursively_UTF8(const char* folder);

/// Removes the named files and empty folders in `folder` (with or without a trailing separator; empty stands for the
/// working directory), in the order of the list. Stops, and returns false, at the first that cannot be removed.
RHOAPI_EXPORT bool kel_remove_files_UTF8(const std::string& folder, const std::list<std::string>& names);
