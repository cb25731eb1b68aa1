#include "Toolbox/KelUtils/Files/Copying.h"

#include "Toolbox/KelUtils/Files/Files.h"
#include "Toolbox/KelUtils/Files/Folders.h"
#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Files/Paths.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

namespace {

// The position at the end of the file, which is left at its start.
off_t MeasureAndRewind(const Descriptor& file, const std::string& path) {
  const off_t size = lseek(file.Get(), 0, SEEK_END);
  if (size < 0 || lseek(file.Get(), 0, SEEK_SET) < 0) {
    throw PathError("failed to seek", path);
  }
  return size;
}

// Copies `size` bytes, more where the file has grown meanwhile, or less where it ends before; how many it copied.
off_t CopyBytes(const Descriptor& from, const Descriptor& to, off_t size, IKelProgressReporter* reporter,
                const std::string& destination) {
  std::array<char, 8192> buffer{};
  off_t copied = 0;
  while (copied < size) {
    const auto enough = static_cast<std::size_t>(std::min<off_t>(size - copied, buffer.size()));
    const std::size_t held = ReadUpTo(from, buffer.data(), buffer.size(), enough);
    if (held == 0) {
      break;
    }
    if (!WriteFully(to, buffer.data(), held)) {
      throw PathError("failed to write to", destination);
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
  struct stat level {};
  if (stat(ancestor.c_str(), &wanted) != 0 || stat(folder.c_str(), &level) != 0) {
    return false;
  }
  std::string path = folder;
  for (struct stat below{}; !IsSameItem(level, wanted); below = level) {
    const bool isRoot = below.st_mode != 0 && IsSameItem(level, below);
    if (isRoot || stat((path += "/..").c_str(), &level) != 0) {
      return false;
    }
  }
  return true;
}

void RefuseToCopyIntoItself(const std::string& source, const std::string& folder, const std::string& destination) {
  if (LiesWithin(folder, source)) {
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
  RefuseToCopyIntoItself(source, FolderOf(destination), destination);
  kel_mkdir_UTF8(destination.c_str());
  return KelCopyFolderContents(source, destination, reporter);
}

}  // namespace

bool KelCopyFile(const std::string& source, const std::string& destination, IKelProgressReporter* reporter) {
  const Descriptor from = OpenForReading(source);
  const struct stat fromStatus = StatusOf(from);
  if (!IsKnown(fromStatus)) {
    throw FailedToOpen(source);
  }
  if (IsFolder(fromStatus)) {
    return false;
  }
  Descriptor to = OpenForWriting(destination);
  const struct stat toStatus = StatusOf(to);
  if (!IsKnown(toStatus)) {
    throw FailedToOpen(destination);
  }
  if (IsSameItem(fromStatus, toStatus)) {
    throw PathError("copy failed, source and destination are the same file:", destination);
  }
  if (!MakeEmpty(to, toStatus)) {
    throw FailedToOpen(destination);
  }
  const off_t size = MeasureAndRewind(from, source);
  const off_t copied = CopyBytes(from, to, size, reporter, destination);
  if (copied != size) {
    return false;
  }
  if (to.Close() != 0) {
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
  // Not on the stack, which holds one of these calls for each level of the tree.
  const auto from = std::make_unique<TKelOpenFolder::TPrivate>(source);
  const std::string base = TKelOpenFolder(destination).folderPath() + kDirSeparator;
  RefuseToCopyIntoItself(source, destination, destination);
  return VisitEntries(*from, [&] {
    const std::string target = base + from->m_entry.d_name;
    if (from->itemIsFolder()) {
      kel_mkdir_UTF8(target.c_str());
      return KelCopyFolderContents(from->itemPath(), target, reporter);
    }
    return KelCopyFile(from->itemPath(), target, reporter);
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
