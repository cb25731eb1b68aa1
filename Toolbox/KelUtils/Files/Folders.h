#pragma once

/// What is where, and walks through folder trees. Entries come in the order in which the system lists them; "." and
/// ".." are never among them. Links are not folders here, and no walk follows them, but where a file system does not
/// tell the types of its entries a link to a folder counts as that folder. Null texts count as empty. A walk keeps one
/// folder open for each level it is in; when the system has no more of them, the next level cannot be listed.

#include "RHOAPI/RHOAPIExport.h"

#include <list>
#include <string>

/// Whether the path can be opened for reading, whatever it is (a folder can); false for an empty path. Never waits
/// on a FIFO.
RHOAPI_EXPORT bool KelIsPathToFile(const std::string& path);

/// Whether the path is a folder, or a link to one, that can be listed; false for an empty path.
RHOAPI_EXPORT bool KelIsPathToFolder(const std::string& path);

/// Whether one of the two holds: what may not be read does not exist. False for an empty path and one that begins with
/// a zero byte.
RHOAPI_EXPORT bool KelPathExists(const std::string& path);

/// What KelForEachFile does with each file. The order of the virtual operations is fixed.
class IKelSomeFileTask {
 public:
  virtual ~IKelSomeFileTask() = default;
  /// True lets the walk go on, false ends it.
  virtual bool processFile(const std::string& filePath) = 0;

 protected:
  IKelSomeFileTask() = default;
  IKelSomeFileTask(const IKelSomeFileTask&) = default;
  IKelSomeFileTask& operator=(const IKelSomeFileTask&) = default;
};

/// Calls `task` with the absolute path of everything below `path` that is no folder, depth first, and for a folder that
/// cannot be listed with the folder's path. What is no folder itself is handed to `task` as given. False as soon as the
/// task answers so, otherwise true. Throws what the task throws.
RHOAPI_EXPORT bool KelForEachFile(const std::string& path, IKelSomeFileTask& task);

/// Number of files below `path`, each of which is opened for reading on the way (without waiting on FIFOs); 1 for what
/// is no folder. Throws TKelOpenFile's std::runtime_error at the first one that cannot be opened. Sizes an
/// IKelProgressReporter before a copy.
RHOAPI_EXPORT unsigned int KelCountFiles(const std::string& path);

/// Appends to `result` the names of those entries of `folder`, folders apart, that begin with `prefix` (letter case
/// counts) and end with `extension` (letter case of ASCII letters does not). True when there was one. False when there
/// was none, or `folder` is empty or cannot be listed, or memory runs out, and then the names found so far stay.
///   the file Clip1.MOV is found with "Clip" and ".mov", not with "clip" and ".mov"
RHOAPI_EXPORT bool kel_find_matching_files_UTF8(std::list<std::string>& result, const std::string& folder,
                                                const std::string& prefix, const std::string& extension);
RHOAPI_EXPORT bool kel_find_matching_files_UTF8(std::list<std::string>& result, const char* folder, const char* prefix,
                                                const char* extension);
/// The same with an empty prefix.
RHOAPI_EXPORT bool kel_find_matching_files_UTF8(std::list<std::string>& result, const char* folder,
                                                const char* extension);
