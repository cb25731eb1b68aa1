#include "Toolbox/KelUtils/Files/Copying.h"

#include "Toolbox/KelUtils/Files/Files.h"
#include "Toolbox/KelUtils/Files/Folders.h"
#include "Toolbox/KelUtils/Files/Internal/OpenFolderPrivate.h"
#include "Toolbox/KelUtils/Files/Internal/PathErrors.h"
#include "Toolbox/KelUtils/Files/Internal/UnbufferedFiles.h"
#include "Toolbox/KelUtils/Files/Paths.h"
#include "Toolbox/KelUtils/Platform/Internal/Platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <memory>

namespace {

using Folder = TKelOpenFolder::TPrivate;

// Returns the size of the file, and leaves its position at the start.
off_t MeasureAndRewind(const Descriptor& file, const std::string& path) {
  const off_t size = lseek(file.Get(), 0, SEEK_END);
  if (size < 0 || lseek(file.Get(), 0, SEEK_SET) < 0) {
    throw PathError("failed to seek", path);
  }
  return size;
}

// The documented number of bytes per report; larger pieces without a reporter save a tenth of the time of small files.
constexpr std::size_t kReportedPiece = 8192;
constexpr std::size_t kUnreportedPiece = 64UL * 1024;

// Copies `size` bytes, more if the file has grown, fewer if it ends earlier. Returns the number of bytes copied.
off_t CopyBytes(const Descriptor& from, const Descriptor& to, off_t size, IKelProgressReporter* reporter,
                const std::string& destination) {
  const std::size_t piece = reporter == nullptr ? kUnreportedPiece : kReportedPiece;
  const auto buffer = std::make_unique_for_overwrite<char[]>(piece);
  off_t copied = 0;
  while (copied < size) {
    const auto enough = static_cast<std::size_t>(std::min<off_t>(size - copied, static_cast<off_t>(piece)));
    const std::size_t held = ReadUpTo(from, buffer.get(), piece, enough);
    if (held == 0) {
      break;
    }
    if (!WriteFully(to, buffer.get(), held)) {
      throw PathError("failed to write to", destination);
    }
    copied += static_cast<off_t>(held);
    if (reporter != nullptr && !reporter->updateProgress(static_cast<double>(copied) / static_cast<double>(size))) {
      break;
    }
  }
  return copied;
}

// Whether the open `folder` is `ancestor` or lies below it. Climbs by descriptors: the path of a deep folder may be too
// long for the system, and ".." after a link in a path leads elsewhere.
bool LiesWithin(int folder, const std::string& path, const struct stat& ancestor) {
  Descriptor climber(OpenFolderUnlisted(folder, "."));
  struct stat below {};
  for (;;) {
    const struct stat level = StatusOf(climber);
    if (!IsKnown(level)) {
      throw PathError("opendir failed for", path + "/..");
    }
    if (IsSameItem(level, ancestor)) {
      return true;
    }
    const bool isRoot = IsKnown(below) && IsSameItem(level, below);
    if (isRoot) {
      return false;
    }
    below = level;
    climber = Descriptor(OpenFolderUnlisted(climber.Get(), ".."));
  }
}

void RefuseToCopyIntoItself(const Folder& source, int folder, const std::string& destination) {
  if (LiesWithin(folder, destination, StatusOf(source.m_folder))) {
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

// Copies the content of `source` into an existing folder. A new folder cannot lie inside the source unless its parent
// does, which the caller has ruled out.
bool CopyContents(Folder& source, const std::string& destination, bool isNew, IKelProgressReporter* reporter) {
  const auto into = std::make_unique<Folder>(destination);
  if (!isNew) {
    RefuseToCopyIntoItself(source, into->m_folder.Get(), destination);
  }
  const std::string base = into->m_folderPath + kDirSeparator;
  const bool isCopied = VisitEntries(source, [&] {
    const std::string target = base + source.m_name;
    if (!source.itemIsFolder()) {
      return KelCopyFile(source.itemPath(), target, reporter);
    }
    const bool isTargetNew = kel_mkdir_UTF8(target.c_str()) == 0;
    // On the heap, since the stack holds one of these calls per level of the tree.
    return CopyContents(*std::make_unique<Folder>(source.itemPath()), target, isTargetNew, reporter);
  });
  return isCopied && !source.m_listing.HasFailed();
}

bool CopyFolder(const std::string& source, const std::string& destination, IKelProgressReporter* reporter) {
  const auto from = std::make_unique<Folder>(source);
  const Descriptor parent(OpenFolderUnlisted(AT_FDCWD, FolderOf(destination).c_str()));
  // If the parent cannot be opened, opening the destination fails below, with a better message.
  if (parent.IsOpen()) {
    RefuseToCopyIntoItself(*from, parent.Get(), destination);
  }
  const bool isNew = kel_mkdir_UTF8(destination.c_str()) == 0;
  return CopyContents(*from, destination, isNew, reporter);
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
  return CopyContents(*std::make_unique<Folder>(source), destination, false, reporter);
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
