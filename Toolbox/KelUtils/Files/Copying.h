#pragma once

/// Copies of files and folder trees. Failures are thrown as std::runtime_error with fixed texts; false means that the
/// copy was stopped by the reporter or is not complete. Whatever ends a copy early, what was copied until then stays,
/// a partly written file included.
///
/// The reporter may be null. For overall progress, make it with the number of files (KelCountFiles): each file then
/// adds its own fraction and one itemFinished(). It is asked once for each 8192 bytes.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Files/Progress.h"

#include <string>

/// Copies the bytes of one file; an existing destination is emptied first, a new one gets the default permissions.
/// True when as many bytes were copied as the source had at first, also where the reporter said false to the last of
/// them. False when the reporter said so before, the source is a folder (and nothing is opened for writing), became
/// shorter or longer meanwhile, or can be read no further. Throws std::runtime_error:
///   "failed to open "PATH", check read/write privileges." for either file;
///   "copy failed, source and destination are the same file: "DESTINATION"" and leaves that file alone, whatever the
///     names and links by which the two paths reach it;
///   "failed to seek "SOURCE"" for what has no size, such as a pipe; the destination is empty then;
///   "failed to write to "DESTINATION"" when the system refuses bytes, at the latest when the file is closed.
RHOAPI_EXPORT bool KelCopyFile(const std::string& source, const std::string& destination,
                               IKelProgressReporter* reporter);

/// Copies what one folder holds into another, existing one: files replace files of their name, folders are merged, and
/// what is neither is copied as KelCopyFile does, links as what they point to. False for an empty path and as soon as
/// one copy answers so: a link to a folder in the source ends the copy there, a dangling one or a pipe throws. Throws
/// what KelCopyFile and TKelOpenFolder throw, and std::runtime_error "copy failed, the destination lies inside the
/// source: "DESTINATION"" before the copy would begin to copy itself.
RHOAPI_EXPORT bool KelCopyFolderContents(const std::string& source, const std::string& destination,
                                         IKelProgressReporter* reporter);

/// Copies a file or a folder tree, into `destination` under its own name where that is a folder, otherwise as
/// `destination`. Folders are made with the mode 0700. Throws what the two above throw, and std::runtime_error:
///   "copy failed, invalid source path: "SOURCE"" and "copy failed, invalid destination path: "DESTINATION"" for paths
///     that KelSimplifyPath refuses, quoted as given;
///   "PATH doesn't exist" for a source that cannot be read, simplified.
///   KelCopy("/a/f", "/b", nullptr) makes /b/f where /b is a folder, otherwise the file /b
///   KelCopy("/a/src", "/b", nullptr) makes /b/src where /b exists, otherwise the folder /b with what /a/src holds
RHOAPI_EXPORT bool KelCopy(const std::string& source, const std::string& destination, IKelProgressReporter* reporter);
