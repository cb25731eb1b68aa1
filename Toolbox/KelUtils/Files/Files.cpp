#include "Toolbox/KelUtils/Files/Files.h"

#include "Toolbox/KelUtils/Files/Folders.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"
#include "Toolbox/KelUtils/Text/Identifiers.h"
#include "Toolbox/KelUtils/Text/OrEmpty.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

static_assert(sizeof(off_t) == 8, "positions in files need 64 bits");

namespace {

/// Grows `data` in pieces up to `size`, so that each piece is in the cache when data is read into it: filling all of it
/// with zeros first would move everything through memory twice. False when the stream ends earlier or fails.
bool ReadToSize(FILE* stream, std::size_t size, std::string& data) {
  constexpr std::size_t kPiece = 256UL * 1024;
  std::size_t held = 0;
  while (held < size) {
    if (held == data.size()) {
      data.resize(held + std::min(kPiece, size - held));
    }
    const std::size_t count = std::fread(data.data() + held, 1, data.size() - held, stream);
    if (count == 0) {
      return false;
    }
    held += count;
  }
  return true;
}

/// Replaces `data` by the content of the stream, as KelLoadFile does, but leaves the stream's position anywhere.
bool LoadFromStart(FILE* stream, std::string& data) {
  if (fseeko(stream, 0, SEEK_END) != 0) {
    return false;
  }
  const off_t end = ftello(stream);
  if (end < 0 || static_cast<unsigned long long>(end) > data.max_size() || fseeko(stream, 0, SEEK_SET) != 0) {
    return false;
  }
  const auto size = static_cast<std::size_t>(end);
  data.clear();
  // Allocates once, before the advice: a string that grows piece by piece would copy and move its block.
  data.reserve(size);
  ExpectToFill(data.data(), size);
  const bool isRead = ReadToSize(stream, size, data);
  // Zeros for the bytes that are missing after a failure, as documented.
  data.resize(size);
  return isRead;
}

}  // namespace

FILE* kel_fopen_UTF8(const char* path, const char* mode) { return std::fopen(OrEmpty(path), OrEmpty(mode)); }

long long kel_ftell64(FILE* stream) { return stream == nullptr ? -1 : ftello(stream); }

int kel_fseek64(FILE* stream, long long offset, int whence) {
  return stream == nullptr ? -1 : fseeko(stream, offset, whence);
}

long long kel_fileSize64(FILE* stream) {
  kel_fseek64(stream, 0, SEEK_END);
  return kel_ftell64(stream);
}

long long KelFileSize(const char* path) {
  const Descriptor descriptor = OpenForReading(OrEmpty(path));
  // lseek returns -1 for a pipe, which is the documented result.
  const bool isFile = descriptor.IsOpen() && !IsFolder(StatusOf(descriptor));
  return isFile ? lseek(descriptor.Get(), 0, SEEK_END) : 0;
}

int kel_mkdir_UTF8(const char* path) { return mkdir(OrEmpty(path), S_IRWXU); }

// std::remove deletes files and links with unlink and folders with rmdir, so both functions are the same.
int kel_remove_UTF8(const char* path) { return std::remove(OrEmpty(path)); }

int kel_remove_dir_UTF8(const char* path) { return std::remove(OrEmpty(path)); }

int kel_rename_UTF8(const char* oldPath, const char* newPath) {
  return std::rename(OrEmpty(oldPath), OrEmpty(newPath));
}

bool KelLoadFile(FILE* stream, std::string& data) {
  if (stream == nullptr) {
    return false;
  }
  const off_t position = ftello(stream);
  bool isLoaded = false;
  try {
    isLoaded = LoadFromStart(stream, data);
  } catch (...) {
    // The position must not change even when memory runs out.
    fseeko(stream, position, SEEK_SET);
    throw;
  }
  return fseeko(stream, position, SEEK_SET) == 0 && isLoaded;
}

bool KelSaveFile(FILE* stream, const std::string& data) {
  std::size_t written = 0;
  while (stream != nullptr && written < data.size()) {
    // A signal may cut a write short; only a write of nothing is final.
    const std::size_t count = std::fwrite(data.data() + written, 1, data.size() - written, stream);
    if (count == 0) {
      return false;
    }
    written += count;
  }
  return stream != nullptr;
}

bool KelWriteFile(const std::string& path, const std::string& data) {
  Descriptor file = OpenEmptied(path);
  return file.IsOpen() && WriteFully(file, data.data(), data.size()) && file.Close() == 0;
}

bool KelIsPathToFile(const std::string& path) { return !path.empty() && OpenForReading(path).IsOpen(); }

bool KelPathExists(const std::string& path) {
  // The system sees an empty text in a path that begins with a zero byte, and KelIsPathToFolder would open the working
  // directory for it.
  return !path.empty() && path.front() != '\0' && (KelIsPathToFolder(path) || KelIsPathToFile(path));
}

std::string KelGetTempFilename(const std::string& path, const char* prefix, const char* suffix) {
  std::string folder;
  std::string name;
  KelParseFilePath(path, folder, name);
  return folder + OrEmpty(prefix) + KelGetGUID() + OrEmpty(suffix);
}

bool KelGetTempFilename(char* buffer, const char* prefix, const char* suffix, const std::string& path,
                        unsigned long size) {
  const std::string name = KelGetTempFilename(path, prefix, suffix);
  if (buffer == nullptr || name.empty() || name.size() >= size) {
    return false;
  }
  std::memcpy(buffer, name.c_str(), name.size() + 1);
  return true;
}

bool KelGetTempFilename(char* buffer, const char* prefix, const char* suffix, const char* path, unsigned long size) {
  return KelGetTempFilename(buffer, prefix, suffix, std::string(OrEmpty(path)), size);
}
