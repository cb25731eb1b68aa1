#pragma once

/// Whole files, and C streams with 64-bit positions on every platform. Paths are UTF-8 and go to the system unchanged.
/// Null paths, modes and texts count as empty.

#include "RHOAPI/RHOAPIExport.h"

#include <cstdio>
#include <string>

/// fopen: the stream, which the caller closes, or null.
RHOAPI_EXPORT FILE* kel_fopen_UTF8(const char* path, const char* mode);

/// Position of the stream; -1 when it has none, or is null.
RHOAPI_EXPORT long long kel_ftell64(FILE* stream);

/// Moves the stream's position by `offset` from `whence` (SEEK_SET, SEEK_CUR, SEEK_END); 0 on success.
RHOAPI_EXPORT int kel_fseek64(FILE* stream, long long offset, int whence);

/// Moves to the stream's end, stays there, and returns that position; -1 for null and what has no size, such as a pipe.
RHOAPI_EXPORT long long kel_fileSize64(FILE* stream);

/// Size in bytes; 0 for a folder and what cannot be opened for reading, -1 for a pipe. Never waits on a FIFO.
RHOAPI_EXPORT long long KelFileSize(const char* path);

/// Makes one folder, with the mode 0700. 0 on success, otherwise -1 and errno; so answer the three below.
RHOAPI_EXPORT int kel_mkdir_UTF8(const char* path);

/// Both remove a file, a link or an empty folder.
RHOAPI_EXPORT int kel_remove_UTF8(const char* path);
RHOAPI_EXPORT int kel_remove_dir_UTF8(const char* path);

/// rename: replaces a file of the new name.
RHOAPI_EXPORT int kel_rename_UTF8(const char* oldPath, const char* newPath);

/// Replaces `data` by everything the stream holds, from its start, and leaves the stream at the position it had. False
/// when it cannot be moved or ends before its size (and `data` then has the size that was expected, with zero bytes in
/// place of what is missing), or `data` cannot be that long. Throws std::bad_alloc.
RHOAPI_EXPORT bool KelLoadFile(FILE* stream, std::string& data);

/// Writes all of `data` at the stream's position; false as soon as nothing more can be written. The stream stays open,
/// so what it still buffers may yet fail when it is flushed.
RHOAPI_EXPORT bool KelSaveFile(FILE* stream, const std::string& data);

/// Makes `path` a file that holds `data`, in place of what was there; whether all of it was written and the file closed
/// without an error. A file that cannot be written completely is left as far as it got.
RHOAPI_EXPORT bool KelWriteFile(const std::string& path, const std::string& data);

/// Makes every missing folder of `path`, from the top down, each with the mode 0700. True when the path exists in the
/// end, whatever it is (KelPathExists); false for an empty one. Levels made before a failure stay.
RHOAPI_EXPORT bool KelEnsureDirectoryPathExists(const std::string& path);

/// A name for a new file beside `path`: the folder of `path`, which may be none, then prefix, KelGetGUID() and suffix.
/// The folder is what KelParseFilePath says: "/tmp/jobs/" counts as the file "jobs" in "/tmp/".
///   "/tmp/jobs/out.mov", "enc_", ".tmp" give "/tmp/jobs/enc_0b5a3c0e-7c1f-4f0a-9d3e-2f6b8c1d4e5f.tmp"
RHOAPI_EXPORT std::string KelGetTempFilename(const std::string& path, const char* prefix, const char* suffix);
/// The same into a buffer of `size` bytes. False, and nothing written, when the name and its terminator do not fit or
/// there is no buffer.
RHOAPI_EXPORT bool KelGetTempFilename(char* buffer, const char* prefix, const char* suffix, const std::string& path,
                                      unsigned long size);
RHOAPI_EXPORT bool KelGetTempFilename(char* buffer, const char* prefix, const char* suffix, const char* path,
                                      unsigned long size);

/// Whether a file in a watched folder has been left alone: false when it was modified less than a minute from now, in
/// the past or the future. Otherwise, a file that cannot be asked included, true, and a line with the path goes to
/// standard output.
RHOAPI_EXPORT bool KelCheckExclusiveFileAccess(const char* path);
