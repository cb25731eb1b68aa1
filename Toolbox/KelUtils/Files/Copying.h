#pragma once

/// Copying files and folder trees. Failures are thrown as std::runtime_error with fixed texts; false means that the
/// reporter stopped the copy or that the copy is not complete. A copy that ends early leaves what it has written,
/// including a partly written file.
///
/// The reporter may be null. For overall progress, construct it with the number of files (KelCountFiles): each file
/// then adds its own fraction and one itemFinished(). It is called once per 8192 bytes. Its exceptions pass through.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Files/Progress.h"

#include <string>

/// Copies the bytes of one file. Empties an existing destination first; a new one gets the default permissions. True
/// when as many bytes were copied as the source had at first, also when the reporter returned false to the last of
/// them. False when the reporter returned false before, the source is a folder (and the destination is not opened),
/// became shorter or longer during the copy, or cannot be read to its end. Throws std::runtime_error:
///   "failed to open "PATH", check read/write privileges." for either file;
///   "copy failed, source and destination are the same file: "DESTINATION"", under any names and links; the file does
///     not change;
///   "failed to seek "SOURCE"" for a source without a size, such as a pipe; the destination is then empty;
///   "failed to write to "DESTINATION"" when writing or closing fails.
RHOAPI_EXPORT bool KelCopyFile(const std::string& source, const std::string& destination,
                               IKelProgressReporter* reporter);

/// Copies the content of one folder into another, existing one. Files replace files of the same name, folders are
/// merged, and KelCopyFile copies everything that is not a folder, following links. False for an empty path, when the
/// source cannot be listed to its end, and as soon as one copy returns false: the copy ends at a link to a folder and
/// throws at a dangling link or a pipe. Throws what KelCopyFile and TKelOpenFolder throw, and std::runtime_error "copy
/// failed, the destination lies inside the source: "DESTINATION"" before it would copy a folder into itself.
RHOAPI_EXPORT bool KelCopyFolderContents(const std::string& source, const std::string& destination,
                                         IKelProgressReporter* reporter);

/// Copies a file or a folder tree: into `destination`, under its own name, if that is a folder (for a folder: if it
/// exists), otherwise as `destination`. Creates folders with the mode 0700. Throws what the functions above throw, and
/// std::runtime_error:
///   "copy failed, invalid source path: "SOURCE"" and "copy failed, invalid destination path: "DESTINATION"" for paths
///     that KelSimplifyPath refuses, quoted as given;
///   "PATH doesn't exist", with the simplified path, for a source that cannot be read.
///   KelCopy("/a/f", "/b", nullptr) creates /b/f when /b is a folder, otherwise the file /b
///   KelCopy("/a/src", "/b", nullptr) creates /b/src when /b exists, otherwise the folder /b with the content of /a/src
RHOAPI_EXPORT bool KelCopy(const std::string& source, const std::string& destination, IKelProgressReporter* reporter);
