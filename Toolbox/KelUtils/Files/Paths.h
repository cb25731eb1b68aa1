#pragma once

/// Path arithmetic on UTF-8 byte strings. Nothing here touches the file system, but for the working directory (relative
/// paths) and the table of mounted volumes (ConvertMacPathToUnc). An output may be the same object as an input.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

#include <string>

/// What separates the levels of a path: "/". Separators are recognised by its first character, appended as a whole.
RHOAPI_EXPORT extern const char* const kDirSeparator;

/// Whether the path begins with the separator; false for an empty one.
RHOAPI_EXPORT bool KelIsAbsolutePath(const std::string& path);

/// Makes `path` absolute, with the working directory where it is relative, and free of "." and "..", by text alone:
/// links are not followed. One trailing separator is dropped. Runs of separators are not collapsed: the second one of a
/// run begins the next component. False, and `output` untouched, when the path is empty, climbs above the root, or
/// there is no working directory of less than 1024 bytes.
///   "/a/./b/../c/" gives "/a/c", "/a/.." gives "/", "/a//b" stays, "/.." fails
RHOAPI_EXPORT bool KelSimplifyPath(const std::string& path, std::string& output);

/// As KelSimplifyPath, but an empty path also empties the output.
RHOAPI_EXPORT bool KelGetFullPathName(const std::string& path, std::string& output);
/// The same; a failure leaves `output` as it was. Throws std::logic_error when `path` has no buffer.
RHOAPI_EXPORT bool KelGetFullPathName(const CKelStr<char>& path, CKelStr<char>& output);

/// `first` without its trailing separators, one separator, `second` without its leading separators. A separator of 0
/// stands for the platform's; null counts as empty.
///   KelJoinPaths("a///", "///b", 0) == "a/b", KelJoinPaths("", "b", 0) == "/b"
RHOAPI_EXPORT std::string KelJoinPaths(const std::string& first, const std::string& second, char separator);
RHOAPI_EXPORT std::string KelJoinPaths(const std::string& first, const char* second, char separator);

/// Splits a path into the folder, trailing separator included, and the name, trailing separators excluded. False for an
/// empty path (outputs untouched) and for one without a separator before the name's end (no folder, and the name is all
/// of the path).
///   "/a/b/c.txt" gives "/a/b/" and "c.txt", "/a/b/" gives "/a/" and "b", "c.txt" gives "" and "c.txt" (false)
RHOAPI_EXPORT bool KelParseFilePath(const std::string& path, std::string& folder, std::string& name);
/// The same, but an empty path empties both outputs. Throws std::logic_error when `path` has no buffer.
RHOAPI_EXPORT bool KelParseFilePath(const CKelStr<char>& path, CKelStr<char>& folder, CKelStr<char>& name);

/// What follows the last "/" or "\"; the whole path when it holds neither.
///   KelGetFileNameWithExtension("a\\b/c") == "c", KelGetFileNameWithExtension("dir/") == ""
RHOAPI_EXPORT std::string KelGetFileNameWithExtension(const std::string& path);

/// The path up to the last dot of its name; the path unchanged when there is none. A dot counts when it stands behind
/// the last "/" or behind the last "\" of a path that holds such.
///   KelGetPathFileNameNoExtension("dir/file.tar.gz") == "dir/file.tar", ".hidden" gives "", "dir.d/file" stays
RHOAPI_EXPORT std::string KelGetPathFileNameNoExtension(const std::string& path);

/// Replaces the extension of `path`, dot included, by `newExtension`, given with its dot; null or empty removes it. The
/// replaced extension goes to `oldExtension` unless that is null. True when there was one. Without one, `newExtension`
/// is appended, `oldExtension` is not touched and the answer is false; so is that for an empty path, which stays empty.
///   "b.mov" with ".mp4" gives "b.mp4" (true), "a.b/c" with ".x" gives "a.b/c.x" (false)
RHOAPI_EXPORT bool KelReplaceFilenameExtension(std::string& path, const char* newExtension, std::string* oldExtension);

/// Removes the extension of `path`, dot included; whether there was one.
RHOAPI_EXPORT bool KelRemoveFilenameExtension(std::string& path);

/// Whether `name` ends with `extension`, letter case aside. The extension may be given with its dot or without; an
/// empty one always matches, and null counts as empty.
///   KelFilenameExtensionMatches("clip.mov", ".MOV") and KelFilenameExtensionMatches("clip.mov", "mov") are true
RHOAPI_EXPORT bool KelFilenameExtensionMatches(const char* name, const char* extension);

/// A path on a mounted SMB volume as server/share/rest; any other path unchanged. A user name goes, and so does the
/// "._smb._tcp.local" behind a server's name; a mount source without "@" keeps its two leading slashes.
///   "/Volumes/share/dir/a.mov", where "//me@server._smb._tcp.local/share" is mounted on "/Volumes/share",
///   gives "server/share/dir/a.mov"
RHOAPI_EXPORT std::string ConvertMacPathToUnc(const std::string& path);
