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

/// Unlike TKelOpenFolder itself, its private part tells a read error from the end of the listing.
using Folder = TKelOpenFolder::TPrivate;

/// Returns the size of the file in bytes, and leaves its position at the start. Throws for a file without positions,
/// such as a pipe.
off_t MeasureAndRewind(const Descriptor& file, const std::string& path) {
  const off_t size = lseek(file.Get(), 0, SEEK_END);
  if (size < 0 || lseek(file.Get(), 0, SEEK_SET) < 0) {
    throw PathError("failed to seek", path);
  }
  return size;
}

/// The documented number of bytes per report.
constexpr std::size_t kReportedPiece = 8192;
/// Without a reporter: larger pieces save a tenth of the time of small files.
constexpr std::size_t kUnreportedPiece = 64UL * 1024;

// Copies `size` bytes, more if the file has grown, fewer if it ends earlier. Returns the number of bytes copied.
off_t CopyBytes(const Descriptor& from, const Descriptor& to, off_t size, IKelProgressReporter* reporter,
                const std::string& destination) {
  const std::size_t piece = reporter == nullptr ? kUnreportedPiece : kReportedPiece;
  const auto buffer = std::make_unique_for_overwrite<char[]>(piece);
  off_t copied = 0;
  while (copied < size) {
    // Waits for the missing bytes only, but takes a whole piece: if the file has grown, more than `size` bytes are
    // copied, which the caller notices.
    const auto enough = static_cast<std::size_t>(std::min<off_t>(size - copied, static_cast<off_t>(piece)));
    const std::size_t held = ReadUpTo(from, buffer.get(), piece, enough);
    if (held == 0) {
      break;
    }
    if (!WriteFully(to, buffer.get(), held)) {
      throw PathError("failed to write to", destination);
    }
    copied += static_cast<off_t>(held);
    // A stop after the last piece leaves a complete copy: the caller compares the sizes.
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
    // The parent of the root is the root itself. `below` is unknown in the first round.
    const bool isRoot = IsKnown(below) && IsSameItem(level, below);
    if (isRoot) {
      return false;
    }
    below = level;
    climber = Descriptor(OpenFolderUnlisted(climber.Get(), ".."));
  }
}

/// Throws if the open `folder`, at the path `destination`, is the source or lies below it: the walk would find its own
/// copies and never end.
void RefuseToCopyIntoItself(const Folder& source, int folder, const std::string& destination) {
  if (LiesWithin(folder, destination, StatusOf(source.m_folder))) {
    throw PathError("copy failed, the destination lies inside the source:", destination);
  }
}

/// The folder part of `path` with its trailing separator; empty if there is none.
std::string FolderOf(const std::string& path) {
  std::string folder;
  std::string name;
  KelParseFilePath(path, folder, name);
  return folder;
}

/// The path of an item in `folder` that has the last component of `path` as its name.
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
    // A failure means most often that the folder exists; opening the target reports all other reasons.
    const bool isTargetNew = kel_mkdir_UTF8(target.c_str()) == 0;
    // On the heap, since the stack holds one of these calls per level of the tree.
    return CopyContents(*std::make_unique<Folder>(source.itemPath()), target, isTargetNew, reporter);
  });
  // A read error ends the walk like the end of the listing, with a part of the entries copied.
  return isCopied && !source.m_listing.HasFailed();
}

/// Copies a folder to `destination`, which it creates when it is missing. Refuses a new folder inside the source
/// before it is created.
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
  // A folder can be opened for reading, but not read.
  if (IsFolder(fromStatus)) {
    return false;
  }
  // Not emptied yet: both paths may lead to the same file, whose content must survive the refusal below.
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
  // Some file systems, such as NFS, report a failed write only on closing.
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
  // If `to` exists but is a file, opening the folder below it fails with a message.
  return CopyFolder(from, KelPathExists(to) ? InsideFolder(to, from) : to, reporter);
}
