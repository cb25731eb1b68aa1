#pragma once

/// Whole files, and C streams with 64-bit positions on every platform. Paths are UTF-8 and go to the system unchanged.
/// Null paths, modes and texts count as empty; operations on a null stream fail.

#include "RHOAPI/RHOAPIExport.h"

#include <cstdio>
#include <string>

/// fopen: the stream, which the caller closes, or null.
RHOAPI_EXPORT FILE* kel_fopen_UTF8(const char* path, const char* mode);

/// The position of the stream; -1 for null and for a stream without positions.
RHOAPI_EXPORT long long kel_ftell64(FILE* stream);

/// Moves the stream's position by `offset` from `whence` (SEEK_SET, SEEK_CUR, SEEK_END); 0 on success.
RHOAPI_EXPORT int kel_fseek64(FILE* stream, long long offset, int whence);

/// Moves to the end of the stream, stays there and returns that position; -1 for null and for a stream without
/// positions, such as a pipe.
RHOAPI_EXPORT long long kel_fileSize64(FILE* stream);

/// The size in bytes; 0 for a folder and for what cannot be opened for reading, -1 for a pipe. Never waits on a FIFO.
RHOAPI_EXPORT long long KelFileSize(const char* path);

/// Creates one folder with the mode 0700. This and the next three return 0 on success, otherwise -1 with errno.
RHOAPI_EXPORT int kel_mkdir_UTF8(const char* path);

/// Both remove a file, a link or an empty folder.
RHOAPI_EXPORT int kel_remove_UTF8(const char* path);
/// The same.
RHOAPI_EXPORT int kel_remove_dir_UTF8(const char* path);

/// rename: replaces a file of the new name.
RHOAPI_EXPORT int kel_rename_UTF8(const char* oldPath, const char* newPath);

/// Replaces `data` by the whole content of the stream, from its start. The stream's position does not change, not even
/// on failure. False when the stream has no positions, `data` cannot be that long (and is unchanged), or the stream
/// ends before its size (the missing bytes are then zero). Throws std::bad_alloc.
RHOAPI_EXPORT bool KelLoadFile(FILE* stream, std::string& data);

/// Writes `data` at the stream's position; false as soon as no more can be written. The stream stays open, and writing
/// the data that it buffers may still fail when it is flushed.
RHOAPI_EXPORT bool KelSaveFile(FILE* stream, const std::string& data);

/// Creates the file `path`, or replaces its content, with `data`. True when all of it was written and the file closed
/// without an error; otherwise a partly written file may remain.
RHOAPI_EXPORT bool KelWriteFile(const std::string& path, const std::string& data);

/// Whether the path can be opened for reading, whether a file, a folder or anything else; false for an empty path.
/// Never waits on a FIFO.
RHOAPI_EXPORT bool KelIsPathToFile(const std::string& path);

/// Whether KelIsPathToFolder or KelIsPathToFile is true: an item that may not be read does not exist for this function.
/// False for an empty path and for one that begins with a zero byte.
RHOAPI_EXPORT bool KelPathExists(const std::string& path);

/// A name for a new file beside `path`: the folder of `path`, if it has one, then prefix, KelGetGUID() and suffix. The
/// folder is that of KelParseFilePath: "/tmp/jobs/" counts as the file "jobs" in "/tmp/".
///   "/tmp/jobs/out.mov", "enc_", ".tmp" give "/tmp/jobs/enc_0b5a3c0e-7c1f-4f0a-9d3e-2f6b8c1d4e5f.tmp"
RHOAPI_EXPORT std::string KelGetTempFilename(const std::string& path, const char* prefix, const char* suffix);
/// The same into a buffer of `size` bytes. False, with nothing written, when the name and its terminator do not fit or
/// the buffer is null.
RHOAPI_EXPORT bool KelGetTempFilename(char* buffer, const char* prefix, const char* suffix, const std::string& path,
                                      unsigned long size);
/// The same for a path that may be null.
RHOAPI_EXPORT bool KelGetTempFilename(char* buffer, const char* prefix, const char* suffix, const char* path,
                                      unsigned long size);
