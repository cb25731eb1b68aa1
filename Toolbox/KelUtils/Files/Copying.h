#pragma once

/// Copies of files and folder trees. Failures are thrown as std::runtime_error with fixed texts; false means that the
/// reporter stopped the copy or that it is not complete. What was copied before a copy ended early stays, including a
/// partly written file.
///
/// The reporter may be null. For overall progress, construct it with the number of files (KelCountFiles): each file
/// then adds its own fraction and one itemFinished(). It is called once per 8192 bytes. What it throws passes on.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Files/Progress.h"

#include <string>

/// Copies the bytes of one file. Empties an existing destination first; a new one gets the default permissions. True
/// when as many bytes were copied as the source had at first, also when the reporter returned false to the last of
/// them. False when the reporter returned false before, the source is a folder (and the destination is not opened),
/// became shorter or longer during the copy, or cannot be read to its end. Throws std::runtime_error:
///   "failed to open "PATH", check read/write privileges." for either file;
///   "copy failed, source and destination are the same file: "DESTINATION"", by whatever names and links, without
///     changing it;
///   "failed to seek "SOURCE"" for a source without a size, such as a pipe; the destination is then empty;
///   "failed to write to "DESTINATION"" when the system refuses data, at the latest when the file closes.
RHOAPI_EXPORT bool KelCopyFile(const std::string& source, const std::string& destination,
                               IKelProgressReporter* reporter);

/// Copies the content of one folder into another, existing one. Files replace files of the same name, folders are
/// merged, and everything that is not a folder is copied by KelCopyFile, a link as what it points to. False for an
/// empty path, when the source cannot be listed to its end, and as soon as one copy returns false: a link to a folder
/// in the source ends the copy there, a dangling link or a pipe throws. Throws what KelCopyFile and TKelOpenFolder
/// throw, and std::runtime_error "copy failed, the destination lies inside the source: "DESTINATION"" before a copy
/// that would copy itself.
RHOAPI_EXPORT bool KelCopyFolderContents(const std::string& source, const std::string& destination,
                                         IKelProgressReporter* reporter);

/// Copies a file or a folder tree: into `destination`, under its own name, when that is a folder, otherwise as
/// `destination`. Creates folders with the mode 0700. Throws what the two above throw, and std::runtime_error:
///   "copy failed, invalid source path: "SOURCE"" and "copy failed, invalid destination path: "DESTINATION"" for paths
///     that KelSimplifyPath refuses, quoted as given;
///   "PATH doesn't exist", with the simplified path, for a source that cannot be read.
///   KelCopy("/a/f", "/b", nullptr) creates /b/f when /b is a folder, otherwise the file /b
///   KelCopy("/a/src", "/b", nullptr) creates /b/src when /b exists, otherwise the folder /b with the content of /a/src
RHOAPI_EXPORT bool KelCopy(const std::string& source, const std::string& destination, IKelProgressReporter* reporter);
