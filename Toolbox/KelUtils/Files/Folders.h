#pragma once

/// Folders, and walks through folder trees. Entries come in the system's order, without "." and "..". Links are not
/// folders and no walk follows them, except that a link to a folder counts as that folder on a file system that does
/// not report the types of its entries. A read error ends a walk like the end of the listing. A walk keeps one folder
/// open per level; when no more can be opened, the next level cannot be listed. Null texts count as empty.

#include "RHOAPI/RHOAPIExport.h"

#include <list>
#include <string>

/// Whether the path is a folder, or a link to one, that can be listed; false for an empty path.
RHOAPI_EXPORT bool KelIsPathToFolder(const std::string& path);

/// Creates every missing folder of `path`, from the top down, each with the mode 0700. True when the path exists in the
/// end (KelPathExists), even as a file; false for an empty path and for one that begins with a zero byte. Levels
/// created before a failure remain.
RHOAPI_EXPORT bool KelEnsureDirectoryPathExists(const std::string& path);

/// The task of KelForEachFile. The order of the virtual operations is fixed.
class IKelSomeFileTask {
 public:
  virtual ~IKelSomeFileTask() = default;
  /// Returns true to continue the walk, false to end it.
  virtual bool processFile(const std::string& filePath) = 0;

 protected:
  IKelSomeFileTask() = default;
  IKelSomeFileTask(const IKelSomeFileTask&) = default;
  IKelSomeFileTask& operator=(const IKelSomeFileTask&) = default;
};

/// Calls `task` with the absolute path of every item below `path` that is not a folder, depth first, and with the path
/// of each folder that cannot be listed. When `path` itself is not a folder, calls `task` with it as given. Ends, and
/// returns false, as soon as the task returns false. Throws what the task throws.
RHOAPI_EXPORT bool KelForEachFile(const std::string& path, IKelSomeFileTask& task);

/// The number of files below `path`; 1 when it is not a folder. Opens each file for reading, without waiting on FIFOs,
/// and throws TKelOpenFile's std::runtime_error at the first that cannot be opened. Used before a copy, as the number
/// of items of an IKelProgressReporter.
RHOAPI_EXPORT unsigned int KelCountFiles(const std::string& path);

/// Appends to `result` the names of the entries of `folder`, except folders, that begin with `prefix` (case-sensitive)
/// and end with `extension` (without regard to the case of ASCII letters). True when there was one. False when there
/// was none, `folder` is empty or cannot be listed, or when out of memory; names found until then remain in `result`.
///   the file Clip1.MOV is found with "Clip" and ".mov", not with "clip" and ".mov"
RHOAPI_EXPORT bool kel_find_matching_files_UTF8(std::list<std::string>& result, const std::string& folder,
                                                const std::string& prefix, const std::string& extension);
/// The same for texts that may be null.
RHOAPI_EXPORT bool kel_find_matching_files_UTF8(std::list<std::string>& result, const char* folder, const char* prefix,
                                                const char* extension);
/// The same with an empty prefix.
RHOAPI_EXPORT bool kel_find_matching_files_UTF8(std::list<std::string>& result, const char* folder,
                                                const char* extension);

/// Whether a file in a watched folder is no longer being written: false when it was modified less than a minute before
/// or after now. Otherwise, and when its time is unknown, prints a line with the path to standard output and returns
/// true.
RHOAPI_EXPORT bool KelCheckExclusiveFileAccess(const char* path);
