#include "Toolbox/KelUtils/Copying.h"

#include "Toolbox/KelUtils/Descriptor.h"
#include "Toolbox/KelUtils/Files.h"
#include "Toolbox/KelUtils/Folders.h"
#include "Toolbox/KelUtils/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/PathErrors.h"
#include "Toolbox/KelUtils/Paths.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cstddef>

namespace {

// The position at the end of the file, which is left at its start.
off_t MeasureAndRewind(int file, const std::string& path) {
  const off_t size = lseek(file, 0, SEEK_END);
  if (size < 0 || lseek(file, 0, SEEK_SET) < 0) {
    throw PathError("failed to seek", path);
  }
  return size;
}

// Copies up to `size` bytes, or more where the last piece has more; how many it copied.
off_t CopyBytes(int source, int destination, off_t size, IKelProgressReporter* reporter, const std::string& path) {
  std::array<char, 8192> buffer{};
  off_t copied = 0;
  while (copied < size) {
    const std::size_t held = ReadFully(source, buffer.data(), buffer.size());
    if (held == 0) {
      break;
    }
    if (!WriteFully(destination, buffer.data(), held)) {
      throw PathError("failed to write to", path);
    }
    copied += static_cast<off_t>(held);
    if (reporter != nullptr && !reporter->updateProgress(static_cast<double>(copied) / static_cast<double>(size))) {
      break;
    }
  }
  return copied;
}

// Whether `folder` is `ancestor` or lies below it, going up through the folders that are really there.
bool LiesWithin(const std::string& folder, const std::string& ancestor) {
  struct stat wanted {};
  if (stat(ancestor.c_str(), &wanted) != 0) {
    return false;
  }
  const auto isSame = [](const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
  };
  struct stat level {};
  struct stat below {};
  for (std::string path = folder; stat(path.c_str(), &level) == 0; path += "/..") {
    if (isSame(level, wanted)) {
      return true;
    }
    const bool isRoot = isSame(level, below);
    if (isRoot) {
      return false;
    }
    below = level;
  }
  return false;
}

void RefuseToCopyIntoItself(const std::string& source, const std::string& destination) {
  if (LiesWithin(destination, source)) {
    throw PathError("copy failed, the destination lies inside the source:", destination);
  }
}

std::string FolderOf(const std::string& path) {
  std::string folder;
  std::string name;
  KelParseFilePath(path, folder, name);
  return folder;
}

std::string InsideFolder(const std::string& folder, const std::string& path) {
  std::string parent;
  std::string name;
  KelParseFilePath(path, parent, name);
  return folder + kDirSeparator + name;
}

bool CopyFolder(const std::string& source, const std::string& destination, IKelProgressReporter* reporter) {
  RefuseToCopyIntoItself(source, FolderOf(destination));
  kel_mkdir_UTF8(destination.c_str());
  return KelCopyFolderContents(source, destination, reporter);
}

}  // namespace

bool KelCopyFile(const std::string& source, const std::string& destination, IKelProgressReporter* reporter) {
  const Descriptor from = OpenForReading(source);
  if (!from.IsOpen()) {
    throw FailedToOpen(source);
  }
  if (IsFolder(from.Get())) {
    return false;
  }
  Descriptor to = OpenForWriting(destination);
  if (!to.IsOpen()) {
    throw FailedToOpen(destination);
  }
  if (IsSameItem(from.Get(), to.Get())) {
    throw PathError("copy failed, source and destination are the same file:", destination);
  }
  if (!MakeEmpty(to.Get())) {
    throw FailedToOpen(destination);
  }
  const off_t size = MeasureAndRewind(from.Get(), source);
  const off_t copied = CopyBytes(from.Get(), to.Get(), size, reporter, destination);
  if (copied != size) {
    return false;
  }
  if (!to.Close()) {
    throw PathError("failed to write to", destination);
  }
  if (reporter != nullptr) {
    reporter->itemFinished();
  }
  return true;
}

bool KelCopyFolderContents(const std::string& source, const std::string& destination, IKelProgressReporter* reporter) {
  if (source.empty() || destination.empty()) {
    return false;
  }
  TKelOpenFolder::TPrivate from(source);
  const std::string base = TKelOpenFolder(destination).folderPath() + kDirSeparator;
  RefuseToCopyIntoItself(source, destination);
  return VisitEntries(from, [&] {
    const std::string target = base + from.m_entry.d_name;
    if (from.itemIsFolder()) {
      kel_mkdir_UTF8(target.c_str());
      return KelCopyFolderContents(from.itemPath(), target, reporter);
    }
    return KelCopyFile(from.itemPath(), target, reporter);
  });
}

bool KelCopy(const std::string& source, const std::string& destination, IKelProgressReporter* reporter) {
  std::string from;
  if (!KelSimplifyPath(source, from)) {
    throw PathError("copy failed, invalid source path:", source);
  }
  std::string to;
  if (!KelSimplifyPath(destination, to)) {
    throw PathError("copy failed, invalid destination path:", destination);
  }
  if (!KelPathExists(from)) {
    throw std::runtime_error(from + " doesn't exist");
  }
  const bool isIntoFolder = KelIsPathToFolder(to);
  if (!KelIsPathToFolder(from)) {
    return KelCopyFile(from, isIntoFolder ? InsideFolder(to, from) : to, reporter);
  }
  return CopyFolder(from, KelPathExists(to) ? InsideFolder(to, from) : to, reporter);
}
