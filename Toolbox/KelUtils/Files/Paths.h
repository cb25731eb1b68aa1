#pragma once

/// Path arithmetic on UTF-8 byte strings. Reads only the working directory (for relative paths) and the table of
/// mounted volumes (ConvertMacPathToUnc) from the system. An output may be the same object as an input.

#include "RHOAPI/RHOAPIExport.h"
#include "Toolbox/KelUtils/Text/KelStr.h"

#include <string>

/// The separator of path components: "/". Its first character is recognized as separator, the whole text is appended.
RHOAPI_EXPORT extern const char* const kDirSeparator;

/// Whether the path begins with the separator; false for an empty one.
RHOAPI_EXPORT bool KelIsAbsolutePath(const std::string& path);

/// Makes `path` absolute, relative to the working directory, and removes "." and "..", without following links. Drops
/// one trailing separator. Does not collapse runs of separators: the second one of a run begins the next component.
/// False, with `output` unchanged, when the path is empty or climbs above the root, or the working directory is unknown
/// or longer than 1023 bytes.
///   "/a/./b/../c/" gives "/a/c", "/a/.." gives "/", "/a//b" stays, "/.." fails
RHOAPI_EXPORT bool KelSimplifyPath(const std::string& path, std::string& output);

/// KelSimplifyPath, but an empty path also empties the output.
RHOAPI_EXPORT bool KelGetFullPathName(const std::string& path, std::string& output);
/// The same, but leaves `output` unchanged on failure. Throws std::logic_error when `path` has no buffer.
RHOAPI_EXPORT bool KelGetFullPathName(const CKelStr<char>& path, CKelStr<char>& output);

/// `first` without its trailing separators, one separator, `second` without its leading separators. A separator of 0
/// stands for the platform's; null counts as empty.
///   KelJoinPaths("a///", "///b", 0) == "a/b", KelJoinPaths("", "b", 0) == "/b"
RHOAPI_EXPORT std::string KelJoinPaths(const std::string& first, const std::string& second, char separator);
/// The same for a second path that may be null.
RHOAPI_EXPORT std::string KelJoinPaths(const std::string& first, const char* second, char separator);

/// Splits a path into the folder, with its trailing separator, and the name, without trailing separators. False for an
/// empty path (outputs unchanged) and for a path without a separator before the end of the name (the folder is empty,
/// the name the whole path).
///   "/a/b/c.txt" gives "/a/b/" and "c.txt", "/a/b/" gives "/a/" and "b", "c.txt" gives "" and "c.txt" (false)
RHOAPI_EXPORT bool KelParseFilePath(const std::string& path, std::string& folder, std::string& name);
/// The same, but an empty path empties both outputs. Throws std::logic_error when `path` has no buffer.
RHOAPI_EXPORT bool KelParseFilePath(const CKelStr<char>& path, CKelStr<char>& folder, CKelStr<char>& name);

/// The text after the last "/" or "\"; the whole path when it contains neither.
///   KelGetFileNameWithExtension("a\\b/c") == "c", KelGetFileNameWithExtension("dir/") == ""
RHOAPI_EXPORT std::string KelGetFileNameWithExtension(const std::string& path);

/// The path up to the last dot of its name, or the whole path when there is none. In a path with separators, a dot
/// after the last "/" or after the last "\" counts.
///   KelGetPathFileNameNoExtension("dir/file.tar.gz") == "dir/file.tar", ".hidden" gives "", "dir.d/file" stays
RHOAPI_EXPORT std::string KelGetPathFileNameNoExtension(const std::string& path);

/// Replaces the extension of `path`, including its dot, by `newExtension`, given with its dot; null or empty removes
/// it. Copies the old extension to `oldExtension` unless that is null. True when there was one. Without one, appends
/// `newExtension`, leaves `oldExtension` unchanged and returns false. An empty path stays empty and gives false.
///   "b.mov" with ".mp4" gives "b.mp4" (true), "a.b/c" with ".x" gives "a.b/c.x" (false)
RHOAPI_EXPORT bool KelReplaceFilenameExtension(std::string& path, const char* newExtension, std::string* oldExtension);

/// Removes the extension of `path`, including its dot. Whether there was one.
RHOAPI_EXPORT bool KelRemoveFilenameExtension(std::string& path);

/// Whether `name` ends with `extension`, without regard to the case of ASCII letters, in every locale. The extension
/// may be given with or without its dot; an empty one always matches, and null counts as empty.
///   KelFilenameExtensionMatches("clip.mov", ".MOV") and KelFilenameExtensionMatches("clip.mov", "mov") are true
RHOAPI_EXPORT bool KelFilenameExtensionMatches(const char* name, const char* extension);

/// A path on a mounted SMB volume as server/share/rest; any other path unchanged. Removes the user name and the
/// "._smb._tcp.local" after the name of the server; a mount source without "@" keeps its two leading slashes.
///   "/Volumes/share/dir/a.mov", where "//me@server._smb._tcp.local/share" is mounted on "/Volumes/share",
///   gives "server/share/dir/a.mov"
RHOAPI_EXPORT std::string ConvertMacPathToUnc(const std::string& path);
