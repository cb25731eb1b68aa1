#pragma once

/// Removal of folder trees and of lists of files. Links are removed, never followed.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

#include <list>
#include <string>

/// Removes a folder with all that is in it; a link to a folder is removed as a link, with nothing behind it. What
/// counts is the simplified path (KelSimplifyPath). True also for an empty path, with nothing done. False when there is
/// no such folder, or as soon as something cannot be removed; what was removed until then is gone. An entry that
/// somebody else removes meanwhile is no failure, and one that somebody turns into a link meanwhile is removed as a
/// link. Keeps one folder open for each level it is in. File systems mounted below are emptied too.
RHOAPI_EXPORT bool kel_remove_dir_recursively_UTF8(const std::string& folder);
/// The same; false for a text without a buffer.
RHOAPI_EXPORT bool kel_remove_dir_recursively_UTF8(const CKelStr<char>& folder);
/// The same; false for null.
RHOAPI_EXPORT bool kel_remove_dir_recursively_UTF8(const char* folder);

/// Removes the named files and empty folders in `folder` (with or without a trailing separator; in the working
/// directory when empty), in the list's order. False at the first that cannot be removed, and the ones behind it are
/// not tried.
RHOAPI_EXPORT bool kel_remove_files_UTF8(const std::string& folder, const std::list<std::string>& names);
