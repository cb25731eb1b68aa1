#include "Toolbox/KelUtils/Files/Files.h"

#include "Toolbox/KelUtils/Files/Folders.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"
#include "Toolbox/KelUtils/Text/Identifiers.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <ctime>

static_assert(sizeof(off_t) == 8, "positions in files need 64 bits");

namespace {

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

// Grows `data` piece by piece up to `size`, so that each piece is still in the cache when it is read into: filling all
// of it with zeros first would move everything through memory twice.
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

double SecondsSinceModification(const struct stat& status) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const auto seconds = static_cast<double>(now.tv_sec) - static_cast<double>(status.st_mtim.tv_sec);
  return seconds + static_cast<double>(now.tv_nsec - status.st_mtim.tv_nsec) * 1e-9;
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
  const bool isFile = descriptor.IsOpen() && !IsFolder(StatusOf(descriptor));
  return isFile ? lseek(descriptor.Get(), 0, SEEK_END) : 0;
}

int kel_mkdir_UTF8(const char* path) { return mkdir(OrEmpty(path), S_IRWXU); }

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
  if (fseeko(stream, 0, SEEK_END) != 0) {
    return false;
  }
  const off_t end = ftello(stream);
  if (end < 0 || static_cast<unsigned long long>(end) > data.max_size() || fseeko(stream, 0, SEEK_SET) != 0) {
    return false;
  }
  const auto size = static_cast<std::size_t>(end);
  data.clear();
  data.reserve(size);
  ExpectToFill(data.data(), size);
  if (!ReadToSize(stream, size, data)) {
    data.resize(size);
    return false;
  }
  return fseeko(stream, position, SEEK_SET) == 0;
}

bool KelSaveFile(FILE* stream, const std::string& data) {
  std::size_t written = 0;
  while (stream != nullptr && written < data.size()) {
    const std::size_t count = std::fwrite(data.data() + written, 1, data.size() - written, stream);
    if (count == 0) {
      return false;
    }
    written += count;
  }
  return stream != nullptr;
}

bool KelWriteFile(const std::string& path, const std::string& data) {
  FILE* const stream = std::fopen(path.c_str(), "we");
  if (stream == nullptr) {
    return false;
  }
  const bool isWritten = std::fwrite(data.data(), 1, data.size(), stream) == data.size();
  return std::fclose(stream) == 0 && isWritten;
}

bool KelEnsureDirectoryPathExists(const std::string& path) {
  if (path.empty() || path.front() == '\0') {
    return false;
  }
  if (KelPathExists(path)) {
    return true;
  }
  // The system takes no longer path, and going up through one level by level would only cost time and stack.
  if (path.size() >= PATH_MAX) {
    return false;
  }
  std::string folder;
  std::string name;
  const bool hasFolder = KelParseFilePath(path, folder, name) && folder.size() < path.size();
  if (hasFolder && !KelEnsureDirectoryPathExists(folder)) {
    return false;
  }
  kel_mkdir_UTF8(path.c_str());
  return KelPathExists(path);
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

bool KelCheckExclusiveFileAccess(const char* path) {
  struct stat status {};
  if (stat(OrEmpty(path), &status) == 0) {
    const double age = SecondsSinceModification(status);
    if (age > -60.0 && age < 60.0) {
      return false;
    }
  }
  std::printf(" Watchfolder exclusive access: %s  \n", OrEmpty(path));
  return true;
}
